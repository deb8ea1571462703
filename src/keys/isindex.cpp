#include "keys/isindex.h"

#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "keys/desc_layout.h"
#include "keys/iscompmark.h"
#include "keys/iskey.h"
#include "keys/isnode.h"
#include "storage/header_layout.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"
#include "tree/ispath.h"

namespace {

constexpr int kMaxSerialWidth = 8;

int partSize(unsigned flags) { return (flags & ISNULLKEY) != 0 ? desc::kWidePartSize : desc::kPartSize; }

int entryLength(const KeyDesc *key) { return desc::kHeadSize + key->nparts * partSize(key->flags); }

// Reads a description node and makes sure that it is one.
std::uint8_t *readDescNode(IsamFile *h, std::uint32_t number) {
    std::uint8_t *buffer = isScratchNode(h);
    isCheckNodeNumber(h, number);
    isGetNode(h, buffer, number);
    const int used = node::used(buffer);
    if (node::mark(buffer, h->nodeSize) != node::kListMark || node::level(buffer, h->nodeSize) != node::kDescLevel ||
        used < node::kListStart || used > h->nodeSize - node::kTrailerSize)
        isFail(h, ISERR_CORRUPT);
    return buffer;
}

// Length of the entry at offset; 105 where it does not fit its node.
int checkedLength(IsamFile *h, const std::uint8_t *buffer, int offset) {
    const int room = node::used(buffer) - offset;
    const int length = room >= desc::kHeadSize ? ld_int(buffer + offset + desc::kLengthOffset) : 0;
    if (length < desc::kHeadSize || length > room) isFail(h, ISERR_CORRUPT);
    return length;
}

void parseEntry(IsamFile *h, const std::uint8_t *buffer, int offset, KeyDesc *key) {
    *key = {};
    const std::uint8_t *entry = buffer + offset;
    key->rootNode = ld_long(entry + desc::kRootOffset);
    key->flags = static_cast<unsigned short>(entry[desc::kFlagsOffset] * 2);
    const int nparts = (ld_int(entry + desc::kLengthOffset) - desc::kHeadSize) / desc::kPartSize;
    if (nparts > ISMAXPARTS) isFail(h, ISERR_KEYDESC);
    key->nparts = static_cast<short>(nparts);
    const int size = partSize(key->flags);
    if (offset + desc::kHeadSize + nparts * size > h->nodeSize) isFail(h, ISERR_CORRUPT);
    for (int i = 0; i < nparts; ++i) {
        const std::uint8_t *stored = entry + desc::kHeadSize + i * size;
        unsigned length = ld_int(stored + desc::kPartLengthOffset);
        if (i == 0 && (length & desc::kDupsBit) != 0) {
            length &= ~desc::kDupsBit;
            key->flags |= ISDUPS;
        }
        KeyPart &part = key->parts[i];
        part.length = static_cast<short>(length);
        part.start = static_cast<short>(ld_int(stored + desc::kPartStartOffset));
        const std::uint8_t *type = stored + desc::kPartTypeOffset;
        part.type = size == desc::kWidePartSize ? ld_int(type) : *type;
    }
}

void storeEntry(std::uint8_t *entry, const KeyDesc *key, std::uint32_t root) {
    st_int(static_cast<std::uint32_t>(entryLength(key)), entry + desc::kLengthOffset);
    st_long(root, entry + desc::kRootOffset);
    entry[desc::kFlagsOffset] = static_cast<std::uint8_t>(key->flags >> 1);
    const int size = partSize(key->flags);
    for (int i = 0; i < key->nparts; ++i) {
        const KeyPart &part = key->parts[i];
        std::uint8_t *stored = entry + desc::kHeadSize + i * size;
        const unsigned dups = i == 0 && (key->flags & ISDUPS) != 0 ? desc::kDupsBit : 0;
        st_int(static_cast<std::uint32_t>(part.length) | dups, stored + desc::kPartLengthOffset);
        st_int(static_cast<std::uint32_t>(part.start), stored + desc::kPartStartOffset);
        if (size == desc::kWidePartSize)
            st_int(part.type, stored + desc::kPartTypeOffset);
        else
            stored[desc::kPartTypeOffset] = static_cast<std::uint8_t>(part.type);
    }
}

int serialWidth(const IsamFile *h, const KeyDesc *key) { return (key->flags & ISDUPS) != 0 ? h->headerByte11 : 0; }

int entrySize(const IsamFile *h, const KeyDesc *key) {
    return isKeyLength(key) + kPointerSize + serialWidth(h, key) + ((key->flags & ISLEADCOMP) != 0 ? 1 : 0) +
           ((key->flags & ISTRAILCOMP) != 0 ? 1 : 0);
}

// What follows from the description.
void initpath(IsamFile *h, IndexPath *path) {
    KeyDesc &key = path->keyDesc;
    if (!isNodeHolds(h, &key)) isFail(h, ISERR_CORRUPT);
    const int length = isKeyLength(&key);
    key.keyLength = static_cast<short>(length);
    path->searchLength = path->startLength = length;
    path->dupWidth = serialWidth(h, &key);
    path->compressed = (key.flags & kCompressFlags) != 0;
    isKeyOrder(path);
    isMarkSpacing(h, path);
    path->entrySize = entrySize(h, &key);
}

// Adds a path for the description to the table.
void instpath(IsamFile *h, const KeyDesc *key, std::uint32_t root) {
    if (h->keyCount >= kMaxPaths) isFail(h, ISERR_KEYDESC);
    IndexPath *path = is_new<IndexPath>();
    h->indexes[h->keyCount++] = path;
    path->keyDesc = *key;
    path->keyDesc.rootNode = root;
    initpath(h, path);
    isPathIns(h, path, root);
}

void freepath(IsamFile *h, IndexPath *path) {
    isPathFree(h, path);
    is_free(path->loose);
    is_free(path);
}

// Takes a description into the handle.
void enter(IsamFile *h, const KeyDesc *key, std::uint32_t root) {
    if (key->nparts == 0)
        h->state |= ISSTATE_NOPRIMARY;
    else
        instpath(h, key, root);
}

bool sameParts(const KeyDesc *a, const KeyDesc *b) {
    if (a->nparts != b->nparts || ((a->flags ^ b->flags) & ISNULLKEY) != 0) return false;
    for (int i = 0; i < a->nparts; ++i) {
        const KeyPart &x = a->parts[i], &y = b->parts[i];
        if (x.start != y.start || x.length != y.length || x.type != y.type) return false;
    }
    return true;
}

bool sameEntry(const KeyDesc *a, const KeyDesc *b) {
    return a->rootNode == b->rootNode && a->flags == b->flags && sameParts(a, b);
}

// Runs visit on each description of the chain, with the number of those before it.
template <typename Visit> void eachEntry(IsamFile *h, Visit &&visit) {
    int entries = 0;
    std::uint32_t nodes = isNodeLimit(h);
    for (std::uint32_t number = h->keyDescNode; number != 0;) {
        if (nodes-- == 0) isFail(h, ISERR_CORRUPT);
        const std::uint8_t *buffer = readDescNode(h, number);
        for (int offset = node::kListStart; offset < node::used(buffer);) {
            KeyDesc key;
            const int length = checkedLength(h, buffer, offset);
            parseEntry(h, buffer, offset, &key);
            visit(key, entries++);
            offset += length;
        }
        number = node::link(buffer);
    }
}

// Leaves the last node of the chain in the scratch node and returns its number,
// 0 for an empty chain.
std::uint32_t lastDescNode(IsamFile *h) {
    std::uint32_t number = h->keyDescNode;
    const std::uint32_t limit = isNodeLimit(h);
    for (std::uint32_t nodes = 0; number != 0; ++nodes) {
        if (nodes >= limit) isFail(h, ISERR_CORRUPT);
        const std::uint32_t link = node::link(readDescNode(h, number));
        if (link == 0) break;
        number = link;
    }
    return number;
}

std::uint32_t newRoot(IsamFile *h) {
    const std::uint32_t number = isGetFree(h, ISKIND_INDEX);
    std::uint8_t *buffer = isScratchNode(h);
    std::memset(buffer, 0, static_cast<std::size_t>(h->nodeSize));
    node::setUsed(buffer, node::kTreeStart);
    isPutNode(h, buffer, number);
    return number;
}

// Appends the entry to node number, which has room for it.
void appendEntry(IsamFile *h, std::uint32_t number, const KeyDesc *key, std::uint32_t root) {
    std::uint8_t *buffer = isScratchNode(h);
    const int used = node::used(buffer);
    storeEntry(buffer + used, key, root);
    node::setUsed(buffer, used + entryLength(key));
    isPutWhole(h, buffer, h->nodeSize, number, 0);
}

// Visits the tree below the path's top node depth first, children before their
// parent; with giveUp each node is popped, the root apart, and given to the free
// list. bound counts the nodes that a sound tree can still have.
void deletepath(IsamFile *h, IndexPath *path, bool giveUp, std::uint32_t &bound) {
    NodeBuf *n = path->top;
    if (bound-- == 0) isFail(h, ISERR_CORRUPT);
    if (n->level != 0) {
        n->position = 0;
        for (bool more = isNodeWalk(path, kWalkFirst); more; more = isNodeWalk(path, kWalkNext)) {
            isPathAdd(h, path, n->pointer);
            deletepath(h, path, giveUp, bound);
        }
    }
    if (!giveUp) {
        isPathDown(h, path);
        return;
    }
    const std::uint32_t number = n->number;
    n->state = ISBUF_EMPTY;
    if (n->parent != nullptr) {
        path->top = n->parent;
        isFreeNode(n);
    }
    isPutFree(h, ISKIND_INDEX, number);
}

void walkTree(IsamFile *h, int n, bool giveUp) {
    std::uint32_t bound = isNodeLimit(h);
    isPathRoot(h, h->indexes[n]);
    deletepath(h, h->indexes[n], giveUp, bound);
}

}  // namespace

