#include "logs.h"

#include <fstream>

namespace api {

namespace {

constexpr std::size_t kHead = 18, kTrailer = 2;

}  // namespace

std::vector<LogRecord> logOf(const std::string &path) {
    const std::string bytes = contents(path);
    std::vector<LogRecord> records;
    std::size_t at = 0;
    while (at < bytes.size()) {
        LogRecord record;
        record.offset = at;
        if (bytes.size() - at < kHead + kTrailer) {
            ADD_FAILURE() << "log ends in a piece of a record at " << at;
            break;
        }
        record.length = numberAt(bytes, at, 2);
        if (record.length < kHead + kTrailer || record.length > bytes.size() - at ||
            numberAt(bytes, at + record.length - kTrailer, 2) != record.length) {
            ADD_FAILURE() << "log record at " << at << " has length " << record.length;
            break;
        }
        record.type = bytes.substr(at + 2, 2);
        record.process = numberAt(bytes, at + 4, 2);
        record.user = numberAt(bytes, at + 6, 2);
        record.time = numberAt(bytes, at + 8, 4);
        record.previous = numberAt(bytes, at + 12, 4);
        record.previousLength = numberAt(bytes, at + 16, 2);
        record.body = bytes.substr(at + kHead, record.length - kHead - kTrailer);
        at += record.length;
        records.push_back(record);
    }
    return records;
}

std::string typesOf(const std::string &path) {
    std::string types;
    for (const LogRecord &record : logOf(path))
        types += (types.empty() ? "" : " ") + record.type;
    return types;
}

std::string lastType(const std::string &path) {
    const std::vector<LogRecord> records = logOf(path);
    return records.empty() ? "" : records.back().type;
}

std::string int2(unsigned long value) { return {static_cast<char>(value >> 8), static_cast<char>(value)}; }

std::string long4(unsigned long value) { return int2(value >> 16) + int2(value); }

std::string nul(const std::string &name) { return name + '\0'; }

std::string fileBody(int fd, const std::string &name, bool varlen) {
    return int2(static_cast<unsigned long>(fd)) + int2(varlen ? 1 : 0) + nul(name);
}

std::string keyBody(const KeyDesc &key) {
    std::string parts;
    unsigned long length = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        parts += int2(static_cast<unsigned long>(part.start)) + int2(static_cast<unsigned long>(part.length)) +
                 int2(part.type);
        length += static_cast<unsigned long>(part.length);
    }
    return int2(key.flags) + int2(static_cast<unsigned long>(key.nparts)) + int2(length) + parts;
}

std::string buildBody(int mode, int minimum, int maximum, const KeyDesc &key, const std::string &name) {
    return int2(static_cast<unsigned long>(mode)) + int2(static_cast<unsigned long>(minimum)) +
           int2(static_cast<unsigned long>(maximum)) + keyBody(key) + nul(name);
}

std::string renameBody(const std::string &from, const std::string &to) {
    return int2(from.size() + 1) + int2(to.size() + 1) + nul(from) + nul(to);
}

std::string uniqueBody(int fd, unsigned long value) { return int2(static_cast<unsigned long>(fd)) + long4(value); }

std::string recordBody(int fd, long recnum, const std::string &record) {
    return int2(static_cast<unsigned long>(fd)) + long4(static_cast<unsigned long>(recnum)) + int2(record.size()) +
           record;
}

std::string updateBody(int fd, long recnum, const std::string &before, const std::string &after) {
    return int2(static_cast<unsigned long>(fd)) + long4(static_cast<unsigned long>(recnum)) + int2(before.size()) +
           int2(after.size()) + before + after;
}

LogWriter &LogWriter::linked(const std::string &type, unsigned long previous, unsigned long previous_length,
                             const std::string &body) {
    const unsigned long length = kHead + body.size() + kTrailer;
    last_ = bytes_.size();
    return raw(int2(length) + type + int2(process_) + int2(0) + long4(1700000000) + long4(previous) +
               int2(previous_length) + body + int2(length));
}

LogWriter &LogWriter::add(const std::string &type, const std::string &body) { return linked(type, 0, 0, body); }

LogWriter &LogWriter::chain(const std::string &type, const std::string &body) {
    if (type == "BW") previous_ = previousLength_ = 0;
    linked(type, previous_, previousLength_, body);
    previous_ = last_;
    previousLength_ = bytes_.size() - last_;
    return *this;
}

LogWriter &LogWriter::by(unsigned process) {
    process_ = process;
    return *this;
}

LogWriter &LogWriter::raw(const std::string &bytes) {
    bytes_ += bytes;
    return *this;
}

void LogWriter::save(const std::string &path) const {
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes_;
}

void LogTest::TearDown() {
    isTxnInit(nullptr);
    iscommit();
    islogclose();
    VarTest::TearDown();
}

bool lockable(int fd, long recnum) {
    EXPECT_OK(isgoto(fd, recnum));
    std::vector<char> buffer(70000);
    if (isread(fd, buffer.data(), ISCURR | ISLOCK) == 0) {
        EXPECT_OK(isrelrec(fd, recnum));
        return true;
    }
    EXPECT_EQ(iserrno, ISERR_LOCKED);
    return false;
}

}  // namespace api
