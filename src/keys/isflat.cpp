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

// First entry with a key not below key, or with a key above it; their number when
// there is none. REQUIRES: path->byteOrder, whose order leaves no room for another
// outcome, whichever entries are looked at. The first eight bytes decide most
// comparisons; what they decide is added, not branched on: nothing could foresee it.
int firstBehind(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, bool above) {
    using order::mostFirst, order::word;
    const int size = path->entrySize, length = path->searchLength, limit = above ? 1 : 0;
    const std::uint8_t *entries = n->buffer + node::kTreeStart;
    const bool wide = length >= 8;
    const std::uint64_t turn = wide ? word<std::uint64_t>(path->turns) : 0;
    const std::uint64_t head = wide ? mostFirst(word<std::uint64_t>(key) ^ turn) : 0;
    const auto behind = [=](int i) {
        const std::uint8_t *entry = entries + i * size;
        const std::uint64_t other = wide ? mostFirst(word<std::uint64_t>(entry) ^ turn) : head;
        if (other == head) return isByteCmp(path, entry, key, length) < limit;
        return other < head;
    };
    int first = 0, count = entryCount(path, n);
    while (count > 1) {
        const int half = count / 2;
        first += behind(first + half - 1) ? half : 0;
        count -= half;
    }
    return count == 1 && behind(first) ? first + 1 : first;
}

bool bytesearch(const IndexPath *path, NodeBuf *n, const std::uint8_t *key, bool above) {
    const int count = entryCount(path, n);
    if (count == 0) return false;
    const int i = firstBehind(path, n, key, above);
    flatval(path, n, entryOffset(path, i < count ? i : count - 1));
    return i < count;
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

std::uint32_t flatchild(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key) {
    const int i = std::min(firstBehind(path, n, key, true), entryCount(path, n) - 1);
    return ld_long(n->buffer + entryOffset(path, i + 1) - kPointerSize) & kPointerMask;
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
