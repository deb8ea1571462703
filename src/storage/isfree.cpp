#include "storage/isfree.h"

#include <algorithm>
#include <cstring>
#include <initializer_list>
#include <utility>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "storage/isahead.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"

namespace {

constexpr const char *kModule = "isfree";
constexpr int kCountDirtyLine = 147;
constexpr int kFreeDirtyIndexLine = 197;
constexpr int kFreeDirtyDataLine = 198;

constexpr int kGrowthOfTaken = 64;
constexpr std::uint32_t kNotStored = 0xffffffff;

FreeCache &cacheOf(IsamFile *h, int kind) { return kind == ISKIND_INDEX ? h->indexFree : h->dataFree; }

void allocate(IsamFile *h, FreeCache &cache) {
    if (cache.buffer == nullptr) cache.buffer = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
}

// Reads list node number into the buffer and makes sure that it is one.
void refresh(IsamFile *h, FreeCache &cache, std::uint32_t number) {
    isCheckNodeNumber(h, number);
    allocate(h, cache);
    cache.state = ISBUF_EMPTY;
    isGetNode(h, cache.buffer, number);
    if (!isListNode(h, cache.buffer)) isFail(h, ISERR_CORRUPT);
    cache.used = cache.least = cache.stored = static_cast<std::uint32_t>(node::used(cache.buffer));
    cache.state = ISBUF_CLEAN;
}

void load(IsamFile *h, FreeCache &cache) {
    if (cache.state != ISBUF_EMPTY) return;
    if (cache.head != cache.fullNumber) {
        refresh(h, cache, cache.head);
        return;
    }
    // The node before it is used up: it is the head again.
    std::swap(cache.buffer, cache.full);
    cache.fullNumber = 0;
    cache.used = static_cast<std::uint32_t>(node::used(cache.buffer));
    cache.least = 0;
    cache.stored = kNotStored;
    cache.state = ISBUF_DIRTY;
}

// Makes the buffer an empty list node.
void startNode(IsamFile *h, FreeCache &cache, std::uint32_t link) {
    allocate(h, cache);
    std::memset(cache.buffer, 0, static_cast<std::size_t>(h->nodeSize));
    isMarkNode(h, cache.buffer, node::kListMark, node::kFreeLevel);
    node::setLink(cache.buffer, link);
    cache.used = node::kListStart;
    cache.least = 0;
    cache.stored = kNotStored;
}

std::uint32_t grow(IsamFile *h, FreeCache &cache) {
    if (cache.last >= kMaxNumber) isFail(h, ISERR_DISKSPACE);
    return ++cache.last;
}

void writeFull(IsamFile *h, FreeCache &cache) {
    if (cache.fullNumber == 0) return;
    isPutNode(h, cache.full, cache.fullNumber);
    cache.fullNumber = 0;
}

void writeHead(IsamFile *h, FreeCache &cache) {
    if (cache.state != ISBUF_DIRTY) return;
    isPutNode(h, cache.buffer, cache.head);
    cache.state = ISBUF_CLEAN;
    cache.least = cache.stored = cache.used;
}

void writeList(IsamFile *h, FreeCache &cache) {
    writeFull(h, cache);
    writeHead(h, cache);
}

// The head node is full. What it lists may still be in use until the change is
// written, so it waits; only a second one drives it out.
void setAside(IsamFile *h, FreeCache &cache) {
    writeFull(h, cache);
    if (cache.state != ISBUF_DIRTY) return;
    if (cache.full == nullptr) cache.full = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
    std::swap(cache.buffer, cache.full);
    cache.fullNumber = cache.head;
}

void forget(FreeCache &cache) {
    cache.state = ISBUF_EMPTY;
    cache.fullNumber = 0;
    cache.usedUp = false;
}

void append(FreeCache &cache, std::uint32_t number) {
    st_long(number, cache.buffer + cache.used);
    cache.used += kNumberSize;
}

void noteTaken(IsamFile *h, std::uint32_t number) {
    if (h->takenCount == h->takenRoom) {
        const std::uint32_t room = h->takenRoom + kGrowthOfTaken;
        h->takenNodes = static_cast<std::uint32_t *>(
            is_realloc(h->takenNodes, sizeof(std::uint32_t) * h->takenRoom, sizeof(std::uint32_t) * room));
        h->takenRoom = room;
    }
    h->takenNodes[h->takenCount++] = number;
}

// The list's next number; the list is not empty.
std::uint32_t takeListed(IsamFile *h, int kind, FreeCache &cache) {
    load(h, cache);
    std::uint32_t number = cache.head;
    if (cache.used > node::kListStart) {
        number = ld_long(cache.buffer + cache.used - kNumberSize);
        const std::uint32_t lowest = kind == ISKIND_INDEX ? 2 : 1;
        if (number < lowest || number > cache.last) isFail(h, ISERR_CORRUPT);
    } else if (kind == ISKIND_DATA) {
        isFail(h, ISERR_CORRUPT);
    }

    const bool spent =
        kind == ISKIND_INDEX ? cache.used == node::kListStart : cache.used == node::kListStart + kNumberSize;
    if (spent) {
        const std::uint32_t link = node::link(cache.buffer);
        cache.blank = cache.stored == node::kListStart && link == 0 ? cache.head : 0;
        if (kind == ISKIND_DATA) {
            isPutFree(h, ISKIND_INDEX, cache.head);
            cache.usedUp = true;
        }
        cache.head = link;
        cache.state = ISBUF_EMPTY;
    } else {
        cache.used -= kNumberSize;
        cache.least = std::min(cache.least, cache.used);
        st_long(0, cache.buffer + cache.used);
        node::setUsed(cache.buffer, static_cast<int>(cache.used));
        cache.state = ISBUF_DIRTY;
    }
    return number;
}

// Gives the data list's first nodes to the index list.
void handOver(IsamFile *h, std::uint32_t nodes) {
    FreeCache &cache = h->dataFree;
    for (; cache.head != 0 && nodes > 0; --nodes) {
        load(h, cache);
        const std::uint32_t link = node::link(cache.buffer);
        isPutFree(h, ISKIND_INDEX, cache.head);
        cache.head = link;
        cache.state = ISBUF_EMPTY;
    }
}

// Before the header leads to a new first node of the list of records: it holds
// whatever it held before, perhaps numbers that records have by now.
void prepareDataHead(IsamFile *h) {
    const std::uint32_t head = h->dataFree.head;
    if (head != isHeadIndexFree(h)) {
        writeHead(h, h->dataFree);
        return;
    }
    // By the header it begins the list of nodes. Until that is changed it may list no
    // records, and then no nodes, itself or by its link.
    if (head == h->indexFree.blank) return;
    std::uint8_t empty[node::kListStart] = {};
    node::setUsed(empty, node::kListStart);
    isPutNodePart(h, empty, sizeof empty, head, 0);
}

// The highest record number becomes that of the data file's last slot.
void takeLast(IsamFile *h) {
    const std::int64_t records = is_size(h, ISKIND_DATA) / h->bufferLength;
    if (records > kMaxNumber) isFail(h, ISERR_CORRUPT);
    h->dataFree.last = static_cast<std::uint32_t>(records);
    isAheadForget(h);
}

}  // namespace

