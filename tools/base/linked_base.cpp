#include "base/linked_base.h"

#include <array>
#include <fstream>

namespace tool {

namespace {

constexpr std::streamsize kLongestLine = 254;

}  // namespace

// As the library reads it: one line; without its end, or one that is too long, it loses its last character.
std::string linkedBase(const std::string &name) {
    std::ifstream file(name + ".lnk", std::ios::binary);
    std::array<char, kLongestLine> bytes;
    file.read(bytes.data(), kLongestLine);
    const std::string read(bytes.data(), static_cast<std::size_t>(file.gcount()));
    if (read.empty()) return name;
    const std::size_t end = read.find('\n');
    return read.substr(0, end == std::string::npos ? read.size() - 1 : end);
}

}  // namespace tool
