// Does a log's work on records in memory, by the images in it alone.
#ifndef TESTS_PROCESS_LOG_REPLAY_H
#define TESTS_PROCESS_LOG_REPLAY_H

#include "txn_files.h"

#include "support/log_reader.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace process_testing {

class LogReplay {
  public:
    // A file as it was when the log was begun.
    void start(const TxnFile &file, const Contents &contents);

    // Applies every record in its order, whether its transaction was committed or not; those that were rolled back are
    // undone where they ended. Returns what does not fit, nothing when all is well.
    std::string apply(const std::vector<testing_support::LogRecord> &log);

    // What each file holds now, by base path.
    std::map<std::string, Contents> files() const;

    int openAtEnd() const { return openAtEnd_; }  // transactions without an end

  private:
    struct File {
        int minimum = 0;
        bool compressed = false;
        std::vector<std::string> indexes = {};
        std::multiset<std::string> records = {};
        unsigned uniqueId = 1;
    };

    std::string applyOne(const testing_support::LogRecord &record);
    std::string undo(const testing_support::LogRecord &end);
    // Takes one image out of a file (unless it is empty) and puts another one in.
    bool exchange(const std::string &name, const testing_support::Bytes &out, const testing_support::Bytes &in);
    static std::string stored(const File &file, const testing_support::Bytes &image);

    struct Applied {
        const testing_support::LogRecord *record = nullptr;
        std::string name;  // of its file
    };

    std::map<std::string, File> files_;
    std::map<std::pair<std::uint32_t, int>, std::string> names_;  // by process and descriptor
    std::map<std::uint32_t, Applied> applied_;                    // all, by place in the log
    int openAtEnd_ = 0;
};

}  // namespace process_testing

#endif
