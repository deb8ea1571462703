// All that can be found wrong with a set: by the library's checks, and by walking the index file node by node.
#pragma once

#include "index/survey.h"

#include <string>
#include <vector>

namespace tool {

struct Complaint {
    Severity severity;
    std::string where;    // "index 2", "data file", ..
    std::string what;     // in a line
    std::string meaning;  // what that comes to; may be empty
};

struct Checked {
    Shape shape;
    Survey survey;
    bool opens = false;        // the library takes the set
    int data = 0;              // results of its checks, bits ISCHK_..
    std::vector<int> indexes;  // of each
    int tails = 0;
    std::uint64_t uncounted = 0;  // records in the data file behind the header's highest number
    std::vector<Complaint> complaints;

    bool damaged() const;
};

// Throws Failure where the set cannot be looked at: it is not there, somebody has it for himself.
Checked checkSet(const std::string &name);

}  // namespace tool
