#include "records/isaddidx.h"

#include <algorithm>
#include <cstring>

#include "base/isfail.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "keys/iskey.h"
#include "keys/isnodepool.h"
#include "records/ischange.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "tree/isgrow.h"
#include "tree/ispath.h"
#include "tree/isruns.h"
#include "tree/iswarm.h"
#include "txn/islog.h"

namespace {

// The exclusive open lock for the time of this operation.
void excludeOthers(IsamFile *h) {
    if ((h->mode & ISLOCKEXCL) != 0) return;
    if (isAdmShared(h)) isFail(h, ISERR_FILEINUSE);
    isLockExcl(h);
    h->exclHeld = true;
}

void readmitOthers(IsamFile *h) {
    h->changeLogged = false;  // the change stays, whatever becomes of the locks
    isDropLock(h);
    if (!h->exclHeld) return;
    h->exclHeld = false;
    isDropExcl(h);
}

void checkAdd(IsamFile *h, const KeyDesc *key) {
    if (key == nullptr) isFail(h, ISERR_KEYDESC);
    if (key->nparts == 0) isFail(h, ISERR_PRIMARYKEY);
    if (!hasData(h)) isFail(h, ISERR_ARGUMENT);
    if (h->keyCount >= ISMAXINDEXES) isFail(h, ISERR_KEYDESC);
    if (!hasMasks(h) && isFindIndex(h, key) >= 0) isFail(h, ISERR_INDEXEXISTS);
    if (!isTestIndex(h, key) || !isNodeHolds(h, key)) isFail(h, ISERR_KEYDESC);
}

// Gives the new index's nodes to the free list. After a duplicate the tree is
// sound and is wiped like any other. After anything else it may be torn, and
// what it took is known otherwise: the nodes noted when they left the free
// list, and all that the file has grown by since its highest node was lastNode.
void releaseNodes(IsamFile *h, int index, std::uint32_t lastNode, bool sound) {
    if (sound) {
        isWipeIdx(h, index);
        if (h->takenDesc != 0) isPutFree(h, ISKIND_INDEX, h->takenDesc);
        return;
    }
    const std::int64_t nodes = is_size(h, ISKIND_INDEX) / h->nodeSize;
    h->indexFree.last = std::clamp(static_cast<std::uint32_t>(nodes), lastNode, h->indexFree.last);
    while (h->takenCount > 0)
        isPutFree(h, ISKIND_INDEX, h->takenNodes[--h->takenCount]);
    for (std::uint32_t n = lastNode + 1; n <= h->indexFree.last; ++n)
        isPutFree(h, ISKIND_INDEX, n);
}

void forgetIndex(IsamFile *h, int index) {
    isPathClear1(h->indexes[index], ISCLASS_READ);
    isFreeIndex(h, index);
    isHeadKdsc(h);
}

// Undoes an add that failed part-way. The description, if it was written at all,
// goes first: without it the file is whole, whatever else is left. Should even
// this fail, at least the handle forgets the index.
void takeBack(IsamFile *h, int index, std::uint32_t lastNode, bool sound) {
    const bool entered = h->keyCount > index;
    isAttempt(h, [=] {
        if (h->descEntered) {
            isDropIndex(h, index);
            if (h->takenDesc != 0) isUnlinkDesc(h, h->takenDesc);
        }
        // A sound tree is wiped like any other, from the file.
        if (entered && sound)
            isWriteFilled(h, index, false);
        else if (entered)
            isPathClear1(h->indexes[index], ISCLASS_WRITE);
        releaseNodes(h, index, lastNode, entered && sound);
        if (entered) forgetIndex(h, index);
        isEndChange(h);
    });
    if (h->keyCount > index) forgetIndex(h, index);
}

// Keys on their way into the index. While they wait, the nodes that they belong into
// come near.
struct Waiting {
    static constexpr std::uint32_t kMost = 8;
    std::uint8_t keys[kMost][ISMAXKEYLEN];
    std::uint32_t numbers[kMost];
    NodeHint hints[kMost][kHintLevels];
    std::uint32_t first, count;
};

// The key of a record, if the index is to have it.
bool makeKey(IsamFile *h, const IndexPath *path, int maskBit, std::uint32_t number, std::uint8_t *key) {
    isGetData(h, static_cast<long>(number));
    if (slot::status(h) != slot::kPresent) return false;
    if (hasMasks(h) && isMasked(h, slot::mask(h), maskBit)) return false;
    isKeyMake(path, key, h->recordBuffer);
    return !isKeyNull(path, key);
}

}  // namespace

