#include "tree/iswarm.h"

#include "keys/isflat.h"
#include "keys/iskey.h"
#include "keys/isnodepool.h"
#include "storage/node_layout.h"

namespace {

constexpr std::uint32_t kBigTree = 4096;  // nodes: one of fewer stays near by itself
constexpr int kMostLevels = 8;            // a tree of more is out of any file's reach, and only slower here

}  // namespace

void isTreeWarm(IndexPath *path, const std::uint8_t *key) {
    if (!path->byteOrder || path->compressed || path->top == nullptr) return;
    const NodeBuf *onPath[kMostLevels];
    int height = 0;
    for (const NodeBuf *n = path->top; n != nullptr && height < kMostLevels; n = n->parent)
        onPath[height++] = n;
    const NodeBuf *n = onPath[--height];
    while (n->state != ISBUF_EMPTY && n->level > 0 && n->used > node::kTreeStart) {
        const std::uint32_t child = flatchild(path, n, key);
        const NodeBuf *next = height > 0 ? onPath[--height] : nullptr;
        if (next != nullptr && next->number != child) {
            next = nullptr;
            height = 0;
        }
        if (n->level == 1) {
            if (next == nullptr) next = isCacheGuess(path, child);
            if (next != nullptr) isNodeFetch(next, n->size);
            return;
        }
        if (next == nullptr) next = isCachePeek(path, child);
        if (next == nullptr || next->level != n->level - 1) return;
        n = next;
    }
}

void isRecordWarm(IndexPath *path, const void *record) {
    if (path->cachedCount < kBigTree || record == nullptr) return;
    std::uint8_t key[ISMAXKEYLEN];
    isKeyMake(path, key, record);
    isTreeWarm(path, key);
}
