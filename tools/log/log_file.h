// Reads a transaction log record after record, whatever its bytes are.
#pragma once

#include "log/byte_window.h"
#include "log/log_record.h"

#include <deque>
#include <string>
#include <vector>

namespace tool {

class LogFile {
  public:
    enum class Found {
        kRecord,
        kEnd,      // of the log, behind a whole record
        kCutOff,   // the log ends within a record
        kDamaged,  // no record begins here: nothing behind it can be read
    };

    explicit LogFile(const std::string &path) : window_(path, true) {}

    // The next record. After kEnd and kCutOff the log may grow and can be asked again.
    Found next(LogRecord &record);
    // What is wrong, and where, after kCutOff and kDamaged.
    const std::string &problem() const { return problem_; }

    // Where the next record begins, and the size of the log.
    std::int64_t offset() const { return offset_; }
    std::int64_t size() const { return window_.size(); }
    // Another file has its name by now.
    bool replaced() const { return window_.replaced(); }

    // A change that fails is taken back from the end of the log, and another record may stand there by now. Goes back
    // to where the log still is as it was read; returns the records that it was not, the last one first. Throws
    // Failure where nothing of it is left.
    std::vector<LogRecord> stepBack();

  private:
    struct Seen {
        std::int64_t offset;
        ByteString bytes;
    };

    Found stop(Found how, const std::string &what);
    bool stillThere(const Seen &seen);

    ByteWindow window_;
    std::int64_t offset_ = 0;
    std::string problem_;
    std::deque<Seen> seen_;  // the last few records
};

}  // namespace tool
