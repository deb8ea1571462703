// A record of the transaction log.
//
//   offset  size  meaning
//        0     2  length of the record, this field and the last one included
//        2     2  type, two characters
//        4     2  process id of the writer, low 16 bits
//        6     2  user id, low 16 bits; where the process has an identity
//                 function, the transaction's number, 0 outside transactions
//        8     4  time, seconds since the epoch
//       12     4  offset in the log of the transaction's record before, 0 = none
//       16     2  length of that record, 0 = none
//       18     *  body, by type
//      n-2     2  the length again
//
// Bodies (fd: the writer's descriptor; text ends with a NUL):
//   FO FC     fd 2, 1 for variable-length records 2, name
//   BU        mode 2, record length 2, maximum length 2, key, name
//   ER        name
//   RE        bytes of the old name with its NUL 2, of the new one 2, both
//   CI DI     fd 2, key
//   SU UN     fd 2, value 4
//   IN DE     fd 2, record number 4, length 2, image
//   UP        fd 2, record number 4, both lengths 2 + 2, both images
//   BW CW RW  nothing
// A key: flags 2, parts 2, bytes 2, and of each part start, length, type 2 + 2 + 2.
// Numbers stand most significant byte first.
#pragma once

#include <cstdint>

#include "base/ismif.h"

namespace logrec {

inline constexpr int kLengthOffset = 0;
inline constexpr int kTypeOffset = 2;
inline constexpr int kProcessOffset = 4;
inline constexpr int kUserOffset = 6;
inline constexpr int kTimeOffset = 8;
inline constexpr int kPreviousOffset = 12;
inline constexpr int kPreviousLengthOffset = 16;
inline constexpr int kHeadSize = 18;
inline constexpr int kTrailerSize = 2;
inline constexpr int kMinSize = kHeadSize + kTrailerSize;
inline constexpr int kMaxSize = 65535;

// Bytes of a record around its images.
inline constexpr int kOneImage = kHeadSize + 2 + 4 + 2 + kTrailerSize;
inline constexpr int kTwoImages = kOneImage + 2;

// Appends exclude each other by a lock of this range.
inline constexpr std::int64_t kLockStart = 0;
inline constexpr std::int64_t kLockLength = 1;

inline int length(const std::uint8_t *p) { return ld_int(p + kLengthOffset); }
inline int type(const std::uint8_t *p) { return ld_int(p + kTypeOffset); }
inline int process(const std::uint8_t *p) { return ld_int(p + kProcessOffset); }
inline std::uint32_t previous(const std::uint8_t *p) { return ld_long(p + kPreviousOffset); }
inline int previousLength(const std::uint8_t *p) { return ld_int(p + kPreviousLengthOffset); }

}  // namespace logrec

// Types, as the two characters read.
namespace logtype {
inline constexpr int code(char a, char b) { return a * 256 + b; }
inline constexpr int kFileOpen = code('F', 'O');
inline constexpr int kFileClose = code('F', 'C');
inline constexpr int kBuild = code('B', 'U');
inline constexpr int kErase = code('E', 'R');
inline constexpr int kRename = code('R', 'E');
inline constexpr int kCreateIndex = code('C', 'I');
inline constexpr int kDropIndex = code('D', 'I');
inline constexpr int kSetUnique = code('S', 'U');
inline constexpr int kUnique = code('U', 'N');
inline constexpr int kDelete = code('D', 'E');
inline constexpr int kInsert = code('I', 'N');
inline constexpr int kUpdate = code('U', 'P');
inline constexpr int kBegin = code('B', 'W');
inline constexpr int kCommit = code('C', 'W');
inline constexpr int kRollBack = code('R', 'W');
}  // namespace logtype
