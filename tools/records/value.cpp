#include "records/value.h"

namespace tool {

namespace {

constexpr unsigned kHalf = 4;
constexpr unsigned kHalfMask = 0x0f;

int digitOf(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

std::string countOfBytes(std::size_t count) { return std::to_string(count) + (count == 1 ? " byte" : " bytes"); }

std::string toHex(std::string_view bytes) {
    static const char *const kDigits = "0123456789abcdef";
    std::string digits;
    digits.reserve(2 * bytes.size());
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        digits += kDigits[byte >> kHalf];
        digits += kDigits[byte & kHalfMask];
    }
    return digits;
}

bool fromHex(std::string_view digits, std::string &bytes) {
    if (digits.size() % 2 != 0) return false;
    bytes.clear();
    bytes.reserve(digits.size() / 2);
    for (std::size_t i = 0; i < digits.size(); i += 2) {
        const int high = digitOf(digits[i]);
        const int low = digitOf(digits[i + 1]);
        if (high < 0 || low < 0) return false;
        bytes += static_cast<char>((high << kHalf) | low);
    }
    return true;
}

}  // namespace tool
