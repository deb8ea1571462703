// Logs in tests: reading one record by record, and writing one byte by byte.
#ifndef TESTS_API_LOGS_H
#define TESTS_API_LOGS_H

#include "varlen.h"

#include <cstddef>
#include <string>
#include <vector>

namespace api {

constexpr unsigned kWriter = 4711;  // process id in logs made by hand

struct LogRecord {
    std::size_t offset = 0;
    unsigned long length = 0;
    std::string type;
    unsigned long process = 0, user = 0, time = 0, previous = 0, previousLength = 0;
    std::string body;

    unsigned long fd() const { return numberAt(body, 0, 2); }
    unsigned long recnum() const { return numberAt(body, 2, 4); }
};

// The records of a log; the test fails where one is not framed as it should be.
std::vector<LogRecord> logOf(const std::string &path);
// Their types, with blanks between them.
std::string typesOf(const std::string &path);
// The type of a log's last record.
std::string lastType(const std::string &path);

// Numbers and names as logs have them.
std::string int2(unsigned long value);
std::string long4(unsigned long value);
std::string nul(const std::string &name);

// Bodies of records.
std::string fileBody(int fd, const std::string &name, bool varlen = false);
std::string keyBody(const KeyDesc &key);
std::string buildBody(int mode, int minimum, int maximum, const KeyDesc &key, const std::string &name);
std::string renameBody(const std::string &from, const std::string &to);
std::string uniqueBody(int fd, unsigned long value);
std::string recordBody(int fd, long recnum, const std::string &record);
std::string updateBody(int fd, long recnum, const std::string &before, const std::string &after);

// A log put together record by record. Chained records are those of one transaction.
class LogWriter {
  public:
    LogWriter &add(const std::string &type, const std::string &body = "");
    LogWriter &chain(const std::string &type, const std::string &body = "");
    LogWriter &by(unsigned process);  // the writer of what follows; its own chain begins with its next BW
    // A record with a link of one's own, and bytes as they are.
    LogWriter &linked(const std::string &type, unsigned long previous, unsigned long previous_length,
                      const std::string &body = "");
    LogWriter &raw(const std::string &bytes);

    const std::string &bytes() const { return bytes_; }
    std::size_t lastOffset() const { return last_; }
    void save(const std::string &path) const;

  private:
    std::string bytes_;
    std::size_t last_ = 0;
    unsigned process_ = kWriter;
    unsigned long previous_ = 0, previousLength_ = 0;
};

// A test with a log; what is still open at its end is ended.
class LogTest : public VarTest {
  protected:
    void TearDown() override;

    std::string log() const { return path("log"); }
    void startLog() { EXPECT_OK(islogopen(log().c_str())); }
    std::string types() const { return typesOf(log()); }
    // Builds files in the log, for transactions.
    int buildTrans(const std::string &name = "file") { return buildNamed(path(name), ISINOUT | ISTRANS); }
    int buildVarTrans(const std::string &name = "file", int mode = 0) {
        return buildVarNamed(path(name), ISINOUT | ISTRANS | mode);
    }
    int openTrans(const std::string &name = "file", int mode = 0) {
        return isopen(path(name).c_str(), ISINOUT | ISTRANS | mode);
    }
};

// May a record that this handle has not locked be locked through it? The handle moves there.
bool lockable(int fd, long recnum);

}  // namespace api

#endif
