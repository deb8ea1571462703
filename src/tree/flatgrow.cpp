// Insertion into flat nodes: a split leaves the lower half of the entries in
// the left node, or all of them when the new one is appended.

#include <cstring>

#include "base/isfail.h"
#include "base/ismif.h"
#include "keys/isflat.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "storage/node_layout.h"
#include "tree/isgrow.h"
#include "tree/ispath.h"

namespace {

constexpr const char *kModule = "isgrow";
constexpr int kOffsetLine = 218;

struct NewEntry {
    const std::uint8_t *key;
    std::uint64_t serial;
    std::uint32_t pointer;
};

// Inserts at offset; false, and no change, when there is no room.
bool flatins(const IndexPath *path, NodeBuf *n, int limit, int offset, const NewEntry &entry) {
    const int size = path->entrySize, used = n->used;
    const auto keySize = static_cast<std::size_t>(keyLength(path));
    if (offset < node::kTreeStart || offset > used) isBroken(kModule, kOffsetLine);
    if (used + size >= limit) return false;

    std::uint8_t *p = n->buffer + offset;
    std::memmove(p + size, p, static_cast<std::size_t>(used - offset));
    std::memcpy(p, entry.key, keySize);
    putTail(path, p + keySize, entry.serial, entry.pointer);

    // Above the leaves the last key is only a lower bound; a higher key that
    // now stands before it raises it.
    if (n->level > 0 && offset + size == used && isKeyCmp(path, p + size, entry.key) < 0)
        std::memcpy(p + size, p, keySize + static_cast<std::size_t>(path->dupWidth));

    isNodeResize(n, used + size, used + size);
    return true;
}

std::uint64_t newSerial(IsamFile *h, const IndexPath *path, const NodeBuf *n, int offset, const std::uint8_t *key) {
    if (isUnique(path)) return 0;
    if (offset == node::kTreeStart) return nextdup(path);
    const std::uint8_t *before = n->buffer + offset - path->entrySize;
    if (std::memcmp(before, key, static_cast<std::size_t>(keyLength(path))) != 0) return 0;
    h->metEqual = true;
    return serialBefore(path, n, offset) + 1;
}

// Moves the entries below offset s to a new left half.
NodeBuf *splitAt(IsamFile *h, IndexPath *path, NodeBuf *n, int s) {
    const int used = n->used;
    NodeBuf *left = isPathSplit(h, path);
    std::memcpy(left->buffer + node::kTreeStart, n->buffer + node::kTreeStart,
                static_cast<std::size_t>(s - node::kTreeStart));
    isNodeResize(left, s, s);
    std::memmove(n->buffer + node::kTreeStart, n->buffer + s, static_cast<std::size_t>(used - s));
    isNodeResize(n, used - s + node::kTreeStart, used);
    return left;
}

}  // namespace

void flatgrow(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t pointer, int where) {
    const int limit = h->nodeSize - node::kTrailerSize;
    std::uint8_t separator[ISMAXKEYLEN];
    NodeBuf *n = path->top;
    int p = insertOffset(n, where);
    NewEntry entry = {key, newSerial(h, path, n, p, key), pointer};

    while (!flatins(path, n, limit, p, entry)) {
        const int used = n->used;
        const int count = (used - node::kTreeStart) / path->entrySize;
        const int s = p == used ? used : node::kTreeStart + count / 2 * path->entrySize;
        NodeBuf *left = splitAt(h, path, n, s);

        const bool fits = s == used ? flatins(path, n, limit, node::kTreeStart, entry)
                          : s >= p  ? flatins(path, left, limit, p, entry)
                                    : flatins(path, n, limit, p - s + node::kTreeStart, entry);
        if (!fits || left->used <= node::kTreeStart) isFail(h, ISERR_CORRUPT);

        const int last = left->used - path->entrySize;
        std::memcpy(separator, left->buffer + last, static_cast<std::size_t>(keyLength(path)));
        entry = {separator, isUnique(path) ? 0 : serialBefore(path, left, left->used), left->number};

        if (isPathDown(h, path)) {
            n = path->top;
            p = n->position;
        } else {
            NodeBuf *root = growRoot(h, path);
            if (!flatins(path, root, limit, node::kTreeStart, entry)) isFail(h, ISERR_CORRUPT);
            numberOldRoot(h, path, n);
            entry.pointer = n->number;
            n = root;
            p = root->used;
        }
    }
}
