// A small file system in memory, in place of the system's: one directory "m", no more bytes than a limit. The library
// under test is linked with its system calls renamed, and these answer them.
#ifndef TESTS_FUZZ_MEMORY_FILES_H
#define TESTS_FUZZ_MEMORY_FILES_H

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace fuzz {

using Bytes = std::vector<std::uint8_t>;
using FileSet = std::map<std::string, Bytes>;

constexpr std::size_t kDiskSize = std::size_t{1} << 20;

// The disk holds these files from now on, and nothing is open.
void placeFiles(const FileSet &files);
FileSet currentFiles();

// The bytes of a file, null where there is none. Names of it come and go with the calls below and the library's.
Bytes *fileNamed(const std::string &name);
Bytes &makeFile(const std::string &name);
void removeFile(const std::string &name);

int openDescriptors();

// Locks that another process would hold: every request that does not wait is refused.
void refuseLocks(bool refused);

// What the system has done since the last forgetCalls.
struct SystemCalls {
    long count = 0;
    std::uint64_t errors = 0;  // bit e: some call has failed with errno e
    bool cutShort = false;     // a transfer was shorter than asked for
};
const SystemCalls &systemCalls();
void forgetCalls();

}  // namespace fuzz

#endif
