#include "bytes.h"

#include <algorithm>

namespace testing_support {

std::uint32_t be16(const std::uint8_t *at) { return static_cast<std::uint32_t>(at[0] << 8 | at[1]); }
std::uint32_t be24(const std::uint8_t *at) { return be16(at) << 8 | at[2]; }
std::uint32_t be32(const std::uint8_t *at) { return be16(at) << 16 | be16(at + 2); }

void putBe(Bytes *out, std::uint32_t value, int width) {
    for (int i = width - 1; i >= 0; --i)
        out->push_back(static_cast<std::uint8_t>(value >> (8 * i)));
}

bool allZero(const Bytes &bytes, std::size_t from, std::size_t to) {
    return std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(from),
                       bytes.begin() + static_cast<std::ptrdiff_t>(to), [](std::uint8_t b) { return b == 0; });
}

}  // namespace testing_support
