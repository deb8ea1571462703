#include "tree/isgrow.h"

#include <cstring>

#include "base/isfail.h"
#include "base/ismif.h"
#include "keys/iscomp.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "keys/isnodepool.h"
#include "storage/isfree.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"
#include "tree/ispath.h"
#include "tree/istree.h"

namespace {

// Descends to the leaf for key and positions on its first greater entry (true)
// or its last one (false).
bool insertpoint(IsamFile *h, IndexPath *path, const std::uint8_t *key) {
    isPathRoot(h, path);
    bool greater = isNodeGreat(path, key);
    while (path->top->level != 0) {
        isPathAdd(h, path, path->top->pointer);
        greater = isNodeGreat(path, key);
    }
    return greater;
}

// Is there nothing before the path's place in the tree?
bool atVeryStart(const IndexPath *path) {
    for (const NodeBuf *n = path->top->parent; n != nullptr; n = n->parent)
        if (n->position > node::kTreeStart) return false;
    return true;
}

// Goes to the place of the key in its leaf, and raises 100 for one that a unique index
// has. In a sound order that one would stand right before the place: one descent is
// enough, unless what comes before is in another leaf.
int findPlace(IsamFile *h, IndexPath *path, const std::uint8_t *key) {
    if (!isUnique(path) || path->compressed || !path->byteOrder) {
        isTreeUnique(h, path, key);
        return insertpoint(h, path, key) ? kBeforeCurrent : kAppend;
    }
    const int where = insertpoint(h, path, key) ? kBeforeCurrent : kAppend;
    const NodeBuf *n = path->top;
    const int offset = insertOffset(n, where);
    if (offset > node::kTreeStart) {
        if (std::memcmp(n->buffer + offset - path->entrySize, key, static_cast<std::size_t>(keyLength(path))) == 0) {
            // The path goes to the equal entry: to stand on another one could be taken
            // for the position, whose record's number may be that one's by now.
            if (where == kBeforeCurrent) isNodeWalk(path, kWalkPrev);
            isFail(h, ISERR_DUPLICATE);
        }
        return where;
    }
    if (atVeryStart(path)) return where;
    isTreeUnique(h, path, key);
    return insertpoint(h, path, key) ? kBeforeCurrent : kAppend;
}

// Can the leaf before have an equal key, so that one at the very start of this leaf
// goes behind it? No, unless the entry before the way to this leaf has that key.
bool mayFollowEqual(const IndexPath *path, const std::uint8_t *key) {
    const NodeBuf *n = path->top->parent;
    while (n != nullptr && n->position <= node::kTreeStart)
        n = n->parent;
    if (n == nullptr) return false;
    std::uint8_t before[ISMAXKEYLEN] = {};
    if (path->compressed)
        isCompBefore(path, n, before, n->position);
    else
        std::memcpy(before, n->buffer + n->position - path->entrySize, static_cast<std::size_t>(keyLength(path)));
    return isKeyMatch(path, key, before);
}

// Makes n an empty root of that level.
void initroot(IsamFile *h, NodeBuf *n, int level) {
    n->level = level;
    isMarkNode(h, n->buffer, node::kTreeMark, level);
    isNodeResize(n, node::kTreeStart, node::kTreeStart);
}

}  // namespace

int insertOffset(const NodeBuf *n, int where) {
    switch (where) {
    case kIntoEmpty: return node::kTreeStart;
    case kAppend: return n->used;
    default: return n->position;
    }
}

std::uint64_t serialBefore(const IndexPath *path, const NodeBuf *n, int offset) {
    return ldMint(n->buffer + offset - kPointerSize - path->dupWidth, path->dupWidth);
}

std::uint64_t nextdup(const IndexPath *path) {
    const NodeBuf *parent = path->top->parent;
    if (parent == nullptr || parent->position <= node::kTreeStart) return 0;
    return serialBefore(path, parent, parent->position) + 1;
}

NodeBuf *growRoot(IsamFile *h, IndexPath *path) {
    const int level = path->top->level + 1;
    if (level >= node::kFreeLevel) isFail(h, ISERR_CORRUPT);
    isPathIns(h, path, 0);
    initroot(h, path->top, level);
    path->top->number = path->keyDesc.rootNode;
    return path->top;
}

void numberOldRoot(IsamFile *h, IndexPath *path, NodeBuf *n) {
    isCacheRename(path, n, isGetFree(h, ISKIND_INDEX));
    n->fresh = true;
}

void putTail(const IndexPath *path, std::uint8_t *p, std::uint64_t serial, std::uint32_t pointer) {
    if (path->dupWidth != 0) stMint(p, path->dupWidth, serial);
    st_long(pointer, p + path->dupWidth);
}

void isTreeUnique(IsamFile *h, IndexPath *path, const std::uint8_t *key) {
    if (isUnique(path) && isTreeMatch(h, path, key) && isKeyMatch(path, key, nullptr)) isFail(h, ISERR_DUPLICATE);
}

void isTreeInsert(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t record) {
    int where = kIntoEmpty;
    if (isPathRoot(h, path)->used > node::kTreeStart) {
        where = findPlace(h, path, key);
        if (!isUnique(path) && insertOffset(path->top, where) == node::kTreeStart && mayFollowEqual(path, key)) {
            // It finds one: what the new key goes before is greater.
            isTreeMatch(h, path, key);
            if (isKeyMatch(path, key, nullptr)) h->metEqual = true;
            where = insertpoint(h, path, key) ? kBeforeCurrent : kAppend;
        }
    }
    record &= kPointerMask;
    if (path->compressed)
        compgrow(h, path, key, record, where, nullptr);
    else
        flatgrow(h, path, key, record, where);
}
