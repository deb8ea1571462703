#include "base/progress.h"

#include <algorithm>
#include <cstdio>
#include <unistd.h>
#include <utility>

namespace tool {

namespace {

constexpr auto kRedrawEvery = std::chrono::milliseconds(100);
constexpr std::uint64_t kBarCells = 30;
constexpr std::uint64_t kLongestStride = 1U << 16U;

}  // namespace

Progress::Progress(std::string what, std::uint64_t total)
    : what_(std::move(what)), total_(total), shown_(isatty(STDERR_FILENO) == 1),
      last_(std::chrono::steady_clock::now()) {}

Progress::~Progress() { clear(); }

// The clock is asked for at a distance that grows until it is about the time between two drawings.
void Progress::look() {
    const auto now = std::chrono::steady_clock::now();
    if (now - last_ >= kRedrawEvery) {
        last_ = now;
        draw();
        drawn_ = true;
        stride_ = std::max<std::uint64_t>(1, stride_ / 2);
    } else {
        stride_ = std::min(stride_ * 2, kLongestStride);
    }
    next_look_ = done_ + stride_;
}

void Progress::draw() const {
    if (total_ == 0) {
        std::fprintf(stderr, "\r%s: %ju\033[K", what_.c_str(), static_cast<std::uintmax_t>(done_));
    } else {
        const std::uint64_t done = std::min(done_, total_);
        const auto cells = static_cast<std::size_t>(kBarCells * done / total_);
        const std::string bar = std::string(cells, '#') + std::string(kBarCells - cells, '.');
        std::fprintf(stderr, "\r%s [%s] %3u%%\033[K", what_.c_str(), bar.c_str(),
                     static_cast<unsigned>(100 * done / total_));
    }
    std::fflush(stderr);
}

void Progress::clear() {
    if (!std::exchange(drawn_, false)) return;
    std::fputs("\r\033[K", stderr);
    std::fflush(stderr);
}

}  // namespace tool
