// What a log record means by what stood before it: the file behind its descriptor, the transaction that it belongs to.
#pragma once

#include "log/log_record.h"

#include <map>
#include <set>
#include <string>
#include <utility>

namespace tool {

class LogStory {
  public:
    struct Transaction {
        std::uint64_t number = 0;  // counted from 1 in the order in which they begin in the log
        unsigned process = 0;
        unsigned user = 0;
        std::int64_t offset = 0;  // of its begin
        std::int64_t time = 0;
        std::uint64_t changes = 0;
        std::set<std::string> files;
    };

    struct Place {
        std::string file;               // the name, empty where the record has none or the log does not tell
        bool unknownFile = false;       // it names a descriptor that was not opened in the log
        std::uint64_t transaction = 0;  // 0 for none, or one that did not begin in the log
    };

    // Takes the next record of the log.
    Place take(const LogRecord &record);

    // Forgets the record taken last: it was taken back from the log.
    void takeBack(const LogRecord &record);

    // Those that have begun and not ended, by the offset of their last record.
    const std::map<std::int64_t, Transaction> &open() const { return open_; }
    std::uint64_t begun() const { return begun_; }

  private:
    std::string fileOf(const LogRecord &record, bool &unknown);
    std::uint64_t transactionOf(const LogRecord &record, const std::string &file);

    std::map<std::pair<unsigned, int>, std::string> names_;  // by process and descriptor
    std::map<std::int64_t, Transaction> open_;
    std::uint64_t begun_ = 0;
};

}  // namespace tool