bool isNodeHolds(const IsamFile *h, const KeyDesc *key) {
    const int width = serialWidth(h, key);
    // A node that could not be split in two would never take a third entry.
    return width >= 0 && width <= kMaxSerialWidth &&
           node::kTreeStart + 2 * entrySize(h, key) < h->nodeSize - node::kTrailerSize;
}

void isLoadIndexes(IsamFile *h) {
    h->keyCount = 0;
    eachEntry(h, [h](const KeyDesc &key, int before) {
        if (!isTestIndex(h, &key)) isFail(h, ISERR_KEYDESC);
        if (key.nparts == 0 && before != 0) isFail(h, ISERR_CORRUPT);
        if (key.nparts != 0) isCheckNodeNumber(h, key.rootNode);
        enter(h, &key, key.rootNode);
    });
}

bool isSameIndexes(IsamFile *h) {
    if (isHeadKeyDescs(h) != h->keyDescNode) return false;
    const int noPrimary = (h->state & ISSTATE_NOPRIMARY) != 0 ? 1 : 0;
    int entries = 0;
    bool same = true;
    eachEntry(h, [=, &entries, &same](const KeyDesc &key, int before) {
        const int n = before - noPrimary;
        same = same && n < h->keyCount && (n < 0 ? key.nparts == 0 : sameEntry(&key, &h->indexes[n]->keyDesc));
        ++entries;
    });
    return same && entries == h->keyCount + noPrimary;
}

