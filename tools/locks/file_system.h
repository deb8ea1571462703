// File systems by name, and what is known of them.
#pragma once

#include <string>

namespace tool {

struct FileSystem {
    std::string name;      // "ext4", "NFS"; "type 0x1234" where nobody knows it
    bool network = false;  // its files may be on another machine
    std::string remark;    // what to know of its locks; empty for nothing
};

// The file system of a file or directory that is there. Throws Failure.
FileSystem fileSystemOf(const std::string &path);

// The same by the number that statfs gives.
FileSystem fileSystemByNumber(unsigned long number);

}  // namespace tool
