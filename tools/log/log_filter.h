// Which records of a log the user wants to see.
#pragma once

#include "log/log_record.h"
#include "log/log_story.h"

#include <optional>
#include <set>
#include <string>
#include <vector>

namespace tool {

class LogFilter {
  public:
    // The words of the user; those that mean nothing throw Failure.
    void onlyFile(const std::string &name);
    void onlyTypes(const std::vector<std::string> &words);
    void onlyTransaction(std::uint64_t number) { transaction_ = number; }
    void onlyProcess(unsigned process);
    void since(const std::string &time);
    void until(const std::string &time);

    bool takes(const LogRecord &record, const LogStory::Place &place) const;

  private:
    bool takesFile(const std::string &name) const;

    std::string file_;
    std::set<LogType> types_;
    std::optional<std::uint64_t> transaction_;
    std::optional<unsigned> process_;
    std::optional<std::int64_t> since_;
    std::optional<std::int64_t> until_;
};

}  // namespace tool
