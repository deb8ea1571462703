#include "records/key_order.h"

#include "layout/words.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

namespace tool {

namespace {

// The numbers that the differing byte lies in.
template <typename T>
int compareValues(const std::string &a, const std::string &b, std::size_t start, std::size_t differ) {
    T x;
    T y;
    const std::size_t at = start + (differ - start) / sizeof(T) * sizeof(T);
    std::memcpy(&x, a.data() + at, sizeof x);
    std::memcpy(&y, b.data() + at, sizeof y);
    return x > y ? 1 : -1;
}

// Two parts that differ first in byte `differ`. Of several numbers of the machine, the one that differs first decides.
int comparePart(unsigned type, const std::string &a, const std::string &b, std::size_t at, std::size_t differ) {
    const int bytes = static_cast<unsigned char>(a[differ]) - static_cast<unsigned char>(b[differ]);
    switch (type) {
    case INTTYPE:
    case LONGTYPE:
        return differ == at ? static_cast<signed char>(a[differ]) - static_cast<signed char>(b[differ]) : bytes;
    case DOUBLETYPE: return compareValues<double>(a, b, at, differ);
    case FLOATTYPE: return compareValues<float>(a, b, at, differ);
    case MINTTYPE: return compareValues<std::int16_t>(a, b, at, differ);
    case MLONGTYPE: return compareValues<std::int32_t>(a, b, at, differ);
    default: return bytes;
    }
}

}  // namespace

int compareKeys(const KeyDesc &key, const std::string &a, const std::string &b, int length) {
    const auto counts = static_cast<std::size_t>(length);
    const auto differ = static_cast<std::size_t>(
        std::mismatch(a.begin(), a.begin() + length, b.begin(), b.begin() + length).first - a.begin());
    if (differ == counts) return 0;
    std::size_t at = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const std::size_t end = at + static_cast<std::size_t>(part.length);
        if (differ < end) {
            const int order = comparePart(part.type & kKeyTypeBits, a, b, at, differ);
            return (part.type & ISDESC) != 0 ? -order : order;
        }
        at = end;
    }
    return 0;
}

}  // namespace tool
