#include "base/key_image.h"

#include <cstring>

namespace tool {

namespace {

constexpr unsigned kTypeBits = 0x3f;
constexpr unsigned kNullShift = 8;

}  // namespace

int keyLength(const KeyDesc &key) {
    int length = 0;
    for (int i = 0; i < key.nparts; ++i)
        length += key.parts[i].length;
    return length;
}

std::string keyImage(const KeyDesc &key, const char *record) {
    std::string image;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const auto length = static_cast<std::size_t>(part.length);
        const bool text = (part.type & kTypeBits) == STRINGTYPE;
        const std::size_t used = text ? strnlen(record + part.start, length) : length;
        image.append(record + part.start, used).append(length - used, '\0');
    }
    return image;
}

bool isNullKey(const KeyDesc &key, const std::string &image) {
    if ((key.flags & ISNULLKEY) == 0) return false;
    std::size_t at = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const auto null = static_cast<char>(key.parts[i].type >> kNullShift);
        for (int j = 0; j < key.parts[i].length; ++j)
            if (image[at++] != null) return false;
    }
    return true;
}

}  // namespace tool
