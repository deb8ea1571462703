// Mending a set where it stands: the list of free record numbers and indexes, made anew by the library.
#pragma once

#include "mend/checks.h"

#include <string>
#include <vector>

namespace tool {

struct Mended {
    bool done = false;               // nothing failed; whether it suffices, a check tells
    std::vector<std::string> steps;  // what was made anew
};

// Can the damage be all in what the library makes anew? Else a whole new set is needed.
bool isMendedInPlace(const Checked &checked);

// What would be made anew, as far as can be told beforehand.
std::vector<std::string> stepsInPlace(const Checked &checked);

// In a process of its own: a rebuild ends its process where it finds the lists in a state that nothing explains.
Mended mendInPlace(const std::string &name, const Checked &checked);

}  // namespace tool
