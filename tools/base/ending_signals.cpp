#include "base/ending_signals.h"

#include <cstddef>

namespace tool {

namespace {

constexpr std::array<int, 3> kAskingToEnd = {SIGINT, SIGTERM, SIGHUP};

}  // namespace

EndingSignals::EndingSignals(void (*handler)(int), unsigned flags) : before_() {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = static_cast<int>(flags);
    sigfillset(&action.sa_mask);
    for (std::size_t i = 0; i < kAskingToEnd.size(); ++i) {
        sigaction(kAskingToEnd[i], nullptr, &before_[i]);
        if (before_[i].sa_handler != SIG_IGN) sigaction(kAskingToEnd[i], &action, nullptr);
    }
}

EndingSignals::~EndingSignals() {
    for (std::size_t i = 0; i < kAskingToEnd.size(); ++i)
        sigaction(kAskingToEnd[i], &before_[i], nullptr);
}

}  // namespace tool
