// Numbers as the files have them, most significant byte first.
#ifndef TESTS_FUZZ_NUMBERS_H
#define TESTS_FUZZ_NUMBERS_H

#include <cstdint>

namespace fuzz {

inline std::uint32_t loadBig(const std::uint8_t *p, int width) {
    std::uint32_t value = 0;
    for (int i = 0; i < width; ++i)
        value = value << 8 | p[i];
    return value;
}

inline void storeBig(std::uint32_t value, std::uint8_t *p, int width) {
    for (int i = width; i-- > 0; value >>= 8)
        p[i] = static_cast<std::uint8_t>(value);
}

}  // namespace fuzz

#endif
