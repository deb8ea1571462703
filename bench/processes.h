// A worker: one of several processes that a workload starts at once.
#pragma once

#include "workload.h"

namespace bench {

// words: the program's, "worker" and what follows, as the workload has put them.
void runWorker(const std::vector<std::string> &words, const Report &report);

}  // namespace bench
