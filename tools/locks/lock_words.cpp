#include "locks/lock_words.h"

#include "lock/lock_layout.h"

#include <algorithm>
#include <isam.h>

namespace tool {

namespace {

constexpr std::int64_t kPhaseEnd = lockarea::kAreaLength - 1;
constexpr std::int64_t kOpenEnd = lockarea::kHighArea + lockarea::kAreaLength - 1;
constexpr std::int64_t kHighestRecord = 0x7fffffff;

LockMeaning indexMeaning(const FileLock &lock) {
    if (lock.start == lockarea::kHighArea && lock.end == kOpenEnd) {
        return {"open", 0, 0, "open lock",
                lock.exclusive ? "has the file to itself, or changes its indexes" : "has the file open"};
    }
    if (lock.start == 0 && lock.end == kPhaseEnd)
        return {"phase", 0, 0, "phase lock", lock.exclusive ? "changes the file" : "reads"};
    return {};
}

// Locks of one process on neighbouring records are one lock to the system. Number 0 belongs to the lock on all records
// alone: no record has it.
LockMeaning dataMeaning(const FileLock &lock) {
    const std::int64_t first = lock.start - lockarea::kHighArea;
    const std::int64_t last = lock.end - lockarea::kHighArea;
    if (first < 0 || last > kHighestRecord || !lock.exclusive) return {};
    if (first == 0 && last == lockarea::kDataLength - 1)
        return {"all records", 1, last, "all records", "has locked the whole file"};
    const std::int64_t lowest = std::max<std::int64_t>(first, 1);
    if (lowest > last) return {};
    const std::string words = lowest == last ? "record " + std::to_string(lowest)
                                             : "records " + std::to_string(lowest) + " to " + std::to_string(last);
    return {"records", lowest, last, words, lowest == last ? "has locked the record" : "has locked the records"};
}

}  // namespace

LockMeaning meaningOf(const FileLock &lock, bool index_file) {
    LockMeaning meaning = index_file ? indexMeaning(lock) : dataMeaning(lock);
    if (!meaning.kind.empty()) return meaning;
    const std::string end = lock.end == kToTheEnd ? "the end" : std::to_string(lock.end);
    return {"other", 0, 0, "bytes " + std::to_string(lock.start) + " to " + end, "none of the library's locks"};
}

}  // namespace tool
