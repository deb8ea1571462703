#include "tree/ispath.h"

#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "keys/isnode.h"
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

constexpr std::size_t kCacheEntry = sizeof(void *);

// The node with that number, taken out of the cache, or null.
NodeBuf *findnode(IndexPath *path, std::uint32_t number) {
    for (int i = path->cacheCount - 1; i >= 0; --i) {
        NodeBuf *n = path->cache[i];
        if (n->number != number) continue;
        --path->cacheCount;
        std::memmove(path->cache + i, path->cache + i + 1,
                     kCacheEntry * static_cast<std::size_t>(path->cacheCount - i));
        return n;
    }
    return nullptr;
}

// Frees nodes least recently dropped until a slot is free or only dirty ones
// are left; then the cache grows.
void makeRoom(IndexPath *path) {
    int kept = 0, surplus = path->cacheCount - (kCacheSlots - 1);
    for (int i = 0; i < path->cacheCount; ++i) {
        NodeBuf *n = path->cache[i];
        if (surplus > 0 && n->state != ISBUF_DIRTY) {
            isFreeNode(path, n);
            --surplus;
        } else {
            path->cache[kept++] = n;
        }
    }
    path->cacheCount = kept;
    if (path->cacheCount < path->cacheRoom) return;
    const int room = path->cacheRoom + kCacheSlots;
    path->cache =
        static_cast<NodeBuf **>(is_realloc(path->cache, kCacheEntry * static_cast<std::size_t>(path->cacheRoom),
                                           kCacheEntry * static_cast<std::size_t>(room)));
    path->cacheRoom = room;
}

void dropnode2(IndexPath *path, NodeBuf *n) {
    if (path->cacheCount >= kCacheSlots || path->cacheCount == path->cacheRoom) makeRoom(path);
    n->parent = nullptr;
    path->cache[path->cacheCount++] = n;
}

// Into the cache, the left half of a split first.
void dropnode(IndexPath *path, NodeBuf *n) {
    if (n->sibling != nullptr) {
        NodeBuf *left = n->sibling;
        n->sibling = nullptr;
        dropnode2(path, left);
    }
    dropnode2(path, n);
}

// Pops to the root without giving anything to the free list: for failures.
void popQuietly(IndexPath *path) {
    while (path->top->parent != nullptr) {
        NodeBuf *n = path->top;
        path->top = n->parent;
        dropnode(path, n);
    }
    if (path->top->sibling != nullptr) {
        dropnode2(path, path->top->sibling);
        path->top->sibling = nullptr;
    }
}

void clearbuf(NodeBuf *n, int entryClass) {
    if (entryClass != ISCLASS_READ && n->state != ISBUF_DIRTY) return;
    n->state = ISBUF_EMPTY;
    n->fresh = false;
    n->position = 0;
}

void popAll(IsamFile *h, IndexPath *path) {
    while (isPathDown(h, path)) {
    }
}

// New nodes come first, and then a node before its children: whoever is stopped in
// between leaves entries that stand in two nodes, which a check finds, and none that
// stand nowhere.
void pathwrite(IsamFile *h, IndexPath *path) {
    popAll(h, path);
    int left = 0;
    for (int i = path->cacheCount - 1; i >= 0; --i) {
        NodeBuf *n = path->cache[i];
        if (n->fresh)
            isUpdNode(h, n);
        else if (n->state == ISBUF_DIRTY)
            ++left;
    }
    isUpdNode(h, path->top);
    for (int level = path->top->level - 1; left > 0 && level >= 0; --level)
        for (int i = path->cacheCount - 1; i >= 0; --i) {
            NodeBuf *n = path->cache[i];
            if (n->level != level || n->state != ISBUF_DIRTY) continue;
            isUpdNode(h, n);
            --left;
        }
    if (left != 0) isBroken(kModule, kLevelLine);
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
    NodeBuf *n = findnode(path, number);
    if (n == nullptr) {
        n = isMakeNode(h, path);
        n->number = number;
    }
    const int childLevel = path->top->level - 1;
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
        isFreeNode(path, n);
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
    for (int i = 0; i < path->cacheCount; ++i)
        clearbuf(path->cache[i], entryClass);
    clearbuf(path->top, entryClass);
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

void isPathWriteNew(IsamFile *h) {
    const std::uint32_t last = isHeadLastNode(h);
    for (int k = h->keyCount - 1; k >= 0; --k) {
        IndexPath *path = h->indexes[k];
        popAll(h, path);
        for (int i = path->cacheCount - 1; i >= 0; --i)
            if (path->cache[i]->number > last) isUpdNode(h, path->cache[i]);
    }
}

void isPathFree(IsamFile *h, IndexPath *path) {
    if (h == nullptr) isBroken(kModule, kNullLine);
    if (path->top != nullptr) {
        popQuietly(path);
        for (int i = path->cacheCount - 1; i >= 0; --i)
            isFreeNode(path, path->cache[i]);
        isFreeNode(path, path->top);
    }
    path->top = nullptr;
    path->cacheCount = path->cacheRoom = 0;
    path->cache = static_cast<NodeBuf **>(is_free(path->cache));
    while (path->spare != nullptr) {
        NodeBuf *n = path->spare;
        path->spare = n->parent;
        is_free(n);
    }
}
