// The fields of a file set's bytes: header, descriptions, nodes, slots. Nothing is judged, but that every access stays
// within the bytes.
#pragma once

#include "flips/flip_kinds.h"
#include "support/key_image.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace flips {

using testing_support::IndexSpec;

// Offsets in the header, node 1 of the index file; those of the second group are counted back from its end.
namespace at {
inline constexpr std::size_t kNodeSize = 6, kIndexCount = 8, kSerialWidth = 11, kRecordLength = 13, kDescription = 15,
                             kDataFree = 25, kNodeFree = 29, kLastRecord = 33, kLastNode = 37, kChanges = 41,
                             kUniqueId = 45, kAudit = 49, kMaximum = 59, kBuckets = 61, kHeaderEnd = 81;
inline constexpr std::size_t kUserBytes = 16, kFlags = 6, kTrailer = 4;
// In every node but those with tails, counted back from its end.
inline constexpr std::size_t kMark = 3, kLevel = 2;
// In nodes with tails.
inline constexpr std::size_t kMagic = 2, kOlder = 4, kNewer = 8, kFree = 12, kDataEnd = 14, kNextSlot = 16,
                             kNextNode = 17, kGoesOn = 20, kSlotCount = 21, kBucket = 22, kPieces = 23;
}  // namespace at

namespace layout {
inline constexpr int kSmallestNode = 128, kLargestNode = 65536, kTailNode = 1024;
inline constexpr std::uint32_t kHighest = 0x7fffffff;
inline constexpr std::uint8_t kTreeMark = 0, kListMark = 0xff, kFreeLevel = 127, kDescLevel = 254;
inline constexpr int kTreeStart = 2, kListStart = 6, kNodeTrailer = 4;
inline constexpr std::uint8_t kPresent = 0x0a, kDeleted = 0;
inline constexpr std::uint16_t kRemnantMagic = 32294;
inline constexpr int kRemnantRoom = 998, kPieceSlot = 4, kBucketWidth = 200, kLastBucket = 4;
inline constexpr int kLongestVariable = 32511;
inline constexpr int kMostPieces = kLongestVariable / 994 + 2;
}  // namespace layout

class SetReader {
  public:
    explicit SetReader(const FileSet &set) : set_(set) {}

    std::uint32_t header(std::size_t offset, int width) const { return number(set_.index, offset, width); }
    int nodeSize() const { return static_cast<int>(header(at::kNodeSize, 2)) + 1; }
    int recordLength() const { return static_cast<int>(header(at::kRecordLength, 2)); }
    int maximum() const { return static_cast<int>(header(at::kMaximum, 2)); }
    std::uint32_t lastRecord() const { return header(at::kLastRecord, 4); }
    std::uint32_t lastNode() const { return header(at::kLastNode, 4); }
    unsigned flags() const { return header(static_cast<std::size_t>(nodeSize()) - at::kFlags, 2); }
    bool masked() const { return (flags() & 1U) != 0; }
    bool precious() const { return (flags() & 2U) != 0; }
    bool compressed() const { return (flags() & 4U) != 0; }
    int serialWidth() const { return static_cast<std::int8_t>(set_.index[at::kSerialWidth]); }
    std::uint32_t bucketHead(int bucket) const {
        return header(at::kBuckets + 4 * static_cast<std::size_t>(bucket), 4);
    }
    bool tails() const { return maximum() != 0; }
    int slotLength() const { return recordLength() + 1 + (tails() ? 6 : 0) + (masked() ? 4 : 0); }

    // No more than the file has, and no more than the header says.
    std::uint32_t nodes() const;
    // May the number be that of a node other than the header?
    bool isNode(std::uint32_t number) const { return number >= 2 && number <= lastNode(); }
    // Null where the file ends before the node's end.
    const std::uint8_t *node(std::uint32_t number) const;
    const std::uint8_t *slot(std::uint32_t number) const;
    bool hasStatus(std::uint32_t number) const;
    std::uint8_t status(std::uint32_t number) const;

    static std::uint32_t number(const Bytes &bytes, std::size_t offset, int width);
    static std::uint32_t number(const std::uint8_t *from, int width);

  private:
    const FileSet &set_;
};

// An entry of a tree node, and where its parts lie.
struct NodeEntry {
    int start = 0;
    int counts = 0;  // bytes of the counts
    int stored = 0;  // bytes of the key that stand there
    int leading = 0;
    bool keyless = false;
    testing_support::Key key;
    std::uint32_t pointer = 0;  // the share bit apart
    int end = 0;
};

struct NodeEntries {
    bool sound = false;  // the entries end where the used length says
    std::vector<NodeEntry> entries;
};

NodeEntries entriesOf(const IndexSpec &spec, int serialWidth, const std::uint8_t *node);

}  // namespace flips
