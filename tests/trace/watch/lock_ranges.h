// The byte ranges of one file that this process has locked, as the system keeps them: a new lock replaces what it
// covers of older ones, an unlock cuts a hole.
#pragma once

#include <cstdint>
#include <map>
#include <string>

namespace trace {

// Where the library's locks lie. On the index file: the phase lock from 0, the open lock behind it. On the data file:
// one byte a record behind the same offset, or all of them at once. On the log: its first byte.
inline constexpr std::int64_t kPhaseStart = 0;
inline constexpr std::int64_t kOpenStart = 0x40000000;
inline constexpr std::int64_t kAreaLength = 0x3fffffff;
inline constexpr std::int64_t kRecordStart = 0x40000000;
inline constexpr std::int64_t kAllRecordsLength = 0x0fffffff;
inline constexpr std::int64_t kLogLength = 1;

class LockRanges {
  public:
    // type: F_RDLCK, F_WRLCK or F_UNLCK. A length of 0 reaches to the end of all offsets.
    void set(short type, std::int64_t start, std::int64_t length);
    void clear() { ranges_.clear(); }

    // Is every byte of the range locked, and for writing if that is asked?
    bool covers(std::int64_t start, std::int64_t length, bool exclusive) const;
    // Is any byte of it?
    bool touches(std::int64_t start, std::int64_t length) const;
    std::string text() const;

  private:
    struct Range {
        std::int64_t end;
        short type;
    };
    std::map<std::int64_t, Range> ranges_;  // by their starts, apart from each other
};

}  // namespace trace
