// What the numbers were measured on. No names of machines, no paths.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace bench {

using Facts = std::vector<std::pair<std::string, std::string>>;

// Processor, its cores, memory, kernel, file system of a directory, compiler.
Facts machineFacts(const std::string &directory);

// The version of an installed Debian package, or nothing.
std::string packageVersion(const std::string &package);

}  // namespace bench
