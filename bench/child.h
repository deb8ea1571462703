// A measurement in a process of its own.
#pragma once

#include "workload.h"

namespace bench {

struct ChildReport {
    struct Line {
        std::string role;
        Cost cost;
        unsigned long long operations;
    };
    std::vector<Line> lines;
    std::string failure;  // empty when all went well
    bool late = false;    // it was ended for its time, or for what it had of the processor's
};

// Asked to end, by a signal: the measurement that runs is ended and runChild throws, so that files are cleaned up.
void endOnSignals();

// Runs program with the words in a directory, for so many seconds at the most.
ChildReport runChild(const std::string &program, const std::vector<std::string> &words, const std::string &directory,
                     int seconds);

}  // namespace bench
