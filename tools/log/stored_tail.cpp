#include "log/stored_tail.h"

#include <algorithm>
#include <array>

namespace tool {

namespace {

constexpr std::array<std::uint8_t, 4> kFills = {0, 0, ' ', '0'};
constexpr unsigned kCountBits = 0x3f;
constexpr unsigned kFillShift = 6;
constexpr std::size_t kRawHead = 3;

std::optional<ByteString> rawTail(std::span<const std::uint8_t> stored, std::size_t most) {
    if (stored.size() < kRawHead) return std::nullopt;
    const std::size_t length = static_cast<std::size_t>(stored[1]) << 8U | stored[2];
    if (length != stored.size() - kRawHead || length > most) return std::nullopt;
    return ByteString(stored.begin() + kRawHead, stored.end());
}

}  // namespace

std::optional<ByteString> expandTail(std::span<const std::uint8_t> stored, std::size_t most) {
    if (stored.empty()) return std::nullopt;
    if (stored[0] == 0) return rawTail(stored, most);
    const auto end = std::find(stored.begin(), stored.end(), 0);
    if (end == stored.end()) return std::nullopt;
    ByteString tail;
    auto body = stored.subspan(static_cast<std::size_t>(end - stored.begin()) + 1);
    for (auto at = stored.begin(); at != end; ++at) {
        const std::size_t count = *at & kCountBits;
        const std::size_t fill = *at >> kFillShift;
        if (tail.size() + count > most || (fill == 0 && count > body.size())) return std::nullopt;
        if (fill != 0) {
            tail.insert(tail.end(), count, kFills[fill]);
        } else {
            tail.insert(tail.end(), body.begin(), body.begin() + static_cast<std::ptrdiff_t>(count));
            body = body.subspan(count);
        }
    }
    if (!body.empty()) return std::nullopt;
    return tail;
}

}  // namespace tool
