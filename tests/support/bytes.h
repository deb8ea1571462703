// Raw bytes, and the numbers that files hold in them, most significant byte first.
#ifndef TESTS_SUPPORT_BYTES_H
#define TESTS_SUPPORT_BYTES_H

#include <cstdint>
#include <vector>

namespace testing_support {

using Bytes = std::vector<std::uint8_t>;

std::uint32_t be16(const std::uint8_t *at);
std::uint32_t be24(const std::uint8_t *at);
std::uint32_t be32(const std::uint8_t *at);
void putBe(Bytes *out, std::uint32_t value, int width);

// True when all bytes from..to-1 are zero.
bool allZero(const Bytes &bytes, std::size_t from, std::size_t to);

}  // namespace testing_support

#endif
