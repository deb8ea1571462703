// One run of a scenario in a process of its own, with or without a fault, and what came of it.
#pragma once

#include "faults.h"
#include "scenario.h"
#include "start_files.h"

#include <optional>
#include <string>
#include <vector>

namespace fault_testing {

// What a run without any fault is like.
struct Baseline {
    std::vector<Injector::Possible> trace;
    std::vector<Event> events;  // with those of prepare
    long blocks = 0;            // what the library has allocated and keeps
};

struct Trial {
    std::vector<std::string> problems;
    std::string fatal;                  // message of the fatal stop that ended it
    std::string stoppedIn;              // the call that it ended
    std::vector<std::string> failures;  // the calls that failed as they do not without it
    bool struck = false;                // the fault was reached
    int ends = 0;      // calls behind the one that failed that met the end of a file that it had left too short
    int rebuilds = 0;  // indexes and free lists made anew
    int torn = 0;      // records that cannot be read any more
};

class Stage {
  public:
    Stage(const Scenario &scenario, const std::string &directory);
    ~Stage();
    Stage(const Stage &) = delete;
    Stage &operator=(const Stage &) = delete;

    // Prepares the files, runs without a fault, and judges. Problems end it all.
    std::vector<std::string> setUp();
    const Baseline &baseline() const { return baseline_; }
    Trial strike(const Strike &strike, bool lookForLeaks);

  private:
    struct Outcome;
    struct Trace;
    Trial perform(const std::optional<Strike> &strike, bool lookForLeaks);
    void child(const std::optional<Strike> &strike, bool lookForLeaks);
    std::vector<std::string> judgeEvents(const Outcome &outcome, const Strike &strike, Trial *trial) const;

    const Scenario &scenario_;
    std::string directory_;
    Files start_;
    Journal journal_;
    Baseline baseline_;
    Outcome *outcome_;  // shared with the children, as is the trace of the run without a fault
    Trace *trace_;
};

}  // namespace fault_testing
