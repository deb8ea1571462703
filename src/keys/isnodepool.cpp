#include "keys/isnodepool.h"

#include <algorithm>
#include <cstring>

#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/isslab.h"
#include "keys/iscompmark.h"
#include "storage/ismirror.h"

namespace {

constexpr std::uint32_t kFirstBuckets = 32;
constexpr std::uint32_t kFirstFrames = 64;
constexpr std::uint32_t kFirstSlabbed = 512;
constexpr std::uint32_t kMaxSteps = 64;  // of one search for a buffer to take

std::size_t sizeOf(const IsamFile *h, const IndexPath *path) {
    constexpr std::size_t kLine = 64;  // of the processor's: none has bytes of two buffers
    const std::size_t keyArea = path->compressed ? ISMAXKEYLEN + isMarkBytes(path) : 0;
    return (sizeof(NodeBuf) + static_cast<std::size_t>(h->nodeSize) + keyArea + kLine - 1) / kLine * kLine;
}

NodeTable &tableFor(IndexPath *path, bool inner) { return inner ? path->inner : path->leaves; }

NodeBuf *&bucketOf(const NodeTable &table, std::uint32_t number) {
    return table.buckets[number & (table.bucketCount - 1)];
}

// The first one that may have the number.
NodeBuf *firstOf(const NodeTable &table, std::uint32_t number) {
    return table.bucketCount != 0 ? bucketOf(table, number) : nullptr;
}

NodeBuf *firstOf(const IndexPath *path, std::uint32_t number, int level) {
    return firstOf(level > 0 ? path->inner : path->leaves, number);
}

// A table of some size is touched all over: in a block of its kind, a large page.
bool isSlabTable(std::uint32_t count) {
    constexpr std::uint32_t kLeast = 8192, kMost = 131072;
    return kSlabs && count >= kLeast && count <= kMost;
}

NodeBuf **takeBuckets(std::uint32_t count) {
    if (!isSlabTable(count)) return is_new<NodeBuf *>(count);
    void *buckets = isSlabTake(sizeof(NodeBuf *) * count);
    std::memset(buckets, 0, sizeof(NodeBuf *) * count);
    return static_cast<NodeBuf **>(buckets);
}

void giveBuckets(NodeBuf **buckets, std::uint32_t count) {
    if (isSlabTable(count))
        isSlabGive(buckets);
    else
        is_free(buckets);
}

// Twice as many buckets, so that hardly any has more than one buffer.
void growBuckets(NodeTable &table) {
    NodeBuf **old = table.buckets;
    const std::uint32_t oldCount = table.bucketCount;
    table.bucketCount = oldCount != 0 ? 2 * oldCount : kFirstBuckets;
    table.buckets = takeBuckets(table.bucketCount);
    for (std::uint32_t i = 0; i < oldCount; ++i)
        while (NodeBuf *n = old[i]) {
            old[i] = n->chain;
            NodeBuf *&bucket = bucketOf(table, n->number);
            n->chain = bucket;
            bucket = n;
        }
    giveBuckets(old, oldCount);
}

void unchain(IndexPath *path, NodeBuf *n) {
    NodeTable &table = tableFor(path, n->inner);
    NodeBuf **link = &bucketOf(table, n->number);
    while (*link != n)
        link = &(*link)->chain;
    *link = n->chain;
    --table.count;
    n->chained = false;
    if (!n->cached) return;
    n->cached = false;
    --path->cachedCount;
}

// What the cache still has of a node that was given up, or whose change failed, makes
// way for the one that has got the number.
void dropOutdated(const NodeTable &table, std::uint32_t number) {
    NodeBuf *n = firstOf(table, number);
    while (n != nullptr && (n->number != number || !n->cached || n->inRow))
        n = n->chain;
    if (n != nullptr) isPoolFree(n);
}

void enchain(IndexPath *path, NodeBuf *n) {
    dropOutdated(path->leaves, n->number);
    dropOutdated(path->inner, n->number);
    n->inner = n->level > 0;
    NodeTable &table = tableFor(path, n->inner);
    if (table.count >= table.bucketCount) growBuckets(table);
    NodeBuf *&bucket = bucketOf(table, n->number);
    n->chain = bucket;
    n->chained = true;
    bucket = n;
    ++table.count;
}

void enter(IndexPath *path, NodeBuf *n) {
    if (!n->chained) enchain(path, n);
    n->cached = true;
    ++path->cachedCount;
}

void addFrame(NodeBuf *n) {
    ProcessState &p = isProcess;
    if (p.frameCount == p.frameRoom) {
        const std::uint32_t room = std::max(kFirstFrames, 2 * p.frameRoom);
        p.frames =
            static_cast<NodeBuf **>(is_realloc(p.frames, sizeof(NodeBuf *) * p.frameRoom, sizeof(NodeBuf *) * room));
        p.frameRoom = room;
    }
    n->frame = p.frameCount;
    p.frames[p.frameCount++] = n;
    p.frameBytes += n->size;
}

void removeFrame(const NodeBuf *n) {
    ProcessState &p = isProcess;
    NodeBuf *last = p.frames[--p.frameCount];
    p.frames[n->frame] = last;
    last->frame = n->frame;
    p.frameBytes -= n->size;
    if (p.frameCount > 0) return;
    p.frames = static_cast<NodeBuf **>(is_free(p.frames));
    p.frameRoom = p.frameHand = 0;
}

// One round of a clock: who was asked for since the last time round is passed over
// once more. Null when none turns up soon: better a little more memory than a search
// through all that cannot be taken.
NodeBuf *findIdle() {
    ProcessState &p = isProcess;
    for (std::uint32_t steps = std::min(kMaxSteps, 2 * p.frameCount); steps > 0; --steps) {
        if (++p.frameHand >= p.frameCount) p.frameHand = 0;
        NodeBuf *n = p.frames[p.frameHand];
        if (!n->cached || n->inRow) continue;
        if (!n->asked || n->age != n->path->age) return n;
        n->asked = false;
    }
    return nullptr;
}

void start(NodeBuf *n, IndexPath *path, std::size_t size) {
    std::memset(reinterpret_cast<void *>(n), 0, size);
    n->path = path;
    n->age = path->age;
    n->size = static_cast<std::uint32_t>(size);
    n->buffer = reinterpret_cast<std::uint8_t *>(n + 1);
}

}  // namespace

