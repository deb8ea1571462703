// A scenario whose process ends, without a word, at one of the calls that change files.
#pragma once

#include "journal.h"
#include "scenario.h"

#include <cstddef>
#include <string>
#include <vector>

namespace fault_testing {

// Where it is killed: before the call, after it, in the middle of a write, of which half has been done, or where the
// write would be a copy into a mapped file: between any two of its stores.
enum class Moment { Before, Inside, Copying, After };
const char *momentName(Moment moment);

struct WriteCall {
    std::string text;        // for messages
    std::size_t length = 0;  // of a write
};

// The directories of one scenario: its files as prepare left them, and copies of them to work on.
class Victim {
  public:
    Victim(const Scenario &scenario, const std::string &directory);

    // Makes the start, and runs the scenario to its end. What the calls are that change files; none: it failed.
    std::vector<WriteCall> rehearse();

    // Runs it until it is killed at call number point, from 1. False: it was not.
    bool killAt(std::size_t point, Moment moment);

    const Journal &journal() const { return journal_; }
    // What it has left, and, with a log, the start and the log.
    std::string work() const { return directory_ + "/work"; }
    std::string again() const { return directory_ + "/again"; }
    bool bringLog() const;  // false: there is none yet
    void putBack() const;   // the start, to work on

  private:
    std::string start() const { return directory_ + "/start"; }

    const Scenario &scenario_;
    const std::string directory_;
    Journal journal_;
};

}  // namespace fault_testing
