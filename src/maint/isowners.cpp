#include "maint/isowners.h"

#include "base/isfail.h"
#include "frame/isentry.h"
#include "keys/isnode.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/isidxio.h"
#include "storage/isnumbers.h"
#include "storage/node_layout.h"
#include "storage/remnant_layout.h"
#include "tree/ispath.h"

namespace {

constexpr std::uint32_t kHeaderNode = 1;
constexpr std::uint32_t kMostBehind = 1U << 20;

// A node that stands in the set already belongs to two.
void own(IsamFile *h, std::uint32_t number) {
    if (!isNumbersAdd(h, number)) isFail(h, ISERR_CORRUPT);
}

void ownDescriptions(IsamFile *h) {
    std::uint8_t *bytes = isScratchNode(h);
    for (std::uint32_t number = h->keyDescNode; number != 0; number = node::link(bytes)) {
        own(h, number);
        isGetLinked(h, bytes, number);
    }
}

void ownNext(IsamFile *h, const std::uint8_t *bytes) {
    if (node::link(bytes) != 0) own(h, node::link(bytes));
}

// A list node of nodes: what it holds, and the list node behind it.
void ownFreeNodes(const std::uint8_t *bytes, void *context) {
    auto *h = static_cast<IsamFile *>(context);
    for (int at = node::kListStart; at < node::used(bytes); at += kNumberSize) {
        const std::uint32_t number = ld_long(bytes + at);
        isCheckNodeNumber(h, number);
        if (number <= h->numbersLast) own(h, number);
    }
    ownNext(h, bytes);
}

void ownListNode(const std::uint8_t *bytes, void *context) { ownNext(static_cast<IsamFile *>(context), bytes); }

void giveUpTop(IsamFile *h, IndexPath *path) {
    NodeBuf *n = path->top;
    const std::uint32_t number = n->number;
    n->state = ISBUF_EMPTY;
    path->top = n->parent;
    isFreeNode(n);
    isPutFree(h, ISKIND_INDEX, number);
}

bool ownChild(IsamFile *h, IndexPath *path, std::uint32_t number, bool giveUp) {
    const NodeBuf *parent = path->top;
    if (!isNumbersAdd(h, number)) return false;
    if (!isUndamaged(h, [=] { isPathAdd(h, path, number); })) {
        while (path->top != parent)
            isPathDown(h, path);
        isNumbersTake(h, number);
        return false;
    }
    const bool whole = isOwnTree(h, path, giveUp);
    if (giveUp)
        giveUpTop(h, path);
    else
        isPathDown(h, path);
    return whole;
}

bool isTailNode(const IsamFile *h, const std::uint8_t *bytes) {
    return hasTails(h) && bytes[h->nodeSize - remnant::kMarkBack] == remnant::kMark &&
           ld_int(bytes + remnant::kMagicOffset) == remnant::kMagic;
}

// The root of the index that is going to be wiped.
void ownRoot(IsamFile *h, std::uint32_t root) {
    own(h, root);
    if (root > isNodeLimit(h)) return;
    isGetNode(h, isScratchNode(h), root);
    if (isTailNode(h, isScratchNode(h))) isFail(h, ISERR_CORRUPT);
}

// Are all nodes that the tail in the slot buffer leads to nodes of tails?
bool isTailKnown(IsamFile *h, std::uint32_t inFile) {
    const std::uint8_t *pointer = slot::tailPointer(h);
    std::uint8_t *bytes = isScratchNode(h);
    remnant::Place at = remnant::place(pointer + 2);
    for (int pieces = 0; ld_int(pointer) != 0; ++pieces) {
        if (pieces > remnant::kMaxPieces || at.node <= kHeaderNode || at.node > inFile) return false;
        isGetNode(h, bytes, at.node);
        if (!isTailNode(h, bytes)) return false;
        if (!remnant::goesOn(bytes)) break;
        at = remnant::onward(bytes);
    }
    return true;
}

bool areTailsKnown(IsamFile *h, std::uint32_t inFile) {
    if (!hasTails(h)) return true;
    for (std::uint32_t number = isSlotCount(h); number > 0; --number) {
        isGetData(h, static_cast<long>(number));
        if (slot::status(h) == slot::kPresent && !isTailKnown(h, inFile)) return false;
    }
    return true;
}

// No tail may lie in a node that has been found to belong to something else: a list
// would give it away.
void needTails(IsamFile *h, std::uint32_t inFile) {
    std::uint8_t *bytes = isScratchNode(h);
    for (std::uint32_t number = isSlotCount(h); number > 0; --number) {
        isGetData(h, static_cast<long>(number));
        if (slot::status(h) != slot::kPresent || ld_int(slot::tailPointer(h)) == 0) continue;
        remnant::Place at = remnant::place(slot::tailPointer(h) + 2);
        for (int pieces = 0; pieces <= remnant::kMaxPieces; ++pieces) {
            if (at.node <= kHeaderNode || at.node > inFile) break;
            isGetNode(h, bytes, at.node);
            if (!isTailNode(h, bytes)) break;
            if (isNumbersHas(h, at.node)) isFail(h, ISERR_CORRUPT);
            if (!remnant::goesOn(bytes)) break;
            at = remnant::onward(bytes);
        }
    }
}

// A node that nobody has, and that is not a tail's.
bool isLost(IsamFile *h, std::uint32_t number, std::uint32_t inFile) {
    if (isNumbersHas(h, number)) return false;
    if (number > inFile) return true;
    isGetNode(h, isScratchNode(h), number);
    return !isTailNode(h, isScratchNode(h));
}

}  // namespace

