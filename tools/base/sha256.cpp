#include "base/sha256.h"

namespace tool {

std::string hexadecimal(const Digest &digest) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    for (const std::uint8_t byte : digest) {
        text += kDigits[byte >> 4U];
        text += kDigits[byte & 0xfU];
    }
    return text;
}

}  // namespace tool
