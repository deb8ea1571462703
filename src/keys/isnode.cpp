#include "keys/isnode.h"

#include <cstring>

#include "base/isfail.h"
#include "keys/iscomp.h"
#include "keys/isflat.h"
#include "keys/isnodepool.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"

namespace {

constexpr const char *kModule = "isnode";
constexpr const char *kIoModule = "isidxio";
constexpr int kFreeSplitLine = 66;
constexpr int kFreeDirtyLine = 68;
constexpr int kWriteSplitLine = 40;

// Everything behind this check trusts used length, level and entry borders.
void checkNode(IsamFile *h, const IndexPath *path, const NodeBuf *n, int expectedLevel) {
    const bool root = expectedLevel < 0;
    const int limit = h->nodeSize - node::kTrailerSize;
    // Only a root that is a leaf can be empty.
    const bool mayBeEmpty = root && n->level == 0;
    const bool sound = node::mark(n->buffer, h->nodeSize) == node::kTreeMark &&
                       (root ? n->level < node::kFreeLevel : n->level == expectedLevel) &&
                       n->used >= (mayBeEmpty ? node::kTreeStart : node::kTreeStart + 1) && n->used < limit;
    if (!sound || !(path->compressed ? compsound(path, n, !h->damageFails) : flatsound(path, n)))
        isFail(h, ISERR_CORRUPT);
}

}  // namespace

NodeBuf *isMakeNode(IsamFile *h, IndexPath *path) { return isPoolTake(h, path); }

void isFreeNode(NodeBuf *n) {
    if (n == nullptr || n->sibling != nullptr) isBroken(kModule, kFreeSplitLine);
    if (n->state == ISBUF_DIRTY) isBroken(kModule, kFreeDirtyLine);
    isPoolFree(n);
}

void isRefNode(IsamFile *h, const IndexPath *path, NodeBuf *n, int expectedLevel) {
    if (n->state != ISBUF_EMPTY) return;
    n->position = 0;
    n->marked = 0;
    isGetNode(h, n->buffer, n->number);
    n->level = node::level(n->buffer, h->nodeSize);
    n->used = node::used(n->buffer);
    checkNode(h, path, n, expectedLevel);
    n->state = ISBUF_CLEAN;
}

void isUpdNode(IsamFile *h, NodeBuf *n) {
    if (n == nullptr || n->sibling != nullptr) isBroken(kIoModule, kWriteSplitLine);
    if (n->state != ISBUF_DIRTY) return;
    isPutNode(h, n->buffer, n->number);
    n->state = ISBUF_CLEAN;
    n->fresh = false;
}

bool isNodeMatch(const IndexPath *path, const std::uint8_t *key) {
    return path->compressed ? compmatch(path, path->top, key) : flatmatch(path, path->top, key);
}

bool isNodeGreat(const IndexPath *path, const std::uint8_t *key) {
    return path->compressed ? compgreat(path, path->top, key) : flatgreat(path, path->top, key);
}

bool isNodeWalk(const IndexPath *path, int direction) {
    return path->compressed ? compwalk(path, path->top, direction) : flatwalk(path, path->top, direction);
}

void isNodeResize(NodeBuf *n, int used, int oldUsed) {
    if (used < oldUsed) std::memset(n->buffer + used, 0, static_cast<std::size_t>(oldUsed - used));
    n->used = used;
    node::setUsed(n->buffer, used);
    n->state = ISBUF_DIRTY;
    n->position = 0;
    n->marked = 0;
}
