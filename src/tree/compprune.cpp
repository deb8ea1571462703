// Cutting an entry out of a compressed node: the entry behind it was encoded
// against it and is encoded anew against the one before.
//
// That entry can become longer than the room the deleted one leaves: trailing
// fill bytes of the deleted key cost nothing there, but served as its leading
// bytes. Entries that no longer fit are taken out as well and put back, serial
// and pointer unchanged, with the split that this takes.

#include <cstring>

#include "base/ismemory.h"
#include "base/ismif.h"
#include "keys/iscomp.h"
#include "keys/iscompmark.h"
#include "keys/isnode.h"
#include "storage/node_layout.h"
#include "tree/isgrow.h"
#include "tree/isprune.h"
#include "tree/istree.h"

namespace {

constexpr int kLooseGrowth = 16;

std::uint8_t &shareByte(NodeBuf *n, int end) { return n->buffer[end - kPointerSize]; }
bool shares(NodeBuf *n, int end) { return (shareByte(n, end) & kShareBit) != 0; }
void clearShare(NodeBuf *n, int end) { shareByte(n, end) &= static_cast<std::uint8_t>(~kShareBit); }

// The node has changed from offset on.
void shrink(NodeBuf *n, int offset, int used) {
    const std::uint32_t marked = isMarksBefore(n->path, n, offset);
    isNodeResize(n, used, n->used);
    n->marked = marked;
}

// Closes the gap between to and from.
void pull(NodeBuf *n, int to, int from) {
    const int used = n->used;
    std::memmove(n->buffer + to, n->buffer + from, static_cast<std::size_t>(used - from));
    shrink(n, to, used - (from - to));
}

LooseEntry &addLoose(IndexPath *path) {
    if (path->looseCount == path->looseRoom) {
        const int room = path->looseRoom + kLooseGrowth;
        path->loose = static_cast<LooseEntry *>(
            is_realloc(path->loose, sizeof(LooseEntry) * static_cast<std::size_t>(path->looseRoom),
                       sizeof(LooseEntry) * static_cast<std::size_t>(room)));
        path->looseRoom = room;
    }
    return path->loose[path->looseCount++];
}

// Positions the top node on the entry with that pointer; false if it has none.
bool walkTo(IndexPath *path, std::uint32_t pointer) {
    bool more = isNodeWalk(path, kWalkFirst);
    while (more && path->top->pointer != pointer)
        more = isNodeWalk(path, kWalkNext);
    return more;
}

// Puts the loose entries back, last one first, each before the entry that
// followed it, which its pointer tells even where keys and serials do not: above
// the leaves those of the last entry are no more than a lower bound.
void putBack(IsamFile *h, IndexPath *path, int level, bool followed, std::uint32_t follower) {
    while (path->looseCount > 0) {
        const LooseEntry entry = path->loose[--path->looseCount];
        bool found = isTreePlace(h, path, entry.key, entry.serial, level);
        if (followed) found = walkTo(path, follower) || isTreePlace(h, path, entry.key, entry.serial, level);
        compgrow(h, path, entry.key, entry.pointer, found ? kBeforeCurrent : kAppend, &entry.serial);
        followed = true;
        follower = entry.pointer;
    }
}

}  // namespace

void compsquash(IsamFile *h, IndexPath *path, NodeBuf *n) {
    const int tail = path->dupWidth + kPointerSize;
    const int limit = h->nodeSize - node::kTrailerSize;
    const int p = n->position, used = n->used;
    const bool first = p == node::kTreeStart;
    int end = n->next;

    if (end == used) {
        if (!first && shares(n, end)) clearShare(n, p);
        pull(n, p, end);
        return;
    }
    if (shares(n, end)) {
        // The entry behind shares the key; its bytes stay for it.
        pull(n, end - tail, end);
        return;
    }

    std::uint8_t before[ISMAXKEYLEN] = {}, key[ISMAXKEYLEN], encoded[kMaxEncoded];
    if (!first) isCompBefore(path, n, before, p);
    std::memcpy(key, n->key, sizeof key);
    path->looseCount = 0;
    const int level = n->level;
    std::uint32_t follower = 0;
    bool followed = true;
    for (;;) {
        const int next = isCompNext(path, n->buffer, used, key, end);
        const int length = isCompKey(path, encoded, first ? nullptr : before, key);
        if (p + length + tail + (used - next) < limit) {
            // The new key bytes may be longer than what they replace.
            std::memmove(n->buffer + p + length, n->buffer + next - tail,
                         static_cast<std::size_t>(used - (next - tail)));
            std::memcpy(n->buffer + p, encoded, static_cast<std::size_t>(length));
            if (!first && length != 0) clearShare(n, p);
            shrink(n, p, p + length + tail + (used - next));
            follower = ld_long(n->buffer + p + length + tail - kPointerSize) & kPointerMask;
            break;
        }
        LooseEntry &entry = addLoose(path);
        const std::uint8_t *pointer = n->buffer + next - kPointerSize;
        std::memcpy(entry.key, key, sizeof entry.key);
        entry.pointer = ld_long(pointer) & kPointerMask;
        entry.serial = path->dupWidth != 0 ? ldMint(pointer - path->dupWidth, path->dupWidth) : 0;
        end = next;
        if (end == used) {
            clearShare(n, p);  // not the first entry: alone, it would have fitted
            pull(n, p, end);
            followed = false;
            break;
        }
    }
    putBack(h, path, level, followed, follower);
}
