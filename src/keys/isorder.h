// The order of keys that can be told by plain bytes: of text and of numbers that
// stand most significant byte first, ascending or descending.
//
// Such a key's bytes, each turned over as path->turns says (the sign bit of a number,
// every bit of a descending part), are in order as unsigned bytes. They are compared
// eight at a time, without a call and without looking at the parts.
#pragma once

#include <bit>
#include <cstring>

#include "base/ismif.h"
#include "keys/ispathdef.h"

namespace order {

template <typename Word> inline Word word(const std::uint8_t *p) {
    Word raw;
    std::memcpy(&raw, p, sizeof raw);
    return raw;
}

inline std::uint64_t mostFirst(std::uint64_t raw) {
    return std::endian::native == std::endian::little ? __builtin_bswap64(raw) : raw;
}

// Up to seven bytes as one number, in their order; some of them count twice, behind
// all others.
inline std::uint64_t few(const std::uint8_t *p, int length) {
    if (length >= 4) return static_cast<std::uint64_t>(ld_long(p)) << 32 | ld_long(p + length - 4);
    if (length >= 2) return static_cast<std::uint64_t>(ld_int(p)) << 16 | ld_int(p + length - 2);
    return length != 0 ? *p : 0;
}

}  // namespace order

// Below, equal to or above 0 as a sorts before, with or after b, over length bytes.
// REQUIRES: path->byteOrder. A call would be a good part of what it costs.
[[gnu::always_inline]] inline int isByteCmp(const IndexPath *path, const std::uint8_t *a, const std::uint8_t *b,
                                            int length) {
    using order::word;
    const std::uint8_t *turns = path->turns;
    if (length < 8) {
        const std::uint64_t turn = order::few(turns, length);
        const std::uint64_t x = order::few(a, length) ^ turn, y = order::few(b, length) ^ turn;
        return (x > y) - (x < y);
    }
    // The last step takes the last eight bytes, some of which are known to be equal.
    for (int i = 0;;) {
        const auto x = word<std::uint64_t>(a + i), y = word<std::uint64_t>(b + i);
        if (x != y) {
            const auto turn = word<std::uint64_t>(turns + i);
            return order::mostFirst(x ^ turn) < order::mostFirst(y ^ turn) ? -1 : 1;
        }
        if (i == length - 8) return 0;
        i = i + 16 <= length ? i + 8 : length - 8;
    }
}
