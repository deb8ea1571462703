// A small file system in memory, in place of the system's under the library: millions of damaged file sets are opened,
// worked on and thrown away without a call to the system. The library that is linked has its system calls renamed
// (../shim/calls.txt), and these answer them.
//
// Files are found by their whole path; there are no directories but those that are made. One process works here, so
// that its locks never stand against each other. A child made by fork has its own copy of everything.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace memory_files {

using Bytes = std::vector<std::uint8_t>;
using FileSet = std::map<std::string, Bytes>;

// All files together never have more bytes: damaged numbers lead far behind a file's end.
inline constexpr std::size_t kDiskSize = std::size_t{1} << 20;

// The disk holds these files from now on, and nothing is open.
void place(const FileSet &files);
inline void clear() { place({}); }
FileSet all();

// The bytes of a file, null where there is none; one that is made if need be. What is removed stays as long as it is
// open.
Bytes *find(const std::string &path);
Bytes &make(const std::string &path);
void remove(const std::string &path);
void makeDirectory(const std::string &path);

int openDescriptors();

// Locks that another process would hold: every request that does not wait is refused.
void refuseLocks(bool refused);

// What the system has done since the last forgetCalls.
struct Calls {
    long count = 0;
    std::uint64_t errors = 0;  // bit e: some call has failed with errno e
    bool cutShort = false;     // a transfer was shorter than asked for
};
const Calls &calls();
void forgetCalls();

// What the program decides that links this.
struct Rules {
    // 0, or why there can be no file of that path.
    static int judgePath(const char *path);
    // How many calls there may be before they are forgotten.
    static long mostCalls();
    // The library has asked for what no library may.
    [[noreturn]] static void misbehaves(const char *what);
};

}  // namespace memory_files
