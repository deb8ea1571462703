#include "tree/ispath.h"

#include "base/isfail.h"
#include "keys/isnode.h"
#include "keys/isnodepool.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"

namespace {

constexpr const char *kModule = "ispath";
constexpr int kReplaceLine = 53;
constexpr int kSplitLine = 67;
constexpr int kPushLine = 79;
constexpr int kNullLine = 269;
constexpr int kLevelLine = 141;

// Into the cache, the left half of a split first.
void dropnode(IndexPath *path, NodeBuf *n) {
    if (n->sibling != nullptr) {
        NodeBuf *left = n->sibling;
        n->sibling = nullptr;
        isCachePut(path, left);
    }
    isCachePut(path, n);
}

// Pops to the root without giving anything to the free list: for failures.
void popQuietly(IndexPath *path) {
    while (path->top->parent != nullptr) {
        NodeBuf *n = path->top;
        path->top = n->parent;
        dropnode(path, n);
    }
    if (path->top->sibling != nullptr) {
        isCachePut(path, path->top->sibling);
        path->top->sibling = nullptr;
    }
}

void unload(NodeBuf *n) {
    n->state = ISBUF_EMPTY;
    n->fresh = false;
    n->position = 0;
}

void popAll(IsamFile *h, IndexPath *path) {
    while (isPathDown(h, path)) {
    }
}

bool isChanged(const IndexPath *path) {
    if (isCacheDirty(path) != nullptr) return true;
    const NodeBuf *n = path->top;
    while (n != nullptr && n->state != ISBUF_DIRTY)
        n = n->parent;
    return n != nullptr;
}

void writeCached(IsamFile *h, IndexPath *path, NodeBuf *n) {
    isUpdNode(h, n);
    isCacheSettle(path, n);
}

// Writes those of the cache's dirty nodes that choose picks, dropped last first.
template <typename Choose> void writeThose(IsamFile *h, IndexPath *path, Choose &&choose) {
    NodeBuf *before;
    for (NodeBuf *n = isCacheDirty(path); n != nullptr; n = before) {
        before = isCacheDirtyBefore(n);
        if (choose(n)) writeCached(h, path, n);
    }
}

// New nodes come first, and then a node before its children: whoever is stopped in
// between leaves entries that stand in two nodes, which a check finds, and none that
// stand nowhere.
void pathwrite(IsamFile *h, IndexPath *path) {
    popAll(h, path);
    writeThose(h, path, [](const NodeBuf *n) { return n->fresh; });
    isUpdNode(h, path->top);
    for (int level = path->top->level - 1; isCacheDirty(path) != nullptr && level >= 0; --level)
        writeThose(h, path, [level](const NodeBuf *n) { return n->level == level; });
    if (isCacheDirty(path) != nullptr) isBroken(kModule, kLevelLine);
}

}  // namespace

void isPathIns(IsamFile *h, IndexPath *path, std::uint32_t number) {
    if (path->top != nullptr) {
        if (path->top->parent != nullptr) isBroken(kModule, kReplaceLine);
        NodeBuf *old = path->top;
        path->top = nullptr;
        dropnode(path, old);
    }
    path->top = isMakeNode(h, path);
    path->top->number = number;
}

NodeBuf *isPathSplit(IsamFile *h, IndexPath *path) {
    NodeBuf *n = path->top;
    if (n->sibling != nullptr) isBroken(kModule, kSplitLine);
    const std::uint32_t number = isGetFree(h, ISKIND_INDEX);
    NodeBuf *left = isMakeNode(h, path);
    n->sibling = left;
    left->number = number;
    left->fresh = true;
    left->level = n->level;
    isMarkNode(h, left->buffer, node::kTreeMark, left->level);
    return left;
}

void isPathAdd(IsamFile *h, IndexPath *path, std::uint32_t number) {
    if (number == 0 && !h->damageFails) isBroken(kModule, kPushLine);
    isCheckNodeNumber(h, number);
    const int childLevel = path->top->level - 1;
    NodeBuf *n = isCacheTake(path, number, childLevel);
    if (n == nullptr) {
        n = isMakeNode(h, path);
        n->number = number;
    }
    n->parent = path->top;
    path->top = n;
    isRefNode(h, path, n, childLevel);
    // A node from the cache was sound when it was read, but perhaps not as a
    // child of this one.
    if (n->level != childLevel) isFail(h, ISERR_CORRUPT);
}

bool isPathDown(IsamFile *h, IndexPath *path) {
    NodeBuf *n = path->top;
    if (n->parent == nullptr) return false;
    path->top = n->parent;
    if (n->state != ISBUF_EMPTY && n->used <= node::kTreeStart) {
        n->state = ISBUF_EMPTY;
        const std::uint32_t number = n->number;
        isFreeNode(n);
        isPutFree(h, ISKIND_INDEX, number);
    } else {
        dropnode(path, n);
    }
    return true;
}

NodeBuf *isPathRoot(IsamFile *h, IndexPath *path) {
    popAll(h, path);
    isRefNode(h, path, path->top, -1);
    return path->top;
}

bool isPathEmpty(IsamFile *h, IndexPath *path) {
    if (path->top->parent != nullptr) return false;
    isRefNode(h, path, path->top, -1);
    return path->top->used <= node::kTreeStart;
}

void isPathClear1(IndexPath *path, int entryClass) {
    if (path->top == nullptr) return;
    popQuietly(path);
    while (NodeBuf *n = isCacheDirty(path)) {
        unload(n);
        isCacheSettle(path, n);
    }
    if (entryClass == ISCLASS_READ)
        path->top->age = ++path->age;
    else if (path->top->state != ISBUF_DIRTY)
        return;
    unload(path->top);
}

void isPathClear(IsamFile *h, int entryClass) {
    for (int i = h->keyCount - 1; i >= 0; --i)
        isPathClear1(h->indexes[i], entryClass);
}

void isPathWrite(IsamFile *h, int i) {
    if (i < h->keyCount) {
        pathwrite(h, h->indexes[i]);
        return;
    }
    for (int k = h->keyCount - 1; k >= 0; --k)
        pathwrite(h, h->indexes[k]);
}

void isPathWriteChanged(IsamFile *h) {
    for (int k = h->keyCount - 1; k >= 0; --k)
        if (isChanged(h->indexes[k])) pathwrite(h, h->indexes[k]);
}

void isPathWriteNew(IsamFile *h) {
    const std::uint32_t last = isHeadLastNode(h);
    for (int k = h->keyCount - 1; k >= 0; --k) {
        IndexPath *path = h->indexes[k];
        if (!isChanged(path)) continue;
        popAll(h, path);
        writeThose(h, path, [last](const NodeBuf *n) { return n->number > last; });
    }
}

void isPathFree(IsamFile *h, IndexPath *path) {
    if (h == nullptr) isBroken(kModule, kNullLine);
    if (path->top != nullptr) {
        popQuietly(path);
        if (isCacheDirty(path) != nullptr) isFreeNode(isCacheDirty(path));
        isCacheFree(path);
        isFreeNode(path->top);
    }
    path->top = nullptr;
}
