#include "keys/isflat.h"

#include <algorithm>

#include "base/ismif.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "keys/isorder.h"
#include "storage/node_layout.h"

namespace {

int entryCount(const IndexPath *path, const NodeBuf *n) { return (n->used - node::kTreeStart) / path->entrySize; }

int entryOffset(const IndexPath *path, int i) { return node::kTreeStart + i * path->entrySize; }

int compare(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, int i) {
    return isKeyCmp(path, key, n->buffer + entryOffset(path, i));
}

// The bytes of a key that decide most comparisons, turned over, as a number: the
// first eight, or all of them.
template <bool kWide> std::uint64_t headOf(const std::uint8_t *key, int length, std::uint64_t turn) {
    if constexpr (kWide) return order::mostFirst(order::word<std::uint64_t>(key) ^ turn);
    return order::few(key, length) ^ turn;
}

// Offset of the first entry with a key not below key, or with a key above it; used
// when there is none. REQUIRES: path->byteOrder, whose order leaves no room for
// another outcome, whichever entries are looked at. Which half it is in nothing could
// foresee, so that is chosen without a branch.
template <bool kWide> int firstBehind(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, bool above) {
    const int size = path->entrySize, length = path->searchLength, limit = above ? 1 : 0;
    const std::uint8_t *first = n->buffer + node::kTreeStart;
    int count = entryCount(path, n), skip = 0;
    if (count == 0) return n->used;
    // What the first and the last entry share with the key, all between them do.
    const std::uint8_t *last = first + (count - 1) * size;
    const auto shared = [=](int at) {
        const auto word = order::word<std::uint64_t>(key + at);
        return word == order::word<std::uint64_t>(first + at) && word == order::word<std::uint64_t>(last + at);
    };
    while (kWide && skip < length - 8 && shared(skip))
        skip = skip + 16 <= length ? skip + 8 : length - 8;
    const std::uint64_t turn = kWide ? order::word<std::uint64_t>(path->turns + skip) : order::few(path->turns, length);
    const std::uint64_t head = headOf<kWide>(key + skip, length, turn);
    const auto behind = [=](const std::uint8_t *entry) {
        const std::uint64_t other = headOf<kWide>(entry + skip, length, turn);
        if (other != head) return other < head;
        return kWide ? isByteCmp(path, entry, key, length) < limit : above;
    };
    while (count > 1) {
        const int half = count / 2;
        const std::uint8_t *next = first + half * size;
        first = behind(next - size) ? next : first;
        count -= half;
    }
    return static_cast<int>(first - n->buffer) + (behind(first) ? size : 0);
}

int firstBehind(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, bool above) {
    return path->searchLength >= 8 ? firstBehind<true>(path, n, key, above) : firstBehind<false>(path, n, key, above);
}

// The same, where a hint may tell.
int placeOf(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, bool above) {
    if (n->level == 0 || n->level > kHintLevels) return firstBehind(path, n, key, above);
    const NodeHint &hint = path->hints[n->level - 1];
    if (hint.number != n->number || hint.offset > n->used) return firstBehind(path, n, key, above);
    const std::uint8_t *entry = n->buffer + hint.offset;
    const int length = path->searchLength, limit = above ? 1 : 0;
    const bool right =
        (hint.offset == n->used || isByteCmp(path, entry, key, length) >= limit) &&
        (hint.offset == node::kTreeStart || isByteCmp(path, entry - path->entrySize, key, length) < limit);
    return right ? hint.offset : firstBehind(path, n, key, above);
}

bool bytesearch(const IndexPath *path, NodeBuf *n, const std::uint8_t *key, bool above) {
    if (n->used <= node::kTreeStart) return false;
    const int offset = placeOf(path, n, key, above);
    flatval(path, n, std::min(offset, n->used - path->entrySize));
    return offset < n->used;
}

}  // namespace

bool flatsound(const IndexPath *path, const NodeBuf *n) { return (n->used - node::kTreeStart) % path->entrySize == 0; }

void flatval(const IndexPath *path, NodeBuf *n, int offset) {
    n->position = offset;
    n->next = offset + path->entrySize;
    n->key = n->buffer + offset;
    const std::uint8_t *pointer = n->buffer + n->next - kPointerSize;
    n->pointer = ld_long(pointer) & kPointerMask;
    if (path->dupWidth != 0) n->serial = ldMint(pointer - path->dupWidth, path->dupWidth);
}

std::uint32_t flatchild(IndexPath *path, const NodeBuf *n, const std::uint8_t *key) {
    const int place = firstBehind(path, n, key, true);
    if (n->level <= kHintLevels) path->hints[n->level - 1] = {n->number, place};
    const int offset = std::min(place, n->used - path->entrySize);
    return ld_long(n->buffer + offset + path->entrySize - kPointerSize) & kPointerMask;
}

// The order of comparisons is part of the outcome where keys do not order
// consistently (both zeros of a floating-point part), so the halving is kept
// exactly as it has always been.
bool flatmatch(const IndexPath *path, NodeBuf *n, const std::uint8_t *key) {
    if (path->byteOrder) return bytesearch(path, n, key, false);
    int hi = entryCount(path, n) - 1;
    if (hi < 0) return false;
    if (compare(path, n, key, hi) > 0) {
        flatval(path, n, entryOffset(path, hi));
        return false;
    }
    int lo = 0;
    while (hi - lo >= 2) {
        const int mid = lo + (hi - lo) / 2;
        if (compare(path, n, key, mid) <= 0)
            hi = mid;
        else
            lo = mid + 1;
    }
    flatval(path, n, entryOffset(path, compare(path, n, key, lo) <= 0 ? lo : hi));
    return true;
}

bool flatgreat(const IndexPath *path, NodeBuf *n, const std::uint8_t *key) {
    if (path->byteOrder) return bytesearch(path, n, key, true);
    int hi = entryCount(path, n) - 1;
    if (hi < 0) return false;
    if (compare(path, n, key, hi) >= 0) {
        flatval(path, n, entryOffset(path, hi));
        return false;
    }
    int lo = 0;
    for (;;) {
        const int mid = lo + (hi - lo) / 2;
        const int order = compare(path, n, key, mid);
        if (hi - lo >= 2) {
            if (order < 0)
                hi = mid;
            else
                lo = mid + 1;
            continue;
        }
        if (order < 0) {
            flatval(path, n, entryOffset(path, mid));
            return true;
        }
        flatval(path, n, entryOffset(path, hi));
        return hi != mid && compare(path, n, key, hi) < 0;
    }
}

bool flatwalk(const IndexPath *path, NodeBuf *n, int direction) {
    int offset = 0;
    switch (direction) {
    case kWalkFirst: offset = node::kTreeStart; break;
    case kWalkLast: offset = n->used - path->entrySize; break;
    case kWalkNext: offset = n->position != 0 ? n->position + path->entrySize : node::kTreeStart; break;
    default: offset = n->position - path->entrySize; break;
    }
    if (offset < node::kTreeStart || offset + path->entrySize > n->used) return false;
    flatval(path, n, offset);
    return true;
}
