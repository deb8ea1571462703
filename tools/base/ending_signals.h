// SIGINT, SIGTERM and SIGHUP, which ask a program to end: a handler for them, as long as it lives. One that is ignored,
// as 'nohup' has it, stays so.
#pragma once

#include <array>
#include <csignal>

namespace tool {

class EndingSignals {
  public:
    // flags: those of sigaction. All signals wait while the handler runs.
    explicit EndingSignals(void (*handler)(int), unsigned flags = 0);
    // Puts back what was there.
    ~EndingSignals();
    EndingSignals(const EndingSignals &) = delete;
    EndingSignals &operator=(const EndingSignals &) = delete;

  private:
    std::array<struct sigaction, 3> before_;
};

}  // namespace tool
