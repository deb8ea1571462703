// A small file system in memory, in place of the system's under the library: millions of damaged file sets are opened,
// worked on and thrown away without a call to the system.
//
// Files are found by their whole path; there are no directories but those that are made, and every lock is granted.
// A child made by fork has its own copy of everything.
#pragma once

#include "support/bytes.h"

#include <cstdint>
#include <map>
#include <string>

namespace flips {

using testing_support::Bytes;

namespace memory_files {

// A file that would become longer fails with EFBIG: damaged numbers lead far behind a file's end.
inline constexpr std::int64_t kLongest = 1 << 20;

void put(const std::string &path, const Bytes &bytes);
void makeDirectory(const std::string &path);
void remove(const std::string &path);
// Null where there is no file.
Bytes *find(const std::string &path);
std::map<std::string, Bytes> all();
// No file, no directory, nothing open.
void clear();
int openDescriptors();

// What has been written since the last mark.
void mark();
bool written();
// Are all files as they were at the mark, whatever was written meanwhile? An index file's change counter does not
// count.
bool asMarked();

}  // namespace memory_files
}  // namespace flips
