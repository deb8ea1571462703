#include "base/stop_signals.h"

#include <csignal>
#include <cstdio>

namespace tool {

namespace {

volatile std::sig_atomic_t which = 0;

void note(int signal) { which = signal; }

}  // namespace

StopSignals::StopSignals() {
    which = 0;
    signals_.emplace(note, SA_RESETHAND);
}

StopSignals::~StopSignals() {
    signals_.reset();
    if (which == 0) return;
    std::fflush(stdout);
    raise(which);
}

bool StopSignals::caught() const { return which != 0; }

}  // namespace tool
