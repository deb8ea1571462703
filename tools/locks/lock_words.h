// What a lock means, by the file that it is on and its place there.
#pragma once

#include "locks/lock_table.h"

#include <string>

namespace tool {

struct LockMeaning {
    // "open", "phase", "records", "all records"; "other" for one that the library does not place.
    std::string kind;
    // The record numbers of "records" and "all records".
    std::int64_t first = 0;
    std::int64_t last = 0;
    // "record 5", "records 5 to 9", "phase lock", ..
    std::string words;
    // What the holder is doing: "has the file open".
    std::string effect;
};

LockMeaning meaningOf(const FileLock &lock, bool index_file);

}  // namespace tool
