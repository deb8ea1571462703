// Where the locks lie; islock.h tells what each is for.
#pragma once

#include <cstdint>

namespace lockarea {

// Of the index file: phase lock from 0, open lock from here on; of the data file: a byte for each record number.
inline constexpr std::int64_t kHighArea = 0x40000000;
inline constexpr std::int64_t kAreaLength = 0x3fffffff;  // bytes of the phase lock, and of the open lock
inline constexpr std::int64_t kDataLength = 0x0fffffff;  // bytes of the lock on all records, from number 0 on

}  // namespace lockarea
