#include "base/stop_signals.h"

#include <cstdio>

namespace tool {

namespace {

constexpr std::array<int, 3> kSignals = {SIGINT, SIGTERM, SIGHUP};

volatile std::sig_atomic_t which = 0;

void note(int signal) { which = signal; }

}  // namespace

StopSignals::StopSignals() : before_() {
    which = 0;
    for (std::size_t i = 0; i < kSignals.size(); ++i) {
        sigaction(kSignals[i], nullptr, &before_[i]);
        // As 'nohup' has it.
        if (before_[i].sa_handler == SIG_IGN) continue;
        struct sigaction action = {};
        action.sa_handler = note;
        action.sa_flags = static_cast<int>(SA_RESETHAND);
        sigemptyset(&action.sa_mask);
        sigaction(kSignals[i], &action, nullptr);
    }
}

StopSignals::~StopSignals() {
    for (std::size_t i = 0; i < kSignals.size(); ++i)
        sigaction(kSignals[i], &before_[i], nullptr);
    if (which == 0) return;
    std::fflush(stdout);
    raise(which);
}

bool StopSignals::caught() const { return which != 0; }

}  // namespace tool
