// Where a set's files are, and whether somebody has them.
#pragma once

#include <string>

namespace tool {

// The base path with what a link file NAME.lnk puts in its place.
std::string linkedPlace(const std::string &base);

// Throws Failure where the path is one of the set's own files, which would be lost by writing to it.
void refuseOwnFiles(const std::string &path, const std::string &base);

// Another process has the set open. Drops all locks that this process has on its files.
bool othersHave(const std::string &base);

}  // namespace tool
