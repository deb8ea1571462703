#include "base/change_watch.h"

#include <array>
#include <csignal>
#include <cstddef>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/signalfd.h>
#include <unistd.h>

namespace tool {

namespace {

// The system does not tell of what other machines write into a file: it is looked at so often all the same.
constexpr int kLookEveryMs = 500;

}  // namespace

ChangeWatch::ChangeWatch(const std::string &path) : events_(inotify_init1(IN_NONBLOCK | IN_CLOEXEC)) {
    if (events_ >= 0) inotify_add_watch(events_, path.c_str(), IN_MODIFY);
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    ends_ = signalfd(-1, &signals, SFD_NONBLOCK | SFD_CLOEXEC);
}

ChangeWatch::~ChangeWatch() {
    if (events_ >= 0) close(events_);
    if (ends_ >= 0) close(ends_);
}

bool ChangeWatch::wait() {
    std::array<pollfd, 2> ready = {{{ends_, POLLIN, 0}, {events_, POLLIN, 0}}};
    poll(ready.data(), ready.size(), kLookEveryMs);
    bool ended = false;
    if ((ready[0].revents & POLLIN) != 0) {
        signalfd_siginfo which;
        ended = read(ends_, &which, sizeof which) > 0;
    }
    if ((ready[1].revents & POLLIN) != 0) {
        alignas(inotify_event) std::array<std::byte, 4096> which;
        while (read(events_, which.data(), which.size()) > 0) {
        }
    }
    return !ended;
}

}  // namespace tool