int isFindIndex(const IsamFile *h, const KeyDesc *key) {
    if (key->nparts == 0) return h->keyCount;
    for (int i = h->keyCount - 1; i >= 0; --i)
        if (sameParts(&h->indexes[i]->keyDesc, key)) return i;
    return -1;
}

DescPlace isReserveIndex(IsamFile *h, const KeyDesc *key) {
    DescPlace place = {};
    place.last = lastDescNode(h);
    const bool fits =
        place.last != 0 && node::used(isScratchNode(h)) + entryLength(key) <= h->nodeSize - node::kTrailerSize;
    if (!fits) place.added = isGetFree(h, ISKIND_INDEX);
    place.root = key->nparts != 0 ? newRoot(h) : 0;
    enter(h, key, place.root);
    return place;
}

void isMakeIndex(IsamFile *h, const KeyDesc *key) { isEnterIndex(h, key, isReserveIndex(h, key)); }

void isEnterIndex(IsamFile *h, const KeyDesc *key, const DescPlace &place) {
    if (place.added == 0) {
        readDescNode(h, place.last);
        appendEntry(h, place.last, key, place.root);
        return;
    }
    // The new node stands on disk before anything leads to it.
    std::uint8_t *buffer = isScratchNode(h);
    std::memset(buffer, 0, static_cast<std::size_t>(h->nodeSize));
    isMarkNode(h, buffer, node::kListMark, node::kDescLevel);
    node::setUsed(buffer, node::kListStart);
    appendEntry(h, place.added, key, place.root);
    if (place.last == 0) {
        h->keyDescNode = place.added;
        return;
    }
    readDescNode(h, place.last);
    node::setLink(buffer, place.added);
    isPutWhole(h, buffer, h->nodeSize, place.last, 0);
}

