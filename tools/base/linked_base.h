// Where the files of a base path really are.
#pragma once

#include <string>

namespace tool {

// The base path that NAME.lnk puts in NAME's place, or NAME itself.
std::string linkedBase(const std::string &name);

}  // namespace tool
