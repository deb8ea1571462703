// The system's table of byte-range locks, and the locks of one file in it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

// A lock that a process holds or waits for.
struct FileLock {
    bool exclusive = false;
    long process = 0;  // 0: of another machine or container
    std::int64_t start = 0;
    std::int64_t end = 0;  // its last byte; kToTheEnd: all that follow
    bool waiting = false;
    long blocker = 0;  // of one that waits: a process that holds what it waits for
};

inline constexpr std::int64_t kToTheEnd = INT64_MAX;

// What the table calls a file, as "fe:00:1234".
using LockedFile = std::string;

// All locks in the table's text on that file that processes have placed with fcntl; lines that make no sense are left
// out.
std::vector<FileLock> parseLockTable(const std::string &table, const LockedFile &file);

// The locks on the file, ordered by place. From the system's table, and, where that cannot be read or where the file
// system belongs to another machine, from asking for each lock in the way of one of ours, which tells of those that are
// held, not of those waited for. Changes nothing and opens nothing by the library. Throws Failure where the file cannot
// be opened.
std::vector<FileLock> locksOf(const std::string &path);

}  // namespace tool
