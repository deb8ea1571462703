#include "base/elapsed.h"

#include <unistd.h>

namespace tool {

// The thread touches the bar and nothing of the library.
Elapsed::Elapsed(const std::string &what) : progress_(what + ", seconds", 0) {
    if (isatty(STDERR_FILENO) == 0) return;
    clock_ = std::thread([this] {
        std::unique_lock lock(mutex_);
        while (!done_.wait_for(lock, std::chrono::seconds(1), [this] { return over_; }))
            progress_.step();
    });
}

Elapsed::~Elapsed() {
    {
        const std::lock_guard lock(mutex_);
        over_ = true;
    }
    done_.notify_one();
    if (clock_.joinable()) clock_.join();
}

}  // namespace tool
