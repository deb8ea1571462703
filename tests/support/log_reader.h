// Reads a transaction log from its bytes, by its layout alone, and checks that its records fit together.
#ifndef TESTS_SUPPORT_LOG_READER_H
#define TESTS_SUPPORT_LOG_READER_H

#include "bytes.h"

#include "isam.h"

#include <string>
#include <vector>

namespace testing_support {

// What a record says, its place in the log and its writer aside.
struct LogContent {
    std::string type;  // two characters
    int fd = -1;
    bool variable = false;     // FO, FC
    int mode = 0;              // BU
    int minimum = 0;           // BU
    int maximum = 0;           // BU
    KeyDesc key{};             // BU, CI, DI: with its length, without a root
    std::string name;          // FO, FC, BU, ER, RE
    std::string newName;       // RE
    std::uint32_t number = 0;  // SU, UN: the id; IN, DE, UP: the record's number
    Bytes before;              // DE, UP
    Bytes after;               // IN, UP
    bool chained = false;      // it names the record before it in its transaction

    bool operator==(const LogContent &other) const;
    std::string text() const;  // for messages
};

struct LogRecord {
    LogContent content;
    std::uint32_t offset = 0;
    int length = 0;
    std::uint32_t process = 0;
    std::uint32_t user = 0;
    std::uint32_t time = 0;
    std::uint32_t previous = 0;  // offset and length of the record before it in its transaction
    int previousLength = 0;
};

// Reads all records. Returns what is wrong with the form of the first bad one, nothing when all is well.
std::string readLog(const Bytes &log, std::vector<LogRecord> *out);

// Checks that each transaction is one chain from its begin to its end, and that descriptors are used while they are
// open. Returns the first thing that is wrong, nothing when all is well.
std::string checkLog(const std::vector<LogRecord> &records);

}  // namespace testing_support

#endif
