#include "tree/isprune.h"

#include <cstring>

#include "base/isfail.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"
#include "tree/ispath.h"
#include "tree/istree.h"

namespace {

// Does the path stand on the record's entry already?
bool quickcheck(const IndexPath *path, std::uint32_t recnum) {
    const NodeBuf *n = path->top;
    return hasCurrent(n) && n->level == 0 && n->pointer == recnum;
}

bool searchfind(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t recnum) {
    return isTreeMatch(h, path, key) && isTreeSeek(h, path, key, recnum);
}

// An emptied tree is a single empty leaf again.
void endcheck(IsamFile *h, NodeBuf *n) {
    if (n->parent != nullptr || n->used > node::kTreeStart) return;
    n->level = 0;
    isMarkNode(h, n->buffer, node::kTreeMark, 0);
    n->state = ISBUF_DIRTY;
}

}  // namespace

void flatsquash(IndexPath *path, NodeBuf *n) {
    const int size = path->entrySize, used = n->used, p = n->position;
    std::memmove(n->buffer + p, n->buffer + p + size, static_cast<std::size_t>(used - p - size));
    isNodeResize(n, used - size, used);
}

bool isTreeDelete(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t recnum) {
    if (isPathEmpty(h, path)) return false;
    if (hasData(h) && !quickcheck(path, recnum) && !searchfind(h, path, key, recnum)) isFail(h, ISERR_NOTFOUND);

    NodeBuf *n = path->top;
    for (;;) {
        if (!hasCurrent(n)) isFail(h, ISERR_CORRUPT);
        if (path->compressed)
            compsquash(h, path, n);
        else
            flatsquash(path, n);
        // Putting entries back may have left the path elsewhere, but never
        // with an empty node.
        if (n->used > node::kTreeStart || !isPathDown(h, path)) break;
        n = path->top;
    }
    endcheck(h, n);
    return true;
}