std::uint32_t isGetFree(IsamFile *h, int kind) {
    FreeCache &cache = cacheOf(h, kind);
    if ((kind == ISKIND_DATA && isPreciousFile(h)) || cache.head == 0) return grow(h, cache);
    const std::uint32_t number = takeListed(h, kind, cache);
    if (kind == ISKIND_INDEX && h->noteTaken) noteTaken(h, number);
    return number;
}

void isPutFree(IsamFile *h, int kind, std::uint32_t number) {
    FreeCache &cache = cacheOf(h, kind);
    if (kind == ISKIND_DATA && isPreciousFile(h)) return;

    if (cache.head == 0) {
        const std::uint32_t head = kind == ISKIND_INDEX ? number : isGetFree(h, ISKIND_INDEX);
        startNode(h, cache, 0);
        cache.head = head;
        if (kind == ISKIND_DATA) append(cache, number);
    } else {
        load(h, cache);
        if (static_cast<int>(cache.used) + kNumberSize <= h->nodeSize - node::kTrailerSize) {
            append(cache, number);
        } else {
            setAside(h, cache);
            const std::uint32_t head = kind == ISKIND_INDEX ? number : isGetFree(h, ISKIND_INDEX);
            startNode(h, cache, cache.head);
            cache.head = head;
            if (kind == ISKIND_DATA) append(cache, number);
        }
    }
    node::setUsed(cache.buffer, static_cast<int>(cache.used));
    cache.state = ISBUF_DIRTY;
}

