// SIGINT, SIGTERM and SIGHUP end a work that must not be left half done: it looks from time to time, comes to an end of
// its own, and then the signal takes its course. A second signal does so at once.
#pragma once

#include "base/ending_signals.h"

#include <optional>

namespace tool {

class StopSignals {
  public:
    StopSignals();
    ~StopSignals();
    StopSignals(const StopSignals &) = delete;
    StopSignals &operator=(const StopSignals &) = delete;

    // A call that waits for input fails with EINTR then.
    bool caught() const;

  private:
    std::optional<EndingSignals> signals_;
};

}  // namespace tool
