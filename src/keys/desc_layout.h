// Key-description nodes and their entries.
//
//   node:   used length (2), number of the next description node (4), entries
//   entry:  0  2  entry length
//           2  4  root node of the index, 0 for record-number order
//           6  1  flags / 2
//           7  *  per part: length (2), start (2), type (1, or 2 with ISNULLKEY)
//
// The top bit of the first part's length is flag ISDUPS. Entries stand in index
// order; one without parts can only be the first: the file has no primary key.
//
// The number of parts is not stored. It is the entry length less the head,
// divided by 5 whatever the parts' size is, so that a description of five or
// more parts with ISNULLKEY is read back as one of more parts than it has.
#pragma once

#include "base/ismif.h"

namespace desc {

inline constexpr int kLengthOffset = 0;
inline constexpr int kRootOffset = 2;
inline constexpr int kFlagsOffset = 6;
inline constexpr int kHeadSize = 2 + 4 + 1;

inline constexpr int kPartLengthOffset = 0;
inline constexpr int kPartStartOffset = 2;
inline constexpr int kPartTypeOffset = 4;
inline constexpr int kPartSize = 2 + 2 + 1;
inline constexpr int kWidePartSize = 2 + 2 + 2;
inline constexpr unsigned kDupsBit = 0x8000;

}  // namespace desc
