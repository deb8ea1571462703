// The audit settings node, and an entry of the audit trail.
//
// Settings node:
//
//   offset  size  meaning
//        0     2  length of the name + 4
//        2     2  1 = auditing is on, 0 = off
//        4    65  name of the trail, NUL-terminated, zeros behind it
//      n-2     1  '}'
//
// The rest is zero; n is the node size.
//
// Entry, in the trail:
//
//   offset  size  meaning
//        0     2  type: "aa", "dd", "rr" or "ww"
//        2     4  time, seconds since the epoch
//        6     2  process id, low 16 bits
//        8     2  user id, low 16 bits
//       10     4  record number
//       14     *  the record; of a variable-length record its length as stored
//                 (2 bytes), fixed part and stored tail, nothing without tail
#pragma once

#include <cstdint>

#include "base/isfile.h"
#include "base/ismif.h"

namespace audit {

inline constexpr int kLengthOffset = 0;
inline constexpr int kStateOffset = 2;
inline constexpr int kNameOffset = 4;
inline constexpr int kNameRoom = ISAUDNAMELEN + 1;
inline constexpr int kMarkBack = 2;
inline constexpr std::uint8_t kMark = '}';
static_assert(kAuditInfoSize == kNameOffset + kNameRoom);

inline constexpr int kTypeOffset = 0;
inline constexpr int kTypeSize = 2;
inline constexpr int kTimeOffset = 2;
inline constexpr int kProcessOffset = 6;
inline constexpr int kUserOffset = 8;
inline constexpr int kNumberOffset = 10;
inline constexpr int kHeadSize = 14;

}  // namespace audit