void isFillIdx(IsamFile *h, int n, int maskBit, std::uint32_t last, bool entered) {
    IndexPath *path = isWholePath(h, n);
    Waiting waiting;
    waiting.first = waiting.count = 0;
    h->filling = 0;
    for (std::uint32_t number = 1; number <= last || waiting.count > 0;) {
        if (number <= last && waiting.count < Waiting::kMost) {
            const std::uint32_t i = (waiting.first + waiting.count) % Waiting::kMost;
            if (makeKey(h, path, maskBit, number, waiting.keys[i])) {
                isTreeWarm(path, waiting.keys[i]);
                std::memcpy(waiting.hints[i], path->hints, sizeof path->hints);
                waiting.numbers[i] = number;
                ++waiting.count;
            }
            ++number;
            continue;
        }
        h->filling = waiting.numbers[waiting.first];
        std::memcpy(path->hints, waiting.hints[waiting.first], sizeof path->hints);
        isTreeInsert(h, path, waiting.keys[waiting.first], h->filling);
        h->filling = 0;
        waiting.first = (waiting.first + 1) % Waiting::kMost;
        --waiting.count;
        if (isPoolFull()) isWriteFilled(h, n, entered);
    }
    isWriteFilled(h, n, entered);
}

bool isFilledSound(IsamFile *h, int code) {
    const std::uint32_t number = h->filling;
    if (number == 0) return true;
    h->filling = 0;
    // Others were read since: the slot buffer is that of the record that failed.
    isAttempt(h, [h, number] { isGetData(h, static_cast<long>(number)); });
    return code == ISERR_DUPLICATE;
}

void isWriteFilled(IsamFile *h, int n, bool entered) {
    isRunsWrite(h, h->indexes[n]);
    if (entered) {
        isWriteNewNodes(h);
        isHeadCountNodes(h);
    }
    isPathWrite(h, n);
}

int isAddIndex(IsamFile *h, const KeyDesc *key) {
    return isOperation(h, ISCLASS_WRITE, [h, key] {
        checkAdd(h, key);
        excludeOthers(h);
        isLockWrite(h);
        isDelta(h);

        const int index = h->keyCount;
        const std::uint32_t lastNode = h->indexFree.last;
        h->takenCount = h->takenDesc = 0;
        h->descEntered = false;
        h->noteTaken = true;
        const bool added = isAttempt(h, [h, key, index] {
            const DescPlace place = isReserveIndex(h, key);
            h->takenDesc = place.added;
            // One bit below the one that writes use.
            isFillIdx(h, index, index + kMaskBits - 1, h->dataFree.last, false);
            isFreeWrite(h);
            // The description must not name a node that the header does not know.
            if (place.last != 0) isHeadWrite(h);
            isEnterIndex(h, key, place);
            h->descEntered = true;
            if (place.last == 0) isHeadWrite(h);
        });
        h->noteTaken = false;
        if (!added) {
            const int code = h->errcode, io = h->errio;
            takeBack(h, index, lastNode, isFilledSound(h, code) && code == ISERR_DUPLICATE);
            isFail(h, code, io);
        }
        // While nobody else can write: the log keeps the order of the changes.
        if (isLGtest(h)) isNeedLogged(h, isLGindex(logtype::kCreateIndex, h, key));
        readmitOthers(h);
        return 1;
    });
}

int isDelIndex(IsamFile *h, const KeyDesc *key) {
    return isOperation(h, ISCLASS_WRITE, [h, key] {
        if (key == nullptr) isFail(h, ISERR_KEYDESC);
        const int least = (h->state & ISSTATE_NOPRIMARY) != 0 ? 0 : 1;
        if (h->keyCount <= least) isFail(h, ISERR_PRIMARYKEY);
        const int n = isFindIndex(h, key);
        if (n < 0 || n >= h->keyCount) isFail(h, ISERR_KEYDESC);
        excludeOthers(h);
        isLockWrite(h);
        isDelta(h);

        isSurveyIdx(h, n);
        isFreeLoad(h);
        // The wipe writes list nodes over the tree, so the catalogue lets go of
        // it first. Should the rest fail, the index is gone all the same.
        isDropIndex(h, n);
        const bool wiped = isAttempt(h, [h, n] { isWipeIdx(h, n); });
        const int code = h->errcode, io = h->errio;
        isPathClear1(h->indexes[n], ISCLASS_READ);
        isFreeIndex(h, n);
        if (h->currentIndex == h->keyCount && h->keyCount > 0) --h->currentIndex;
        if (!wiped) isFail(h, code, io);
        isEndChange(h);
        if (isLGtest(h)) isNeedLogged(h, isLGindex(logtype::kDropIndex, h, key));
        readmitOthers(h);
        return 1;
    });
}
