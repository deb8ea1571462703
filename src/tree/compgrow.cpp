// Insertion into compressed nodes: entries have lengths of their own, a node
// is split by bytes, and an entry's neighbours are encoded anew.

#include <cstring>

#include "base/isfail.h"
#include "base/ismif.h"
#include "keys/iscomp.h"
#include "keys/iscompmark.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "storage/node_layout.h"
#include "tree/isgrow.h"
#include "tree/ispath.h"

namespace {

struct NewEntry {
    const std::uint8_t *key;
    std::uint64_t serial;
    std::uint32_t pointer;
    bool keepSerial;  // do not start at 0 for a new key
};

bool shares(const NodeBuf *n, int end) { return (n->buffer[end - kPointerSize] & kShareBit) != 0; }

void setShare(NodeBuf *n, int end, bool on) {
    std::uint8_t &first = n->buffer[end - kPointerSize];
    first = static_cast<std::uint8_t>(on ? first | kShareBit : first & ~kShareBit);
}

// Inserts before the current entry, which is the one at p, or at the end for p
// = used; false, and no change, when there is no room.
bool compins(IsamFile *h, const IndexPath *path, NodeBuf *n, int limit, int p, const NewEntry &entry) {
    const int tail = path->dupWidth + kPointerSize, used = n->used;
    const bool first = p == node::kTreeStart, follower = p < used;
    const auto keySize = static_cast<std::size_t>(keyLength(path));

    std::uint8_t before[ISMAXKEYLEN] = {}, encoded[kMaxEncoded], followerEncoded[kMaxEncoded];
    if (!first) isCompBefore(path, n, before, p);
    const int e = isCompKey(path, encoded, first ? nullptr : before, entry.key);
    std::uint64_t serial = entry.serial;
    if (n->level == 0 && !entry.keepSerial && !first && !isUnique(path)) {
        if (e == 0 || std::memcmp(before, entry.key, keySize) == 0)
            h->metEqual = true;
        else
            serial = 0;
    }

    // The entry behind: keyless it stays so, else it is encoded against the new
    // key. Above the leaves a last key below the new one is raised to it.
    int f = 0, g = 0;
    if (follower) {
        f = n->next - n->position - tail;
        if (f != 0) {
            const bool raise = n->level > 0 && isKeyCmp(path, n->key, entry.key) < 0;
            g = isCompKey(path, followerEncoded, entry.key, raise ? entry.key : n->key);
        }
    }
    const int growth = e + tail + g - f;
    if (used + growth >= limit) return false;

    const bool announced = !first && shares(n, p);
    std::uint8_t *at = n->buffer + p;
    std::memmove(at + e + tail + g, at + f, static_cast<std::size_t>(used - p - f));
    std::memcpy(at, encoded, static_cast<std::size_t>(e));
    putTail(path, at + e, serial, entry.pointer);
    std::memcpy(at + e + tail, followerEncoded, static_cast<std::size_t>(g));

    // Share bits: each pointer tells whether the entry behind it is keyless. A
    // bit left over on the last entry moves on like a real one.
    const bool followerKeyless = follower && g == 0;
    const int end = p + e + tail;
    setShare(n, end, announced || followerKeyless);
    if (!first) setShare(n, p, e == 0);
    const std::uint32_t marked = isMarksBefore(path, n, p);
    isNodeResize(n, used + growth, used);
    n->marked = marked;
    return true;
}

// First entry border at or behind the middle of the used bytes; keyOut receives
// the key of the entry before it.
int comphalf(const IndexPath *path, const NodeBuf *n, std::uint8_t *keyOut) {
    return isCompScan(path, n, keyOut, node::kTreeStart, n->used / 2);
}

// Moves the entries below offset s, of which the last has key lastKey, to a new
// left half. The first entry that stays is encoded anew to stand alone. The
// entry at p, before which the new one goes, stays current in its half; where
// the new one is appended neither half has a current entry. Returns the left
// half.
NodeBuf *splitAt(IsamFile *h, IndexPath *path, NodeBuf *n, int s, int p, const std::uint8_t *lastKey) {
    const int tail = path->dupWidth + kPointerSize, used = n->used;
    NodeBuf *left = isPathSplit(h, path);
    std::memcpy(left->buffer + node::kTreeStart, n->buffer + node::kTreeStart,
                static_cast<std::size_t>(s - node::kTreeStart));
    isNodeResize(left, s, s);

    int keptUsed = node::kTreeStart, shift = 0;
    if (s < used) {
        std::uint8_t key[ISMAXKEYLEN], encoded[kMaxEncoded];
        std::memcpy(key, lastKey, static_cast<std::size_t>(keyLength(path)));
        const int end = isCompScan(path, n, key, s, s + 1);
        const int length = isCompKey(path, encoded, nullptr, key);
        std::uint8_t *start = n->buffer + node::kTreeStart;
        std::memmove(start + length, n->buffer + end - tail, static_cast<std::size_t>(used - (end - tail)));
        std::memcpy(start, encoded, static_cast<std::size_t>(length));
        shift = node::kTreeStart + length + tail - end;
        keptUsed = used + shift;
    }
    const int position = n->position, next = n->next;
    isNodeResize(n, keptUsed, used);
    if (position > s) {
        n->position = position + shift;
        n->next = next + shift;
    } else if (position == p) {
        left->position = position;
        left->next = next;
        std::memcpy(left->key, n->key, ISMAXKEYLEN);
    }
    return left;
}

}  // namespace

void compgrow(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t pointer, int where,
              const std::uint64_t *serial) {
    const int limit = h->nodeSize - node::kTrailerSize;
    std::uint8_t halfKey[ISMAXKEYLEN] = {}, separator[ISMAXKEYLEN];
    NodeBuf *n = path->top;
    int p = insertOffset(n, where);
    NewEntry entry = {key, 0, pointer, serial != nullptr};
    if (serial != nullptr)
        entry.serial = *serial;
    else if (!isUnique(path))
        entry.serial = p == node::kTreeStart ? nextdup(path) : serialBefore(path, n, p) + 1;

    while (!compins(h, path, n, limit, p, entry)) {
        const int used = n->used;
        const int s = p == used ? used : comphalf(path, n, halfKey);
        NodeBuf *left = splitAt(h, path, n, s, p, halfKey);

        // In the left half the new key is its last one when it goes to its
        // very end; so it is when it starts the right half all alone.
        const bool atBorder = s == p;
        const bool fits = s == used && p == used ? compins(h, path, n, limit, node::kTreeStart, entry)
                          : s >= p               ? compins(h, path, left, limit, p, entry)
                                                 : compins(h, path, n, limit, n->position, entry);
        if (!fits || left->used <= node::kTreeStart) isFail(h, ISERR_CORRUPT);

        std::memmove(separator, atBorder ? entry.key : halfKey, static_cast<std::size_t>(keyLength(path)));
        entry = {separator, isUnique(path) ? 0 : serialBefore(path, left, left->used), left->number, true};

        if (isPathDown(h, path)) {
            n = path->top;
            p = n->position;
        } else {
            NodeBuf *root = growRoot(h, path);
            numberOldRoot(h, path, n);
            if (!compins(h, path, root, limit, node::kTreeStart, {separator, entry.serial, n->number, true}))
                isFail(h, ISERR_CORRUPT);
            isNodeWalk(path, kWalkFirst);
            n = root;
            p = root->position;
        }
    }
}
