// What the names of the disk mean.
#pragma once

#include "memory/files.h"

#include <sys/types.h>

#include <cstddef>
#include <map>
#include <memory>
#include <string>

namespace memory_files {

struct Node {
    std::string name;  // that it was made under
    Bytes bytes;
    ino_t number = 0;
    bool directory = false;
};
using NodePointer = std::shared_ptr<Node>;
using Names = std::map<std::string, NodePointer>;

const Names &names();

// For changes.cpp, before bytes, length or names change.
void noteBytes(const NodePointer &node, std::size_t offset, std::size_t length);
void noteName(const std::string &path);
void forgetChanges();

}  // namespace memory_files
