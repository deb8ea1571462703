#include "keys/iscompmark.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "keys/isorder.h"

namespace {

constexpr int kMostMarks = 16;
constexpr int kShare = 4;  // marks may take up a quarter of what the node does

std::size_t stride(const IndexPath *path) {
    const std::size_t size = sizeof(CompMark) + static_cast<std::size_t>(keyLength(path));
    return (size + alignof(CompMark) - 1) / alignof(CompMark) * alignof(CompMark);
}

CompMark *markAt(const IndexPath *path, const NodeBuf *n, int i) {
    return reinterpret_cast<CompMark *>(n->key + ISMAXKEYLEN + static_cast<std::size_t>(i) * stride(path));
}

std::uint32_t bit(int i) { return std::uint32_t{1} << i; }

}  // namespace

void isMarkSpacing(const IsamFile *h, IndexPath *path) {
    const int room = h->nodeSize / kShare / static_cast<int>(stride(path));
    path->markCount = std::clamp(room, 2, kMostMarks);
    path->markWidth = (h->nodeSize + path->markCount - 1) / path->markCount;
}

std::size_t isMarkBytes(const IndexPath *path) { return static_cast<std::size_t>(path->markCount) * stride(path); }

void isMarkEntry(const IndexPath *path, NodeBuf *n, int start, int end) {
    const int i = start / path->markWidth;
    CompMark *mark = markAt(path, n, i);
    if ((n->marked & bit(i)) != 0 && mark->start <= start) return;
    n->marked |= bit(i);
    mark->start = static_cast<std::uint16_t>(start);
    mark->end = static_cast<std::uint16_t>(end);
    std::memcpy(mark + 1, n->key, static_cast<std::size_t>(keyLength(path)));
}

const CompMark *isMarkBefore(const IndexPath *path, const NodeBuf *n, int offset) {
    for (std::uint32_t left = n->marked; left != 0;) {
        const int i = static_cast<int>(std::bit_width(left)) - 1;
        const CompMark *mark = markAt(path, n, i);
        if (mark->end <= offset) return mark;
        left ^= bit(i);
    }
    return nullptr;
}

const CompMark *isMarkBehind(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, bool above) {
    const CompMark *last = nullptr;
    for (std::uint32_t left = n->marked; left != 0; left &= left - 1) {
        const CompMark *mark = markAt(path, n, std::countr_zero(left));
        if (isByteCmp(path, markedKey(mark), key, path->searchLength) >= (above ? 1 : 0)) break;
        last = mark;
    }
    return last;
}

std::uint32_t isMarksBefore(const IndexPath *path, const NodeBuf *n, int offset) {
    std::uint32_t kept = 0;
    for (std::uint32_t left = n->marked; left != 0; left &= left - 1) {
        const int i = std::countr_zero(left);
        if (markAt(path, n, i)->end <= offset) kept |= bit(i);
    }
    return kept;
}
