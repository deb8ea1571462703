// Lengths and order of the types that no index has. Applications compare such
// values themselves, so these functions are exported under their own names.

#include <cstdint>
#include <cstring>

#include "isam.h"

namespace {

constexpr int kRfaLength = 6;
constexpr unsigned kTypeMask = 0x3f;

int quadcmp(const void *a, const void *b) {
    std::int64_t left, right;
    std::memcpy(&left, a, sizeof left);
    std::memcpy(&right, b, sizeof right);
    return left < right ? -1 : left > right;
}

int rfacmp(const std::uint8_t *a, const std::uint8_t *b) {
    for (int i = 0; i < kRfaLength; ++i)
        if (a[i] != b[i]) return a[i] - b[i];
    return 0;
}

}  // namespace

int isCustLen(int type) {
    switch (type) {
    case QUADTYPE: return 8;
    case BYTETYPE: return 1;
    case RFATYPE: return kRfaLength;
    case COLLATETYPE: return 1;
    default: return 0;
    }
}

int isCustCmp(KeyDesc *key, int part, const void *a, const void *b) {
    if (key == nullptr || part < 0 || part >= ISMAXPARTS || a == nullptr || b == nullptr) return 0;
    const auto *left = static_cast<const std::uint8_t *>(a), *right = static_cast<const std::uint8_t *>(b);
    switch (key->parts[part].type & kTypeMask) {
    case QUADTYPE: return quadcmp(a, b);
    case BYTETYPE: return left[0] - right[0];
    case RFATYPE: return rfacmp(left, right);
    case COLLATETYPE: return std::strcoll(static_cast<const char *>(a), static_cast<const char *>(b));
    default: return 0;
    }
}