void isOwnNodes(IsamFile *h) {
    // Nodes behind the end of a file cut short count, a mad header does not.
    const std::uint32_t inFile = isNodeLimit(h), last = h->indexFree.last;
    isNumbersMake(h, last - inFile <= kMostBehind ? last : inFile);
    own(h, kHeaderNode);
    ownDescriptions(h);
    if (h->auditNode != 0) own(h, h->auditNode);
    if (h->indexFree.head != 0) own(h, h->indexFree.head);
    isFreeCount(h, ISKIND_INDEX, ownFreeNodes, h);
    if (hasTails(h)) needTails(h, inFile);
}

bool isOwnLists(IsamFile *h) {
    return isUndamaged(h, [h] {
        if (h->dataFree.head != 0) own(h, h->dataFree.head);
        isFreeCount(h, ISKIND_DATA, ownListNode, h);
    });
}

bool isOwnTrees(IsamFile *h, int except) {
    bool whole = true;
    // What the catalogue says goes before what stands in a tree.
    bool hasRoot[kMaxPaths] = {};
    for (int i = 0; i < h->keyCount; ++i)
        if (i != except) hasRoot[i] = isNumbersAdd(h, h->indexes[i]->keyDesc.rootNode);
    for (int i = 0; i < h->keyCount; ++i) {
        IndexPath *path = h->indexes[i];
        if (i == except) continue;
        const bool sound = hasRoot[i] && isUndamaged(h, [h, path] { isPathRoot(h, path); });
        whole = sound && isOwnTree(h, path, false) && whole;
    }
    if (except >= 0) ownRoot(h, h->indexes[except]->keyDesc.rootNode);
    return whole;
}

bool isOwnTree(IsamFile *h, IndexPath *path, bool giveUp) {
    NodeBuf *n = path->top;
    bool whole = true;
    if (n->level == 0) return true;
    n->position = 0;
    for (bool more = isNodeWalk(path, kWalkFirst); more; more = isNodeWalk(path, kWalkNext))
        whole = ownChild(h, path, n->pointer, giveUp) && whole;
    return whole;
}

void isFreeLost(IsamFile *h) {
    const std::uint32_t inFile = isNodeLimit(h), last = h->numbersLast;
    bool asked = false;
    for (std::uint32_t number = 2; number <= last; ++number) {
        if (!isLost(h, number, inFile)) continue;
        // It may still be a tail's that is not to be recognised any more.
        if (!asked && !areTailsKnown(h, inFile)) return;
        asked = true;
        isPutFree(h, ISKIND_INDEX, number);
    }
}
