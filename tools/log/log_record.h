// A record of the transaction log, taken to pieces.
#pragma once

#include <cstdint>
#include <isam.h>
#include <span>
#include <string>
#include <vector>

namespace tool {

// What a record tells of. They are called like the calls that write them.
enum class LogType {
    kOpen,
    kClose,
    kBuild,
    kErase,
    kRename,
    kAddIndex,
    kDropIndex,
    kSetUnique,
    kUnique,
    kDelete,
    kWrite,
    kRewrite,
    kBegin,
    kCommit,
    kRollBack,
    kUnknown
};
inline constexpr int kLogTypes = static_cast<int>(LogType::kUnknown) + 1;

// "open", "addindex", "write", ..
const char *logTypeWord(LogType type);
// The type that a user means by its word, or by its two letters in the log; kUnknown for no such.
LogType logTypeOf(const std::string &word);

using ByteString = std::vector<std::uint8_t>;

struct LogRecord {
    std::int64_t offset = 0;  // in the log
    unsigned length = 0;      // bytes
    LogType type = LogType::kUnknown;
    std::string letters;        // the type as the log has it
    unsigned process = 0;       // low 16 bits
    unsigned user = 0;          // low 16 bits, or the number that the writer gives its transaction
    std::int64_t time = 0;      // seconds since the epoch
    bool chained = false;       // belongs to a transaction that has begun
    std::int64_t previous = 0;  // offset of the transaction's record before

    bool sound = false;  // the body is what the type demands; what follows is as far as it went
    int fd = -1;         // the writer's descriptor, -1 where the type has none
    bool variable = false;
    int mode = 0;
    int minimum = 0;  // record lengths of a build
    int maximum = 0;
    KeyDesc key{};
    std::string name;
    std::string newName;      // of a rename
    std::int64_t number = 0;  // of the record, or the unique id
    ByteString before;
    ByteString after;

    bool isEnd() const { return type == LogType::kCommit || type == LogType::kRollBack; }
    // Changes a record of a file.
    bool isChange() const { return type == LogType::kWrite || type == LogType::kRewrite || type == LogType::kDelete; }
};

// Takes the bytes of one record to pieces; their length is that of the record, and 20 or more.
LogRecord parseLogRecord(std::span<const std::uint8_t> bytes, std::int64_t offset);

}  // namespace tool
