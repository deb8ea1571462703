// A file's bytes beside the library's calls.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <iterator>
#include <string>

namespace unit {

inline std::string bytesOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

inline std::size_t sizeOf(const std::string &path) { return bytesOf(path).size(); }

inline void patch(const std::string &path, long offset, const std::string &bytes) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(offset);
    file << bytes;
}

// A number as files hold it, most significant byte first.
inline std::string be(std::uint32_t value, int width) {
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

}  // namespace unit
