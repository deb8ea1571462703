// Judges the files that a process has left in the working directory when it was killed or a call failed. In a process
// of its own: it opens the files as anybody would.
#pragma once

#include "journal.h"

#include <string>
#include <vector>

namespace fault_testing {

struct Verdict {
    std::vector<std::string> problems;
    int files = 0;      // looked at
    int absent = 0;     // were being made or removed and cannot be opened
    int sound = 0;      // the checks were 0 at once
    int freeLists = 0;  // made anew
    int indexes = 0;    // made anew
    int clustered = 0;  // needed clustering as well
    int torn = 0;       // records of the interrupted call that are neither the old nor the new one
    int others = 0;     // records lost that half a write shared a node with
    int unseen = 0;     // places in indexes that the checks do not count where a record is missing or left over
    int worn = 0;       // files whose list of free nodes was of no use any more, unseen by the checks
    int bits = 0;       // of all checks, before anything was mended

    bool good() const { return problems.empty(); }
    std::string text() const;
};

// Checks, mends, and reads everything through every index. insideWrite: the process was killed in the middle of a
// write, so the record of the interrupted call may be half the old and half the new one.
Verdict judge(const std::vector<Event> &events, bool insideWrite = false);

// In a directory with the files as they were when the log was begun: recovers from it. The files must then be sound,
// and hold what the log says and the journal allows.
Verdict judgeRecovery(const std::vector<Event> &events, const std::string &log);

}  // namespace fault_testing
