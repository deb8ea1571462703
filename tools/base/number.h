// Numbers that people type.
#pragma once

#include <string>

namespace tool {

// The whole text as a number; throws Failure "'TEXT' is no WHAT".
long typedNumber(const std::string &text, const char *what);

}  // namespace tool
