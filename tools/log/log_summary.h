// A log in a few numbers.
#pragma once

#include "base/json.h"
#include "log/log_record.h"
#include "log/log_story.h"

#include <array>
#include <map>
#include <string>

namespace tool {

class LogSummary {
  public:
    void count(const LogRecord &record, const LogStory::Place &place);

    std::string text() const;
    Json json() const;

  private:
    struct File {
        std::uint64_t writes = 0;
        std::uint64_t rewrites = 0;
        std::uint64_t deletes = 0;
    };

    std::uint64_t of(LogType type) const { return types_[static_cast<std::size_t>(type)]; }

    std::uint64_t records_ = 0;
    std::uint64_t bytes_ = 0;
    std::int64_t first_ = 0;  // times
    std::int64_t last_ = 0;
    std::array<std::uint64_t, kLogTypes> types_{};
    std::map<std::string, File> files_;
};

// The transactions that have no end.
std::string openText(const LogStory &story);
Json openJson(const LogStory &story);

}  // namespace tool
