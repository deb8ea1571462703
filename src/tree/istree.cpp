#include "tree/istree.h"

#include "base/isfail.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "storage/node_layout.h"
#include "tree/ispath.h"

namespace {

// From the top node along its first or last entries to a leaf.
void walkedge(IsamFile *h, IndexPath *path, int edge) {
    while (isNodeWalk(path, edge) && path->top->level != 0)
        isPathAdd(h, path, path->top->pointer);
}

bool step(IsamFile *h, IndexPath *path, int direction, int nearEdge, int farEdge) {
    if (isNodeWalk(path, direction)) return true;
    while (isPathDown(h, path)) {
        if (!isNodeWalk(path, direction)) continue;
        isPathAdd(h, path, path->top->pointer);
        walkedge(h, path, nearEdge);
        return true;
    }
    walkedge(h, path, farEdge);
    return false;
}

using NodeSearch = bool (*)(const IndexPath *, const std::uint8_t *);

bool descend(IsamFile *h, IndexPath *path, const std::uint8_t *key, NodeSearch search) {
    if (isPathRoot(h, path)->used <= node::kTreeStart) return false;
    bool found = search(path, key);
    while (path->top->level != 0) {
        isPathAdd(h, path, path->top->pointer);
        found = search(path, key);
    }
    return found || isTreeNext(h, path);
}

bool onLeafEntry(const IndexPath *path) { return hasCurrent(path->top) && path->top->level == 0; }

bool sameEntry(const IndexPath *path) {
    const NodeBuf *n = path->top;
    return n->pointer == path->positionRecord && n->serial == path->positionSerial;
}

}  // namespace

void isTreeFirst(IsamFile *h, IndexPath *path) {
    isPathRoot(h, path);
    walkedge(h, path, kWalkFirst);
}

void isTreeLast(IsamFile *h, IndexPath *path) {
    isPathRoot(h, path);
    walkedge(h, path, kWalkLast);
}

bool isTreeNext(IsamFile *h, IndexPath *path) { return step(h, path, kWalkNext, kWalkFirst, kWalkLast); }

bool isTreePrev(IsamFile *h, IndexPath *path) { return step(h, path, kWalkPrev, kWalkLast, kWalkFirst); }

bool isTreeMatch(IsamFile *h, IndexPath *path, const std::uint8_t *key) { return descend(h, path, key, isNodeMatch); }

bool isTreeGreat(IsamFile *h, IndexPath *path, const std::uint8_t *key) { return descend(h, path, key, isNodeGreat); }

bool isTreePlace(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint64_t serial, int level) {
    NodeBuf *n = isPathRoot(h, path);
    if (n->used <= node::kTreeStart) return false;
    for (;;) {
        n = path->top;
        bool found = isNodeMatch(path, key);
        while (found && isKeyMatch(path, key, nullptr) && serial > n->serial)
            found = isNodeWalk(path, kWalkNext);
        if (n->level <= level) return found;
        isPathAdd(h, path, n->pointer);
    }
}

bool isTreeSeek(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t recnum) {
    std::uint32_t steps = 0;
    while (isKeyMatch(path, key, nullptr)) {
        if (path->top->pointer == recnum) return true;
        if (isUnique(path)) return false;
        if (++steps > h->dataFree.last) isFail(h, ISERR_CORRUPT);
        if (!isTreeNext(h, path)) return false;
    }
    return false;
}

bool isTreeExact(const IsamFile *h, const IndexPath *path) {
    if (!onLeafEntry(path)) return false;
    if (hasData(h)) return sameEntry(path);
    // Record numbers of a file without records are the caller's, and may repeat
    // and change.
    return isKeyMatch(path, path->positionKey, nullptr) && path->top->serial == path->positionSerial;
}

bool isTreeCurr(IsamFile *h, IndexPath *path) {
    if (isTreeExact(h, path)) return true;
    if (!isTreePlace(h, path, path->positionKey, path->positionSerial, 0)) {
        if (path->top->used <= node::kTreeStart || !isTreeNext(h, path)) return false;
    }
    if (isUnique(path)) return true;
    while (!sameEntry(path) && isKeyMatch(path, path->positionKey, nullptr) && path->positionSerial > path->top->serial)
        if (!isTreeNext(h, path)) return false;
    return true;
}
