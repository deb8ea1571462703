// What the bytes of records that no key part covers may be, by a sample of them.
#pragma once

#include "layout/layout.h"

#include <string>
#include <vector>

namespace tool {

struct Guess {
    Field field;
    std::string reason;  // how sure: "likely: ..", "guess: .."
};

// Fields for the gaps of a layout; what is blanks or NULs in all records is left alone. records: whole ones.
std::vector<Guess> guessFields(const Layout &layout, const std::vector<std::string> &records);

}  // namespace tool
