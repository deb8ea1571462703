// A mapped file that somebody cuts off, or that the disk has no room or no good
// block for, answers a copy with SIGBUS. While a handle is mapped a handler stands
// there: in the window that is being copied from or to it puts a page of zeros in
// place of the one that failed and notes it, so that the copy ends and its bytes
// are moved the ordinary way, which tells the error. What faults elsewhere goes on
// to whoever had the signal before.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/isglobal.h"

// Puts the handler there, for one more handle.
void isBusWatch();

// One handle less; with the last one the signal goes back, if nobody has taken it
// since.
void isBusLeave();

// Runs a copy within the window of length bytes at base. False when it met a page
// that failed: the window is of no use any more.
template <typename Copy> bool isBusGuarded(std::uint8_t *base, std::int64_t length, Copy &&copy) {
    BusWatch &watch = isProcess.busWatch;
    watch.length = static_cast<std::size_t>(length);
    watch.base = base;
    std::atomic_signal_fence(std::memory_order_seq_cst);
    copy();
    std::atomic_signal_fence(std::memory_order_seq_cst);
    watch.base = nullptr;
    if (watch.hit == 0) return true;
    watch.hit = 0;
    return false;
}
