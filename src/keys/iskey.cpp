#include "keys/iskey.h"

#include <bit>
#include <cstring>

#include "base/isfail.h"
#include "keys/isorder.h"

namespace {

constexpr const char *kModule = "iskey";
constexpr int kOutsideLine = 106;

constexpr unsigned kKnownFlags = ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP | ISTRAILNUL | ISNULLKEY;
constexpr unsigned kTypeMask = 0x3f;
constexpr std::uint8_t kSignBit = 0x80;
constexpr int kIndexTypes = 8;  // type codes that an index can have
constexpr int kUnit[kIndexTypes] = {1, 2, 4, 8, 4, 2, 4, 1};

unsigned typeCode(const KeyPart &part) { return part.type & kTypeMask; }

// Values that differ in their bytes but not in their order (both zeros, NaN)
// come out as smaller on either side; existing trees are built that way.
template <typename T> int nativecmp(const std::uint8_t *a, const std::uint8_t *b, int offset) {
    T left, right;
    std::memcpy(&left, a + offset, sizeof left);
    std::memcpy(&right, b + offset, sizeof right);
    return left > right ? 1 : -1;
}

int flatcmp(const std::uint8_t *a, const std::uint8_t *b, int offset) { return a[offset] - b[offset]; }

int signcmp(const std::uint8_t *a, const std::uint8_t *b, int offset) {
    return static_cast<std::int8_t>(a[offset]) - static_cast<std::int8_t>(b[offset]);
}

// Order of two keys that first differ at byte d of a part starting at o.
int partcmp(const KeyPart &part, const std::uint8_t *a, const std::uint8_t *b, int o, int d) {
    const unsigned code = typeCode(part);
    // Of several native numbers in a part the one that differs first decides; other
    // integers are one number together, whose sign is in the part's first byte.
    const int unit = code < kIndexTypes ? kUnit[code] : 1;
    const int start = o + (d - o) / unit * unit;
    switch (code) {
    case INTTYPE:
    case LONGTYPE: return d == o ? signcmp(a, b, d) : flatcmp(a, b, d);
    case DOUBLETYPE: return nativecmp<double>(a, b, start);
    case FLOATTYPE: return nativecmp<float>(a, b, start);
    case MINTTYPE: return nativecmp<std::int16_t>(a, b, start);
    case MLONGTYPE: return nativecmp<std::int32_t>(a, b, start);
    default: return flatcmp(a, b, d);
    }
}

}  // namespace

bool isTestIndex(const IsamFile *h, const KeyDesc *key) {
    if (key->nparts == 0) return true;
    if (key->nparts < 0 || key->nparts > ISMAXPARTS || (key->flags & ~kKnownFlags) != 0) return false;
    int total = 0;
    for (int i = 0; i < key->nparts; ++i) {
        const KeyPart &part = key->parts[i];
        if (part.start < 0 || part.length < 0) return false;
        if (h->recordLength != 0 && part.start + part.length > h->recordLength) return false;
        const unsigned code = typeCode(part);
        if (code >= kIndexTypes || part.length % kUnit[code] != 0) return false;
        total += part.length;
    }
    return total <= ISMAXKEYLEN;
}

int isKeyLength(const KeyDesc *key) {
    int total = 0;
    for (int i = 0; i < key->nparts; ++i)
        total += key->parts[i].length;
    return total;
}

void isKeyOrder(IndexPath *path) {
    path->byteOrder = false;
    std::uint8_t *turn = path->turns;
    for (int i = 0; i < path->keyDesc.nparts; ++i) {
        const KeyPart &part = path->keyDesc.parts[i];
        const unsigned code = typeCode(part);
        const bool isNumber = code == INTTYPE || code == LONGTYPE;
        if (!isNumber && code != CHARTYPE && code != STRINGTYPE) return;
        std::memset(turn, (part.type & ISDESC) != 0 ? 0xff : 0, static_cast<std::size_t>(part.length));
        if (isNumber && part.length > 0) *turn ^= kSignBit;
        turn += part.length;
    }
    path->byteOrder = true;
}

void isKeyMake(const IndexPath *path, std::uint8_t *key, const void *record) {
    const auto *bytes = static_cast<const std::uint8_t *>(record);
    for (int i = 0; i < path->keyDesc.nparts; ++i) {
        const KeyPart &part = path->keyDesc.parts[i];
        const auto length = static_cast<std::size_t>(part.length);
        if (typeCode(part) == STRINGTYPE) {
            const std::size_t text = strnlen(reinterpret_cast<const char *>(bytes + part.start), length);
            std::memcpy(key, bytes + part.start, text);
            std::memset(key + text, 0, length - text);
        } else {
            std::memcpy(key, bytes + part.start, length);
        }
        key += length;
    }
}

void isKeyLoad(const IndexPath *path, void *record, const std::uint8_t *key) {
    auto *bytes = static_cast<std::uint8_t *>(record);
    if (key == nullptr) key = path->positionKey;
    for (int i = 0; i < path->keyDesc.nparts; ++i) {
        const KeyPart &part = path->keyDesc.parts[i];
        std::memcpy(bytes + part.start, key, static_cast<std::size_t>(part.length));
        key += part.length;
    }
}

int findoff(const std::uint8_t *a, const std::uint8_t *b, int n) {
    int i = 0;
    if constexpr (std::endian::native == std::endian::little) {
        for (; i + 8 <= n; i += 8) {
            std::uint64_t left, right;
            std::memcpy(&left, a + i, sizeof left);
            std::memcpy(&right, b + i, sizeof right);
            if (left != right) return i + std::countr_zero(left ^ right) / 8;
        }
    }
    while (i < n && a[i] == b[i])
        ++i;
    return i;
}

int isKeyCmp(const IndexPath *path, const std::uint8_t *a, const std::uint8_t *b) {
    const int length = path->searchLength;
    if (path->byteOrder) return isByteCmp(path, a, b, length);
    const int d = findoff(a, b, length);
    if (d == length) return 0;
    int o = 0;
    for (int i = 0; i < path->keyDesc.nparts; ++i) {
        const KeyPart &part = path->keyDesc.parts[i];
        if (d < o + part.length) {
            const int order = partcmp(part, a, b, o, d);
            return (part.type & ISDESC) != 0 ? -order : order;
        }
        o += part.length;
    }
    isBroken(kModule, kOutsideLine);
}

bool isKeyMatch(const IndexPath *path, const std::uint8_t *a, const std::uint8_t *b) {
    if (b == nullptr) b = path->top->key;
    return std::memcmp(a, b, static_cast<std::size_t>(path->searchLength)) == 0;
}

bool isKeyNull(const IndexPath *path, const std::uint8_t *key) {
    if (!skipsNulls(path)) return false;
    for (int i = 0; i < path->keyDesc.nparts; ++i) {
        const KeyPart &part = path->keyDesc.parts[i];
        const auto fill = static_cast<std::uint8_t>(part.type >> 8);
        for (int j = 0; j < part.length; ++j)
            if (*key++ != fill) return false;
    }
    return true;
}
