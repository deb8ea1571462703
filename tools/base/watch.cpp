#include "base/watch.h"

#include "base/progress.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>
#include <unistd.h>

namespace tool {

namespace {

constexpr auto kLookEvery = std::chrono::milliseconds(200);

}  // namespace

std::uint64_t fileSize(const std::string &path) {
    std::error_code failed;
    const auto size = std::filesystem::file_size(path, failed);
    return failed ? 0 : size;
}

Watch::Watch(std::string what, std::string path, std::uint64_t total) {
    if (isatty(STDERR_FILENO) != 1) return;
    // Signals are the other thread's: what a handler finds, that one has just done.
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    thread_ = std::thread([this, what = std::move(what), path = std::move(path), total] { run(what, path, total); });
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Watch::~Watch() {
    if (!thread_.joinable()) return;
    {
        const std::lock_guard lock(mutex_);
        ended_ = true;
    }
    wake_.notify_one();
    thread_.join();
}

void Watch::run(const std::string &what, const std::string &path, std::uint64_t total) {
    Progress progress(what, total);
    std::uint64_t seen = fileSize(path);
    progress.step(seen);
    std::unique_lock lock(mutex_);
    while (!wake_.wait_for(lock, kLookEvery, [this] { return ended_; })) {
        const std::uint64_t size = fileSize(path);
        if (size > seen) progress.step(size - seen);
        seen = std::max(seen, size);
    }
}

}  // namespace tool
