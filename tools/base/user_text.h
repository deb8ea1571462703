// Users by name.
#pragma once

#include <string>

namespace tool {

// The user's name, or the number where nobody has it.
std::string userName(unsigned user);

}  // namespace tool
