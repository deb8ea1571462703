// Keys compared the way an index sorts them.
#pragma once

#include <isam.h>
#include <string>

namespace tool {

// Below, equal to or above 0 as the first `length` bytes of key a sort before, with or after those of key b.
int compareKeys(const KeyDesc &key, const std::string &a, const std::string &b, int length);

}  // namespace tool
