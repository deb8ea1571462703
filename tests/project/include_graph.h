// The include graph of the library's sources: which file includes which other file of src/ and include/.
#ifndef TESTS_PROJECT_INCLUDE_GRAPH_H
#define TESTS_PROJECT_INCLUDE_GRAPH_H

#include <map>
#include <set>
#include <string>
#include <vector>

// Paths are relative to src/, such as "base/isfail.h"; the public header is "isam.h".
using IncludeGraph = std::map<std::string, std::set<std::string>>;

// Reads all of src/ and include/. An include that names no file of the two is entered as "?" + name.
IncludeGraph readIncludeGraph(const std::string &source_dir);

// The files of one circle in order, the first one again at the end; empty when there is none.
std::vector<std::string> findCircle(const IncludeGraph &graph);

// Height of a file's floor, 1 for the lowest; 0 for a file of no known floor.
int floorOf(const std::string &path);

#endif
