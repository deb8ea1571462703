// A remnant node: pieces of variable tails.
//
//   offset  size  meaning
//        2     2  32294
//        4     4  next node of the same bucket, towards older ones, 0 = none
//        8     4  previous node, towards the bucket's head, 0 = none
//       12     2  free bytes
//       14     2  data end: offset of the first unused data byte
//       16     1  slot where the piece in this node goes on
//       17     3  node where it goes on
//       20     1  1 when it goes on
//       21     1  number of slots
//       22     1  bucket the node is filed in, 0 = none
//       23     *  pieces, packed upwards
//      n-3     1  '|'
//
// Slot i, of 4 bytes at n - (4i + 7), holds a piece's length and offset, both
// 2 bytes; offset 0 marks a free slot. Slots grow down from the node's end
// towards the pieces. n is the node size, numbers stand most significant byte
// first, all else is zero.
//
// A piece that goes on elsewhere has its node to itself.
#pragma once

#include <cstdint>

#include "base/ismif.h"
#include "isam.h"

namespace remnant {

inline constexpr int kMagicOffset = 2;
inline constexpr int kNextOffset = 4;
inline constexpr int kPreviousOffset = 8;
inline constexpr int kFreeOffset = 12;
inline constexpr int kDataEndOffset = 14;
inline constexpr int kOnwardSlotOffset = 16;
inline constexpr int kOnwardNodeOffset = 17;
inline constexpr int kOnwardFlagOffset = 20;
inline constexpr int kSlotCountOffset = 21;
inline constexpr int kBucketOffset = 22;
inline constexpr int kDataStart = 23;
inline constexpr int kMarkBack = 3;
inline constexpr int kSlotSize = 4;
inline constexpr int kLinkSize = 4;

inline constexpr int kMagic = 32294;
inline constexpr std::uint8_t kMark = '|';

// Nodes have 1024 bytes, or waste what they have more.
inline constexpr int kMinNodeSize = 1024;
inline constexpr int kFreshFree = kMinNodeSize - kDataStart - kMarkBack;
inline constexpr int kMaxPiece = kFreshFree - kSlotSize;
static_assert(kFreshFree == 998 && kMaxPiece == 994);

// No tail has more pieces.
inline constexpr int kMaxPieces = ISMAXVARLEN / kMaxPiece + 2;

// A bucket holds the nodes with 200b + 1 to 200b + 200 free bytes; those with
// less are in none.
inline constexpr int kBucketWidth = 200;
inline constexpr int kLastBucket = 4;
inline int bucketOf(int freeBytes) { return freeBytes > 0 ? (freeBytes - 1) / kBucketWidth : 0; }

inline std::uint32_t next(const std::uint8_t *p) { return ld_long(p + kNextOffset); }
inline std::uint32_t previous(const std::uint8_t *p) { return ld_long(p + kPreviousOffset); }
inline int freeBytes(const std::uint8_t *p) { return ld_int(p + kFreeOffset); }
inline int dataEnd(const std::uint8_t *p) { return ld_int(p + kDataEndOffset); }
inline int slots(const std::uint8_t *p) { return p[kSlotCountOffset]; }
inline int bucket(const std::uint8_t *p) { return p[kBucketOffset]; }
inline bool goesOn(const std::uint8_t *p) { return p[kOnwardFlagOffset] == 1; }

inline void setFreeBytes(std::uint8_t *p, int n) { st_int(static_cast<std::uint32_t>(n), p + kFreeOffset); }
inline void setDataEnd(std::uint8_t *p, int offset) { st_int(static_cast<std::uint32_t>(offset), p + kDataEndOffset); }

inline std::uint8_t *slotAt(std::uint8_t *p, int nodeSize, int i) { return p + nodeSize - (kSlotSize * i + 7); }
inline const std::uint8_t *slotAt(const std::uint8_t *p, int nodeSize, int i) {
    return p + nodeSize - (kSlotSize * i + 7);
}
inline int pieceLength(const std::uint8_t *slot) { return ld_int(slot); }
inline int pieceOffset(const std::uint8_t *slot) { return ld_int(slot + 2); }
inline void setPiece(std::uint8_t *slot, int length, int offset) {
    st_int(static_cast<std::uint32_t>(length), slot);
    st_int(static_cast<std::uint32_t>(offset), slot + 2);
}

// Where a piece lies, as a tail's pointer and the way on name it: slot and
// 3-byte node number. A length of 2 bytes stands before it in a tail's pointer.
struct Place {
    std::uint32_t node;
    int slot;
};
inline constexpr std::uint32_t kMaxNode = 0xffffff;
inline Place place(const std::uint8_t *p) { return {static_cast<std::uint32_t>(ldMint(p + 1, 3)), p[0]}; }
inline void setPlace(std::uint8_t *p, Place place) {
    p[0] = static_cast<std::uint8_t>(place.slot);
    stMint(p + 1, 3, place.node);
}
inline Place onward(const std::uint8_t *p) { return place(p + kOnwardSlotOffset); }

}  // namespace remnant
