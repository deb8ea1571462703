// Pieces of work whose every system call is made to fail, or is the last one before the process is killed.
#pragma once

#include "world.h"

#include <vector>

namespace fault_testing {

struct Scenario {
    const char *name;
    // Makes the files to start from; nothing is disturbed.
    void (*prepare)(World &world);
    // The calls under test. It goes on behind failures, and closes what it has opened.
    void (*run)(World &world);
    // The log that run begins before it opens a file, if any: recovery from it, on the files as prepare left them, must
    // give what the journal says (transactions without an end are kept).
    const char *log = nullptr;
    // Records are locked between its calls, as they are in transactions.
    bool locks = false;
};

const std::vector<Scenario> &scenarios();
const Scenario *findScenario(const std::string &name);

}  // namespace fault_testing
