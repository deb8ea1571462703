// The files that a scenario starts from.
#pragma once

#include <map>
#include <string>

namespace fault_testing {

using Files = std::map<std::string, std::string>;  // contents by name

Files readFiles(const std::string &directory);
// Afterwards the directory holds these files and no others.
void putFiles(const std::string &directory, const Files &files);

}  // namespace fault_testing
