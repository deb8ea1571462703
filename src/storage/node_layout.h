// What all nodes of the index file but the header have in common.
//
// Node n (from 1) lies at byte (n - 1) * nodeSize. Its last bytes tell what it
// is:
//
//   n-4   1  zero
//   n-3   1  mark: 0 in a B-tree node, 0xff in free-list and description nodes
//   n-2   1  level: of a B-tree node, 0 for a leaf; 127 free list, 254
//            description
//   n-1   1  zero
//
// A B-tree node starts with its used length (2 bytes, counted from offset 0,
// 2 when empty), free-list and description nodes with used length and the
// number of the next node (4 bytes, 0 at the end). Everything between the used
// length and the last four bytes is zero.
#pragma once

#include <cstdint>

#include "base/ismif.h"

namespace node {

inline constexpr int kUsedOffset = 0;
inline constexpr int kTreeStart = 2;   // first entry of a B-tree node
inline constexpr int kLinkOffset = 2;  // list nodes: number of the next node
inline constexpr int kListStart = 6;   // list nodes: first item
inline constexpr int kTrailerSize = 4;
inline constexpr int kMarkBack = 3;
inline constexpr int kLevelBack = 2;

inline constexpr std::uint8_t kTreeMark = 0;
inline constexpr std::uint8_t kListMark = 0xff;
inline constexpr std::uint8_t kFreeLevel = 127;
inline constexpr std::uint8_t kDescLevel = 254;

inline int used(const std::uint8_t *p) { return ld_int(p + kUsedOffset); }
inline void setUsed(std::uint8_t *p, int length) { st_int(static_cast<std::uint32_t>(length), p + kUsedOffset); }
inline std::uint32_t link(const std::uint8_t *p) { return ld_long(p + kLinkOffset); }
inline void setLink(std::uint8_t *p, std::uint32_t number) { st_long(number, p + kLinkOffset); }
inline std::uint8_t mark(const std::uint8_t *p, int nodeSize) { return p[nodeSize - kMarkBack]; }
inline std::uint8_t level(const std::uint8_t *p, int nodeSize) { return p[nodeSize - kLevelBack]; }

}  // namespace node
