// All that the calls tell of a file, for comparing two files.
#ifndef TESTS_TOOLS_SNAPSHOT_H
#define TESTS_TOOLS_SNAPSHOT_H

#include <string>
#include <vector>

namespace tool_tests {

// Lines: the shape, the settings, each record with its number, each index with its entries in order, the free numbers,
// the results of the checks.
std::vector<std::string> snapshot(const std::string &name);

}  // namespace tool_tests

#endif
