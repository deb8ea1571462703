// Copies of a set's files, for whoever finds that mending has made it worse.
#pragma once

#include "index/file_view.h"

#include <string>
#include <vector>

namespace tool {

// Copies what there is of the two files to FILE.idx.before-repair and FILE.dat.before-repair, or to names with the
// first number behind that is free. Returns the copies' names; throws Failure where one cannot be made.
std::vector<std::string> keepCopies(const FileView &view);

// The names that keepCopies would give them.
std::vector<std::string> namesOfCopies(const FileView &view);

// Puts the files of one set in the place of another's, with the old files' owners and permissions.
void putInPlace(const std::string &from, const FileView &old, bool with_data);

// Removes the files of a set that was being made.
void removeSet(const std::string &place);

}  // namespace tool
