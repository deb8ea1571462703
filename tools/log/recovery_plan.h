// What recovery by a log would do, and whether the files are those that the log was begun with.
#pragma once

#include "base/json.h"
#include "base/open_file.h"
#include "log/log_record.h"
#include "log/log_story.h"

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tool {

class RecoveryPlan {
  public:
    struct Problem {
        std::int64_t offset;
        std::string file;
        std::string what;
    };

    // Reads the whole log, and of each file the records that the log rewrites or deletes, or says to be new: what the
    // log's first record about them says that they were is what they must be. The files are held exclusively until
    // letGo. Nothing is changed. Throws Failure where the log cannot be read.
    explicit RecoveryPlan(const std::string &log);

    void letGo();

    // What speaks against it.
    const std::vector<Problem> &problems() const { return problems_; }
    // Where the log is cut off within a record: recovery ends there. Empty for a whole log.
    const std::string &cutOff() const { return cut_off_; }
    std::uint64_t changes() const { return changes_; }

    std::string text() const;
    Json json() const;

  private:
    // A file, whatever it is called when.
    struct File {
        std::string name;  // that it had when the log began or that it was built with
        bool there = false;
        std::unique_ptr<OpenFile> open;  // while its records are looked at
        std::set<std::int64_t> seen;
        std::uint64_t written = 0, rewritten = 0, deleted = 0;
    };
    using Key = std::pair<unsigned, int>;  // process and descriptor

    void take(const LogRecord &record);
    File *named(const std::string &name);
    void build(const LogRecord &record);
    void open(const LogRecord &record);
    void erase(const LogRecord &record);
    void rename(const LogRecord &record);
    void change(const LogRecord &record, File &file);
    void compare(const LogRecord &record, File &file);
    void finish(const LogRecord &record, std::uint64_t transaction);
    void object(const LogRecord &record, const std::string &file, const std::string &what);

    std::string log_;
    LogStory story_;
    std::vector<std::unique_ptr<File>> files_;
    std::map<std::string, File *> names_;  // null: not there
    std::map<Key, File *> handles_;
    std::map<std::uint64_t, std::set<File *>> touched_;  // by transaction
    std::vector<Problem> problems_;
    std::string cut_off_;
    std::uint64_t records_ = 0, changes_ = 0, committed_ = 0, rolled_back_ = 0;
};

}  // namespace tool