NodeBuf *isPoolTake(IsamFile *h, IndexPath *path) {
    const std::size_t size = sizeOf(h, path);
    NodeBuf *n = nullptr;
    if (isProcess.mirrorBytes > 0 && isProcess.frameBytes + isProcess.mirrorBytes + size > isProcess.cacheLimit)
        isMirrorsFree();
    while (isProcess.frameBytes + size > isProcess.cacheLimit) {
        NodeBuf *idle = findIdle();
        if (idle == nullptr) break;
        if (idle->size == size && isProcess.frameBytes <= isProcess.cacheLimit) {
            unchain(idle->path, idle);
            n = idle;
            break;
        }
        isPoolFree(idle);
    }
    if (n != nullptr) {
        const std::uint32_t frame = n->frame;
        const bool slab = n->slab;
        start(n, path, size);
        n->frame = frame;
        n->slab = slab;
    } else {
        // A few are not worth a block.
        const bool slab = kSlabs && isProcess.frameCount >= kFirstSlabbed;
        n = static_cast<NodeBuf *>(slab ? isSlabTake(size) : is_malloc(size));
        start(n, path, size);
        n->slab = slab;
        addFrame(n);
    }
    if (path->compressed) n->key = n->buffer + h->nodeSize;
    return n;
}

bool isPoolFull() {
    // With some slack: one search for an idle buffer may find none.
    return isProcess.frameBytes > isProcess.cacheLimit + isProcess.cacheLimit / 8;
}

void isPoolTrim() {
    if (isProcess.frameBytes + isProcess.mirrorBytes > isProcess.cacheLimit) isMirrorsFree();
    // From behind: what comes into a place that is free has been looked at.
    for (std::uint32_t i = isProcess.frameCount; i > 0 && isProcess.frameBytes > isProcess.cacheLimit; --i) {
        NodeBuf *n = isProcess.frames[i - 1];
        if (!n->cached || n->inRow) continue;
        isPoolFree(n);
    }
}

void isPoolFree(NodeBuf *n) {
    if (n->chained) unchain(n->path, n);
    if (n->inRow) isCacheSettle(n->path, n);
    removeFrame(n);
    if (n->slab)
        isSlabGive(n);
    else
        is_free(n);
}

void isCacheRename(IndexPath *path, NodeBuf *n, std::uint32_t number) {
    unchain(path, n);
    n->number = number;
    enter(path, n);
}

void isCachePut(IndexPath *path, NodeBuf *n) {
    n->parent = nullptr;
    enter(path, n);
    // One that was taken from the row to be changed again has kept its place there.
    if (n->state != ISBUF_DIRTY || n->inRow) return;
    n->olderDirty = path->newestDirty;
    n->newerDirty = nullptr;
    if (n->olderDirty != nullptr) n->olderDirty->newerDirty = n;
    path->newestDirty = n;
    n->inRow = true;
}

NodeBuf *isCacheTake(IndexPath *path, std::uint32_t number, int level) {
    for (NodeBuf *n = firstOf(path, number, level); n != nullptr; n = n->chain) {
        if (n->number != number || !n->cached) continue;
        n->cached = false;
        n->asked = true;
        --path->cachedCount;
        if (n->age != path->age) {
            n->age = path->age;
            n->state = ISBUF_EMPTY;
            n->fresh = false;
        }
        return n;
    }
    return nullptr;
}

const NodeBuf *isCacheGuess(const IndexPath *path, std::uint32_t number, int level) {
    return firstOf(path, number, level);
}

const NodeBuf *isCachePeek(const IndexPath *path, std::uint32_t number, int level) {
    const NodeBuf *n = firstOf(path, number, level);
    while (n != nullptr && n->number != number)
        n = n->chain;
    return n != nullptr && n->age == path->age && n->state != ISBUF_EMPTY ? n : nullptr;
}

NodeBuf *isCacheDirtyOf(const IndexPath *path, std::uint32_t number) {
    for (const NodeTable *table : {&path->leaves, &path->inner})
        for (NodeBuf *n = firstOf(*table, number); n != nullptr; n = n->chain)
            if (n->number == number && n->inRow && n->state == ISBUF_DIRTY) return n;
    return nullptr;
}

void isCacheSettle(IndexPath *path, NodeBuf *n) {
    if (n->newerDirty != nullptr)
        n->newerDirty->olderDirty = n->olderDirty;
    else
        path->newestDirty = n->olderDirty;
    if (n->olderDirty != nullptr) n->olderDirty->newerDirty = n->newerDirty;
    n->olderDirty = n->newerDirty = nullptr;
    n->inRow = false;
}

void isCacheFree(IndexPath *path) {
    for (NodeTable *table : {&path->leaves, &path->inner}) {
        for (std::uint32_t i = 0; i < table->bucketCount; ++i)
            while (NodeBuf *n = table->buckets[i]) {
                table->buckets[i] = n->chain;
                n->chained = false;
                if (n->cached) isPoolFree(n);
            }
        giveBuckets(table->buckets, table->bucketCount);
        *table = {};
    }
    path->cachedCount = 0;
    path->newestDirty = nullptr;
}
