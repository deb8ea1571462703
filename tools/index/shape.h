// What an index file says of its set: the header and the key descriptions. Nothing of it is believed: what cannot be
// true is said among the problems, and left out or replaced by what it can only have been.
#pragma once

#include "index/file_view.h"

#include <array>
#include <isam.h>
#include <optional>
#include <string>
#include <vector>

namespace tool {

struct IndexHeader {
    int nodeSize = 0;
    int indexCount = 0;
    int serialWidth = 0;  // bytes of a duplicate's serial
    int recordLength = 0;
    int maximum = 0;  // bytes of the longest record, 0 where all have one length
    std::uint32_t descriptionNode = 0;
    std::uint32_t recordListHead = 0;
    std::uint32_t nodeListHead = 0;
    std::uint32_t lastRecord = 0;
    std::uint32_t lastNode = 0;
    std::uint32_t changes = 0;
    std::uint32_t uniqueId = 0;
    std::uint32_t auditNode = 0;
    std::array<std::uint32_t, 5> tailHeads{};
    std::array<std::uint8_t, ISUSERINFOLEN> userInfo{};
    unsigned flags = 0;
    bool genuine = false;  // the bytes that every header has are there

    bool masks() const { return (flags & 1U) != 0; }
    bool precious() const { return (flags & 2U) != 0; }
    bool compressed() const { return (flags & 4U) != 0; }
    bool variable() const { return maximum != 0; }
    // ByteSpan of a slot of the data file.
    int slotLength() const { return recordLength + 1 + (variable() ? 6 : 0) + (masks() ? 4 : 0); }
};

struct AuditSettings {
    std::string name;
    bool on = false;
};

struct Shape {
    IndexHeader header;
    bool noPrimaryKey = false;
    std::vector<KeyDesc> indexes;  // with keyLength and rootNode
    std::vector<std::uint32_t> descriptionNodes;
    std::optional<AuditSettings> audit;
    std::vector<std::string> problems;  // the library would not open the set, or misread it
    bool headerRead = false;            // there is a header, its numbers make sense
    bool indexesRead = false;           // and so are the key descriptions, all of them

    std::uint64_t nodesInFile(const FileView &view) const;
    // ByteSpan of a node; false where the file has none of that number.
    bool readNode(const FileView &view, std::uint64_t number, std::vector<std::uint8_t> &node) const;
    // ByteSpan of a serial in the index's entries.
    int serialWidthOf(const KeyDesc &key) const { return (key.flags & ISDUPS) != 0 ? header.serialWidth : 0; }
};

Shape readShape(const FileView &view);

// May a file with records of that length have such an index? 0: length not known.
bool isPossibleKey(const KeyDesc &key, int record_length);

// The descriptions in all nodes that are marked as description nodes, for a header that does not lead there. Adds
// them to the shape.
void searchDescriptions(const FileView &view, Shape &shape);

}  // namespace tool