void isUnlinkDesc(IsamFile *h, std::uint32_t number) {
    const std::uint32_t link = node::link(readDescNode(h, number));
    if (h->keyDescNode == number) {
        h->keyDescNode = link;
        return;
    }
    std::uint32_t nodes = isNodeLimit(h);
    for (std::uint32_t previous = h->keyDescNode; previous != 0 && nodes-- > 0;) {
        std::uint8_t *buffer = readDescNode(h, previous);
        if (node::link(buffer) == number) {
            node::setLink(buffer, link);
            isPutWhole(h, buffer, h->nodeSize, previous, 0);
            return;
        }
        previous = node::link(buffer);
    }
    isFail(h, ISERR_CORRUPT);
}

void isDropIndex(IsamFile *h, int n) {
    int wanted = n + ((h->state & ISSTATE_NOPRIMARY) != 0 ? 1 : 0);
    std::uint32_t nodes = isNodeLimit(h);
    for (std::uint32_t number = h->keyDescNode; number != 0 && nodes-- > 0;) {
        std::uint8_t *buffer = readDescNode(h, number);
        const int used = node::used(buffer);
        for (int offset = node::kListStart; offset < used; --wanted) {
            const int length = checkedLength(h, buffer, offset);
            if (wanted == 0) {
                const auto rest = static_cast<std::size_t>(used - offset - length);
                std::memmove(buffer + offset, buffer + offset + length, rest);
                std::memset(buffer + used - length, 0, static_cast<std::size_t>(length));
                node::setUsed(buffer, used - length);
                isPutWhole(h, buffer, h->nodeSize, number, 0);
                return;
            }
            offset += length;
        }
        number = node::link(buffer);
    }
    isFail(h, ISERR_CORRUPT);
}

void isFreeIndex(IsamFile *h, int n) {
    if (n >= h->keyCount) {
        for (int i = h->keyCount - 1; i >= 0; --i) {
            IndexPath *path = h->indexes[i];
            h->indexes[i] = nullptr;
            freepath(h, path);
        }
        h->keyCount = 0;
        return;
    }
    IndexPath *path = h->indexes[n];
    for (int i = n; i + 1 < h->keyCount; ++i)
        h->indexes[i] = h->indexes[i + 1];
    h->indexes[--h->keyCount] = nullptr;
    freepath(h, path);
}

IndexPath *isTwinPath(IsamFile *h, int n) {
    isFreeTwin(h);
    IndexPath *path = h->twin = is_new<IndexPath>();
    path->keyDesc = h->indexes[n]->keyDesc;
    initpath(h, path);
    isPathIns(h, path, path->keyDesc.rootNode);
    return path;
}

void isFreeTwin(IsamFile *h) {
    if (h->twin == nullptr) return;
    freepath(h, h->twin);
    h->twin = nullptr;
}

void isSurveyIdx(IsamFile *h, int n) { walkTree(h, n, false); }

void isWipeIdx(IsamFile *h, int n) {
    walkTree(h, n, true);
    isPathClear1(h->indexes[n], ISCLASS_READ);
}
