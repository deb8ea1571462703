#include "tree/iswarm.h"

#include "keys/isflat.h"
#include "keys/iskey.h"
#include "keys/isnodepool.h"
#include "storage/node_layout.h"

namespace {

constexpr std::uint32_t kBigTree = 4096;  // nodes: one of fewer stays near by itself

bool leadsOn(const NodeBuf *n) { return n->state != ISBUF_EMPTY && n->level > 0 && n->used > node::kTreeStart; }

const NodeBuf *rootOf(const IndexPath *path) {
    const NodeBuf *n = path->top;
    while (n->parent != nullptr)
        n = n->parent;
    return n;
}

bool canWarm(const IndexPath *path) { return path->byteOrder && !path->compressed && path->top != nullptr; }

// The node below n on the way to the key, unless that is a leaf or not in memory.
const NodeBuf *below(IndexPath *path, const NodeBuf *n, const std::uint8_t *key) {
    const NodeBuf *child = isCachePeek(path, flatchild(path, n, key), n->level - 1);
    return child != nullptr && child->level == n->level - 1 && leadsOn(child) ? child : nullptr;
}

// All of a path's nodes have one size, and the node itself is not near yet.
void fetch(const IndexPath *path, const NodeBuf *n) {
    if (n != nullptr) isNodeFetch(n, path->top->size);
}

void fetchLeaf(IndexPath *path, const NodeBuf *n, const std::uint8_t *key) {
    fetch(path, isCacheGuess(path, flatchild(path, n, key), 0));
}

// As far as the nodes above the leaves, of which one is fetched.
void warmWay(IndexPath *path) {
    path->wayNode = 0;
    if (!canWarm(path)) return;
    const NodeBuf *n = rootOf(path);
    if (!leadsOn(n)) return;
    while (n != nullptr && n->level > 2)
        n = below(path, n, path->wayKey);
    if (n == nullptr || n->level < 2) return;
    path->wayNode = flatchild(path, n, path->wayKey);
    fetch(path, isCacheGuess(path, path->wayNode, 1));
}

void warmLeaf(IndexPath *path) {
    if (path->wayNode == 0) return;
    const NodeBuf *n = isCachePeek(path, path->wayNode, 1);
    if (n != nullptr && n->level == 1 && leadsOn(n)) fetchLeaf(path, n, path->wayKey);
}

}  // namespace

void isTreeWarm(IndexPath *path, const std::uint8_t *key) {
    if (!canWarm(path)) return;
    const NodeBuf *n = rootOf(path);
    if (!leadsOn(n)) return;
    while (n != nullptr && n->level > 1)
        n = below(path, n, key);
    if (n != nullptr) fetchLeaf(path, n, key);
}

void isRecordWarm(IndexPath *path, const void *record, WarmStep step) {
    if (path->cachedCount < kBigTree || record == nullptr) return;
    if (step == WarmStep::kLeaf) {
        warmLeaf(path);
        return;
    }
    isKeyMake(path, path->wayKey, record);
    warmWay(path);
}
