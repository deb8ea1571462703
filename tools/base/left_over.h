// The files of a set that is being made: they go when a signal ends the program before it is whole. A failure is the
// caller's to tidy up after.
#pragma once

#include "base/ending_signals.h"

#include <optional>
#include <string>

namespace tool {

class LeftOver {
  public:
    // place: base path of what is being made, no link. old: base path of a set that it is to replace, no link, or
    // empty; once a file of that is gone or another one, the new set may be the only one, and stays. From now on
    // SIGINT, SIGTERM and SIGHUP remove both files before they end the program. One object at a time.
    explicit LeftOver(const std::string &place, const std::string &old = "");
    // What was made stays.
    ~LeftOver() = default;
    LeftOver(const LeftOver &) = delete;
    LeftOver &operator=(const LeftOver &) = delete;

  private:
    std::optional<EndingSignals> signals_;
};

}  // namespace tool
