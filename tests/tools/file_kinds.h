// Files of every kind with records that are hard to move, and what their indexes give.
#ifndef TESTS_TOOLS_FILE_KINDS_H
#define TESTS_TOOLS_FILE_KINDS_H

#include <cstdint>
#include <string>
#include <vector>

namespace tool_tests {

struct FileKind {
    const char *name;
    std::string layout;  // with fields of many types
    bool masks = false;
    bool keys_alone = false;
};

const std::vector<FileKind> &fileKinds();

// Builds a file of the kind by the library's own calls and fills it.
void makeFile(const FileKind &kind, const std::string &name);

// What an index gives, or record-number order: for each record its bytes, then its mask and its number.
struct Seen {
    std::string bytes;
    std::uint32_t mask;
    long number;
    bool operator==(const Seen &) const = default;
};
std::vector<Seen> seenBy(const std::string &name, int index);
// How many indexes a file has.
int indexCount(const std::string &name);

}  // namespace tool_tests

#endif
