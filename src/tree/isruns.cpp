#include "tree/isruns.h"

#include <cstring>

#include "keys/isnodepool.h"
#include "storage/isahead.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "tree/ispath.h"

namespace {

// They stay dirty until they are in the file.
void writeRun(IsamFile *h, IndexPath *path, const std::uint8_t *bytes, int count, std::uint32_t first) {
    if (count == 0) return;
    isPutNodes(h, bytes, count, first);
    for (int i = 0; i < count; ++i) {
        NodeBuf *n = isCacheDirtyOf(path, first + static_cast<std::uint32_t>(i));
        n->state = ISBUF_CLEAN;
        n->fresh = false;
        isCacheSettle(path, n);
    }
}

}  // namespace

void isRunsWrite(IsamFile *h, IndexPath *path) {
    while (isPathDown(h, path)) {
    }
    std::uint8_t *room = isAheadLend(h);
    const int most = kAheadRoom / h->nodeSize;
    const std::uint32_t last = h->indexFree.last;
    std::uint32_t first = isHeadLastNode(h) + 1;
    int count = 0;
    for (std::uint32_t number = first; number <= last; ++number) {
        const NodeBuf *n = isCacheDirtyOf(path, number);
        if (n == nullptr || count == most) {
            writeRun(h, path, room, count, first);
            count = 0;
        }
        if (n == nullptr) continue;
        if (count == 0) first = number;
        std::memcpy(room + static_cast<std::size_t>(count++) * static_cast<std::size_t>(h->nodeSize), n->buffer,
                    static_cast<std::size_t>(h->nodeSize));
    }
    writeRun(h, path, room, count, first);
}
