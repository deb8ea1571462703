// What a user does with a file set that a dead process has left: checks, and rebuilds what they name.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace fault_testing {

// What the three checks say.
struct Checks {
    int data = 0;
    std::vector<int> indexes;
    int tails = 0;

    bool recordsSound() const;  // data and indexes
    int bits() const;
    std::string text() const;
};

struct Mending {
    Checks first;  // before anything was mended
    Checks last;
    bool freeList = false;              // was made anew
    int indexes = 0;                    // made anew
    bool clustered = false;             // made anew as a whole
    std::vector<std::int32_t> removed;  // idents of records whose tail could not be read
    std::string problem;                // nothing when the last checks are 0
};

Checks checksOf(int fd);

// Mends the file open with ISLOCKEXCL behind *fd, which another one may replace.
Mending mend(int *fd);

// Puts the records, in the order of their numbers, or the keys of a file that has nothing else, into files made anew:
// trees, lists and tails come out right whatever was wrong with the old ones.
bool makeAnew(int *fd);

}  // namespace fault_testing
