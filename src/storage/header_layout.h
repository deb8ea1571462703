// Node 1 of the index file, the header.
//
//   offset  size  meaning
//        0     1  0xfe
//        1     1  0x53
//        2     2  02 02
//        4     2  04 04
//        6     2  node size - 1
//        8     2  number of indexes, + 1 without primary key
//       10     1  7
//       11     1  width of a duplicate serial in bytes, signed; 4
//       13     2  fixed record length, 0 = no data file
//       15     4  first key-description node
//       25     4  head of the data free list
//       29     4  head of the index free list
//       33     4  highest record number
//       37     4  highest node number
//       41     4  change counter
//       45     4  next unique id
//       49     4  audit settings node, 0 = none
//       54     1  8
//       59     2  maximum record length, 0 = fixed-length records
//       61    20  heads of the variable-length space hash
//     n-16    10  the application's bytes
//      n-6     2  flags
//      n-4     4  "kjsk"
//
// n is the node size; numbers stand most significant byte first; the rest is
// zero. Fixed bytes and trailer are written and never judged.
#pragma once

#include <cstdint>

#include "base/ismif.h"

namespace header {

inline constexpr int kNodeSizeOffset = 6;
inline constexpr int kIndexCountOffset = 8;
inline constexpr int kSerialWidthOffset = 11;
inline constexpr int kRecordLengthOffset = 13;
inline constexpr int kKeyDescOffset = 15;
inline constexpr int kDataFreeOffset = 25;
inline constexpr int kIndexFreeOffset = 29;
inline constexpr int kLastRecordOffset = 33;
inline constexpr int kLastNodeOffset = 37;
inline constexpr int kLastNodeSize = 4;
inline constexpr int kStampOffset = 41;
inline constexpr int kUniqueIdOffset = 45;
inline constexpr int kAuditNodeOffset = 49;
inline constexpr int kMaximumOffset = 59;
inline constexpr int kHashHeadsOffset = 61;
inline constexpr int kHashHeadCount = 5;
inline constexpr int kFixedEnd = kHashHeadsOffset + 4 * kHashHeadCount;

// What every change may alter without a trace elsewhere: lists, counts, change counter,
// unique id, audit node.
inline constexpr int kLookStart = kDataFreeOffset;
inline constexpr int kLookSize = kAuditNodeOffset + 4 - kLookStart;

// Counted back from the node's end.
inline constexpr int kUserInfoBack = 16;
inline constexpr int kUserInfoSize = 10;
inline constexpr int kFlagsBack = 6;
inline constexpr int kTrailerBack = 4;

inline constexpr int kBuiltNodeSize = 1024;
inline constexpr int kBuiltSerialWidth = 4;
inline constexpr int kMinNodeSize = 128;
static_assert(kMinNodeSize >= kFixedEnd + kUserInfoBack);

inline std::uint32_t hashHead(const std::uint8_t *header, int i) { return ld_long(header + kHashHeadsOffset + 4 * i); }

enum Flag : unsigned { kFlagMasks = 1, kFlagPrecious = 2, kFlagCompressed = 4 };

}  // namespace header
