#include "trace/watch/lock_ranges.h"

#include <fcntl.h>

#include <cstdio>
#include <iterator>
#include <limits>

namespace trace {

namespace {

std::int64_t endOf(std::int64_t start, std::int64_t length) {
    return length == 0 ? std::numeric_limits<std::int64_t>::max() : start + length;
}

}  // namespace

void LockRanges::set(short type, std::int64_t start, std::int64_t length) {
    const std::int64_t end = endOf(start, length);
    auto at = ranges_.upper_bound(start);
    if (at != ranges_.begin() && std::prev(at)->second.end > start) --at;
    while (at != ranges_.end() && at->first < end) {
        const auto [oldStart, old] = *at;
        at = ranges_.erase(at);
        if (oldStart < start) ranges_[oldStart] = {start, old.type};
        if (old.end > end) ranges_[end] = old;
    }
    if (type != F_UNLCK) ranges_[start] = {end, type};
}

bool LockRanges::covers(std::int64_t start, std::int64_t length, bool exclusive) const {
    const std::int64_t end = endOf(start, length);
    auto at = ranges_.upper_bound(start);
    if (at != ranges_.begin()) --at;
    for (; start < end; ++at) {
        if (at == ranges_.end() || at->first > start || at->second.end <= start) return false;
        if (exclusive && at->second.type != F_WRLCK) return false;
        start = at->second.end;
    }
    return true;
}

bool LockRanges::touches(std::int64_t start, std::int64_t length) const {
    auto at = ranges_.upper_bound(start);
    if (at != ranges_.begin() && std::prev(at)->second.end > start) return true;
    return at != ranges_.end() && at->first < endOf(start, length);
}

std::string LockRanges::text() const {
    std::string all;
    for (const auto &[start, range] : ranges_) {
        char one[80];
        std::snprintf(one, sizeof one, "%s%s 0x%llx..0x%llx", all.empty() ? "" : ", ",
                      range.type == F_WRLCK ? "write" : "read", static_cast<unsigned long long>(start),
                      static_cast<unsigned long long>(range.end - 1));
        all += one;
    }
    return all.empty() ? "none" : all;
}

}  // namespace trace