std::uint32_t isFreeCount(IsamFile *h, int kind, FreeVisit visit, void *context) {
    FreeCache &cache = cacheOf(h, kind);
    if (cache.state == ISBUF_DIRTY) isBroken(kModule, kCountDirtyLine);
    if (cache.head == 0) return 0;
    const std::uint32_t limit = isNodeLimit(h);
    std::uint32_t count = 0, nodes = 0;
    for (std::uint32_t number = cache.head; number != 0; number = node::link(cache.buffer)) {
        if (++nodes > limit) isFail(h, ISERR_CORRUPT);
        refresh(h, cache, number);
        // The buffer is the head node's only by chance.
        cache.state = ISBUF_EMPTY;
        if (visit != nullptr) visit(cache.buffer, context);
        count += (cache.used - node::kListStart) / kNumberSize;
    }
    return count;
}

void isFreeLoad(IsamFile *h) {
    if (h->indexFree.head != 0) load(h, h->indexFree);
}

void isFreeClear(IsamFile *h, int entryClass) {
    for (FreeCache *cache : {&h->indexFree, &h->dataFree})
        if (entryClass == ISCLASS_READ || cache->state == ISBUF_DIRTY || cache->fullNumber != 0) forget(*cache);
}

void isFreeWriteNew(IsamFile *h) {
    for (FreeCache *cache : {&h->indexFree, &h->dataFree})
        if (cache->head > isHeadLastNode(h)) writeHead(h, *cache);
}

void isFreeWriteTaken(IsamFile *h) {
    for (FreeCache *cache : {&h->indexFree, &h->dataFree})
        if (cache->used == cache->least) writeHead(h, *cache);
}

bool isFreeDirty(const IsamFile *h) {
    return h->indexFree.state == ISBUF_DIRTY || h->indexFree.fullNumber != 0 || h->dataFree.state == ISBUF_DIRTY ||
           h->dataFree.fullNumber != 0;
}

void isFreeWrite(IsamFile *h) {
    writeList(h, h->indexFree);
    writeList(h, h->dataFree);
}

void isEndChange(IsamFile *h) {
    const FreeCache &nodes = h->indexFree;
    // A node that the list of records has used up is that list's until the header
    // says otherwise: to hand it out before would give it two owners.
    const bool gainedOnly = nodes.head == isHeadIndexFree(h) && nodes.least == nodes.stored;
    if (!h->dataFree.usedUp || !gainedOnly) writeList(h, h->indexFree);
    if (h->dataFree.stored == kNotStored && h->dataFree.head != isHeadDataFree(h)) prepareDataHead(h);
    isHeadWrite(h);
    h->dataFree.usedUp = false;
    writeList(h, h->indexFree);
    writeList(h, h->dataFree);
}

void isFreeFree(IsamFile *h) {
    if (h->indexFree.state == ISBUF_DIRTY) isBroken(kModule, kFreeDirtyIndexLine);
    if (h->dataFree.state == ISBUF_DIRTY) isBroken(kModule, kFreeDirtyDataLine);
    for (FreeCache *cache : {&h->indexFree, &h->dataFree}) {
        cache->buffer = static_cast<std::uint8_t *>(is_free(cache->buffer));
        cache->full = static_cast<std::uint8_t *>(is_free(cache->full));
        forget(*cache);
    }
}

void isFreeDrop(IsamFile *h, int kind) {
    if (kind != ISKIND_DATA) isFail(h, ISERR_ARGUMENT);
    if (h->dataFree.head != 0) handOver(h, isNodeLimit(h));
    if (h->dataFree.head != 0) isFail(h, ISERR_CORRUPT);
    takeLast(h);
}

void isFreeSalvage(IsamFile *h, std::uint32_t nodes) {
    handOver(h, nodes);
    h->dataFree.head = 0;
    forget(h->dataFree);
    takeLast(h);
}

bool isListNode(const IsamFile *h, const std::uint8_t *bytes) {
    const int used = node::used(bytes);
    return node::mark(bytes, h->nodeSize) == node::kListMark && node::level(bytes, h->nodeSize) == node::kFreeLevel &&
           used >= node::kListStart && used <= h->nodeSize - node::kTrailerSize &&
           (used - node::kListStart) % kNumberSize == 0;
}
