// A measurement in a process of its own.
#pragma once

#include <string>
#include <vector>

namespace bench {

struct ChildReport {
    struct Line {
        std::string role;
        double nanoseconds;
        unsigned long long operations;
    };
    std::vector<Line> lines;
    std::string failure;  // empty when all went well
    bool late = false;    // it was ended for its time
};

// Runs program with the words in a directory, for so many seconds at the most.
ChildReport runChild(const std::string &program, const std::vector<std::string> &words, const std::string &directory,
                     int seconds);

}  // namespace bench
