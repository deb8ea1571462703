// Rebuilds: the free list of records and an index, made anew from the data.

#include <cstring>

#include "base/isfail.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "isam_maint.h"
#include "keys/ispathdef.h"
#include "maint/isowners.h"
#include "records/isaddidx.h"
#include "records/ischange.h"
#include "records/isfork.h"
#include "storage/isahead.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "storage/isnumbers.h"
#include "storage/node_layout.h"
#include "tree/ispath.h"
#include "tree/istree.h"

static_assert(ISFREE_INDEX == ISKIND_INDEX && ISFREE_DATA == ISKIND_DATA);

namespace {

constexpr const char *kModule = "ischeck.c";
constexpr int kRootLine = 187;
constexpr int kNoIndex = -1;

// The list's nodes up to the first that is none, or belongs elsewhere.
std::uint32_t soundNodes(IsamFile *h) {
    std::uint8_t *bytes = isScratchNode(h);
    const std::uint32_t inFile = isNodeLimit(h);
    std::uint32_t count = 0, number = h->dataFree.head;
    while (number != 0 && number <= inFile && !isNumbersHas(h, number)) {
        isGetNode(h, bytes, number);
        if (!isListNode(h, bytes)) break;
        isNumbersAdd(h, number);
        ++count;
        number = node::link(bytes);
    }
    return count;
}

void refillFreeList(IsamFile *h) {
    isPathClear(h, ISCLASS_READ);
    isOwnNodes(h);
    const std::uint32_t nodes = soundNodes(h);
    const bool treesWhole = isOwnTrees(h, kNoIndex);
    isFreeSalvage(h, nodes);
    if (treesWhole) isFreeLost(h);
    for (std::uint32_t number = h->dataFree.last; number > 0; --number)
        if (isDelCheck(h, static_cast<long>(number))) isPutFree(h, ISKIND_DATA, number);
}

// Writes a root of that used length: 0 for one that is none, 2 for an empty one.
void putRoot(IsamFile *h, std::uint32_t root, int used) {
    std::uint8_t *bytes = isScratchNode(h);
    std::memset(bytes, 0, static_cast<std::size_t>(h->nodeSize));
    node::setUsed(bytes, used);
    isPutNode(h, bytes, root);
}

// Gives the index's nodes to the free list, the root last. Those that a damaged
// tree has lost are found as nobody's, if that can be told.
void wipe(IsamFile *h, int n) {
    IndexPath *path = h->indexes[n];
    const std::uint32_t root = path->keyDesc.rootNode;
    isPathClear(h, ISCLASS_READ);
    isOwnNodes(h);
    const bool listsWhole = isOwnLists(h), treesWhole = isOwnTrees(h, n);
    const bool rootSound = isUndamaged(h, [h, path] { isPathRoot(h, path); });
    // List nodes may be written from here on. Should the rest fail, the index must
    // not look as if it still had its nodes.
    putRoot(h, root, 0);
    if (rootSound) isOwnTree(h, path, true);
    if (listsWhole && treesWhole) isFreeLost(h);
    isPutFree(h, ISKIND_INDEX, root);
}

// The root keeps its number: it was freed last and is taken first.
void startAnew(IsamFile *h, int n) {
    IndexPath *path = h->indexes[n];
    const std::uint32_t root = isGetFree(h, ISKIND_INDEX);
    if (root != path->keyDesc.rootNode) isBroken(kModule, kRootLine);
    putRoot(h, root, node::kTreeStart);
    isPathClear1(path, ISCLASS_READ);
}

// The position is on a record: among equal keys that has got another serial.
void refindPosition(IsamFile *h, int n) {
    IndexPath *path = isWholePath(h, n);
    if (isUnique(path) || path->positionRecord == 0) return;
    if (isTreeMatch(h, path, path->positionKey) && isTreeSeek(h, path, path->positionKey, path->positionRecord))
        path->positionSerial = path->top->serial;
}

// What is in the tree stays there.
void keepWhatIsWhole(IsamFile *h, int n, int code) {
    if (!isFilledSound(h, code) || !isAttempt(h, [h, n] { isWriteFilled(h, n, true); }))
        isPathClear1(h->indexes[n], ISCLASS_WRITE);
}

// The rebuilds are called past the descriptor, which would have seen to that.
bool isOwned(IsamFile *h) { return !isAdmCheck(h) || !h->inherited || isAdopt(h) != 0; }

}  // namespace

int isRebuildFree(IsamFile *h, int list) {
    if (!isOwned(h)) return 0;
    const int done = isChanging(h, [h, list] {
        if (isPreciousFile(h)) return 1;
        if (!hasData(h) || list != ISFREE_DATA) isFail(h, ISERR_ARGUMENT);
        h->damageFails = true;
        isAheadForget(h);
        refillFreeList(h);
        isEndChange(h);
        return 1;
    });
    if (isAdmCheck(h)) isNumbersFree(h);
    return done;
}

int isRebuildIdx(IsamFile *h, int index) {
    if (!isOwned(h)) return 0;
    const int done = isChanging(h, [h, index] {
        if (!hasData(h) || index < 1 || index > h->keyCount) isFail(h, ISERR_ARGUMENT);
        const int n = index - 1;
        h->damageFails = true;
        isAheadForget(h);
        wipe(h, n);
        startAnew(h, n);
        const bool filled = isAttempt(h, [h, n] {
            isFillIdx(h, n, n, isSlotCount(h), true);
            refindPosition(h, n);
        });
        const int code = h->errcode, io = h->errio;
        if (!filled) keepWhatIsWhole(h, n, code);
        // After a failure, too: who has which node must be true.
        isEndChange(h);
        if (!filled) isFail(h, code, io);
        return 1;
    });
    if (isAdmCheck(h)) isNumbersFree(h);
    return done;
}
