#include "base/hex_text.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace tool {

namespace {

constexpr std::size_t kBytesALine = 16;
constexpr const char *kDigits = "0123456789abcdef";

bool isPlain(std::uint8_t byte) { return byte >= 0x20 && byte < 0x7f; }

void addDigits(std::string &out, std::uint8_t byte) {
    out += kDigits[byte >> 4U];
    out += kDigits[byte & 0xfU];
}

}  // namespace

std::string hexText(std::span<const std::uint8_t> bytes) {
    std::string out;
    out.reserve(2 * bytes.size());
    for (const std::uint8_t byte : bytes)
        addDigits(out, byte);
    return out;
}

std::string hexDump(std::span<const std::uint8_t> bytes, const std::string &indent) {
    std::string out;
    for (std::size_t at = 0; at < bytes.size(); at += kBytesALine) {
        const auto line = bytes.subspan(at, std::min(kBytesALine, bytes.size() - at));
        std::array<char, 24> offset;
        std::snprintf(offset.data(), offset.size(), "%05zu", at);
        out += indent + offset.data() + " ";
        std::string text;
        for (std::size_t i = 0; i < kBytesALine; ++i) {
            out += i == kBytesALine / 2 ? "  " : " ";
            if (i >= line.size()) {
                out += "  ";
                continue;
            }
            addDigits(out, line[i]);
            text += isPlain(line[i]) ? static_cast<char>(line[i]) : '.';
        }
        out += "  |" + text + "|\n";
    }
    return out;
}

std::string printable(const std::string &text) {
    std::string out;
    for (const char c : text) {
        const auto byte = static_cast<std::uint8_t>(c);
        if (byte >= 0x20 && byte != 0x7f) {
            out += c;
        } else {
            out += "\\x";
            addDigits(out, byte);
        }
    }
    return out;
}

}  // namespace tool
