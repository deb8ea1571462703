#include "index/key_value.h"

#include <cstdio>
#include <cstring>

namespace tool {

namespace {

constexpr std::size_t kLongestText = 24;

template <typename Number> Number machineNumber(ConstBytes bytes) {
    Number value;
    std::memcpy(&value, bytes.data(), sizeof value);
    return value;
}

template <typename Number> std::string real(ConstBytes bytes) {
    char text[32];
    std::snprintf(text, sizeof text, "%g", static_cast<double>(machineNumber<Number>(bytes)));
    return text;
}

std::string hex(ConstBytes bytes) {
    std::string text = "0x";
    char two[3];
    for (const std::uint8_t byte : bytes.first(std::min(bytes.size(), kLongestText))) {
        std::snprintf(two, sizeof two, "%02x", byte);
        text += two;
    }
    return text;
}

std::string words(ConstBytes bytes) {
    std::size_t length = bytes.size();
    while (length != 0 && (bytes[length - 1] == ' ' || bytes[length - 1] == 0))
        --length;
    for (const std::uint8_t byte : bytes.first(length))
        if (byte < ' ' || byte > '~') return hex(bytes);
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(std::min(length, kLongestText))};
}

std::string one(unsigned type, ConstBytes bytes) {
    switch (type) {
    case INTTYPE: return std::to_string(static_cast<std::int16_t>(bytes[0] << 8U | bytes[1]));
    case LONGTYPE: return std::to_string(ldlong(bytes.data()));
    case MINTTYPE: return std::to_string(machineNumber<std::int16_t>(bytes));
    case MLONGTYPE: return std::to_string(machineNumber<std::int32_t>(bytes));
    case DOUBLETYPE: return real<double>(bytes);
    case FLOATTYPE: return real<float>(bytes);
    default: return words(bytes);
    }
}

std::size_t unitOf(unsigned type) {
    switch (type) {
    case INTTYPE:
    case MINTTYPE: return 2;
    case LONGTYPE:
    case MLONGTYPE:
    case FLOATTYPE: return 4;
    case DOUBLETYPE: return 8;
    default: return 0;
    }
}

}  // namespace

std::string keyInWords(const KeyDesc &key, const std::uint8_t *bytes) {
    std::string text;
    for (int i = 0; i < key.nparts; ++i) {
        const unsigned type = key.parts[i].type & 0x3fU;
        ConstBytes rest(bytes, static_cast<std::size_t>(key.parts[i].length));
        bytes += rest.size();
        // A part may hold several numbers of its type.
        const std::size_t unit = unitOf(type) != 0 ? unitOf(type) : rest.size();
        for (; !rest.empty() && unit != 0; rest = rest.subspan(unit))
            text += (text.empty() ? "" : ", ") + one(type, rest.first(unit));
    }
    return text;
}

}  // namespace tool
