#include "maint/iscopy.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "keys/iskey.h"
#include "keys/isnodepool.h"
#include "records/isaddidx.h"
#include "records/isbuild.h"
#include "records/ischange.h"
#include "storage/header_layout.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isnumbers.h"
#include "storage/issquash.h"
#include "storage/isvarlen.h"
#include "tree/isgrow.h"
#include "tree/ispath.h"
#include "tree/isscan.h"

namespace {

// Parts begin at 0..32767.
constexpr int kMostKeyRecord = 32768 + ISMAXKEYLEN;
constexpr int kWaitingRoom = 64 * 1024;  // bytes of slots written in one piece

struct Copying {
    IsamFile *to, *from;
    bool apart;                                      // nobody knows the destination yet
    int waiting;                                     // slots that are not written yet, see collect
    int index;                                       // of the order, from's keyCount: by record number
    bool locked;                                     // the destination is locked and fresh
    bool begun;                                      // at least one record has been copied
    std::int64_t indexSize, dataSize;                // of the destination before the copy
    std::uint8_t heads[4 * header::kHashHeadCount];  // as in its header copy after the last record
};

std::uint8_t *headsIn(IsamFile *h) { return h->header + header::kHashHeadsOffset; }

// The destination's header copy becomes that of a file with all records so far.
void settleRecord(Copying *c) {
    isHeadStore(c->to);
    std::memcpy(c->heads, headsIn(c->to), sizeof c->heads);
    c->begun = true;
}

// Cuts off what is behind the header's highest number, but nothing that was there
// before the copy.
void cutBack(IsamFile *h, int kind, std::int64_t before, std::int64_t counted) {
    const std::int64_t keep = std::max(before, counted);
    if (is_size(h, kind) > keep) is_truncate(h, kind, keep);
}

// Forgets the record that could not be copied, and makes those before it count.
void settleFailure(Copying *c) {
    IsamFile *h = c->to;
    isAttempt(h, [h, c] {
        if (c->begun) {
            isPathClear(h, ISCLASS_WRITE);
            isFreeClear(h, ISCLASS_READ);
            std::memcpy(headsIn(h), c->heads, sizeof c->heads);
            h->hashStale = 1;
            isHeadTake(h);
            isHeadWrite(h);
        }
        cutBack(h, ISKIND_INDEX, c->indexSize, std::int64_t{isHeadLastNode(h)} * h->nodeSize);
        if (hasData(h)) cutBack(h, ISKIND_DATA, c->dataSize, std::int64_t{isHeadLastRecord(h)} * h->bufferLength);
    });
}

// Everything that makes the files longer is written first: what the system
// refuses leaves no trace.
void addRecord(Copying *c, const char *record) {
    IsamFile *h = c->to;
    h->mask = hasMasks(h) && hasMasks(c->from) ? slot::mask(c->from) : 0;
    const std::uint32_t number = isGetFree(h, ISKIND_DATA);
    isInsertKeys(h, record, number);
    if (hasTails(h)) {
        h->reclen = c->from->reclen;
        isVLforget(h);
        isVLcode(h, record);
        isVLplace(h);
        isVLwrite(h);
    }
    isWriteNewNodes(h);
    isPutData(h, record, static_cast<long>(number));
    isHeadCountNodes(h);
    isFreeWriteTaken(h);
    if (hasTails(h)) isVLput(h);
    isPathWrite(h, h->keyCount);
    isFreeWrite(h);
    settleRecord(c);
}

void writeWaiting(Copying *c) {
    IsamFile *h = c->to;
    if (c->waiting == 0) return;
    const int count = c->waiting;
    c->waiting = 0;
    isPutSlots(h, isDbuffer(h, kWaitingRoom), count, static_cast<long>(h->dataFree.last) - count + 1);
}

void writeCollected(Copying *c) {
    for (int i = c->to->keyCount - 1; i >= 0; --i)
        isWriteFilled(c->to, i, true);
    writeWaiting(c);
}

// A file that goes when the copy fails need not be whole in between: slots are written
// many at a time, nodes when there is no more room for them in memory.
void collect(Copying *c, const char *record) {
    IsamFile *h = c->to;
    h->mask = hasMasks(h) && hasMasks(c->from) ? slot::mask(c->from) : 0;
    if ((c->waiting + 1) * h->bufferLength > kWaitingRoom) writeWaiting(c);
    isInsertKeys(h, record, isGetFree(h, ISKIND_DATA));
    isMakeSlot(h, record, isDbuffer(h, kWaitingRoom) + static_cast<std::ptrdiff_t>(c->waiting++) * h->bufferLength);
    if (isPoolFull()) writeCollected(c);
}

// Copies the record in the source's slot buffer.
void copySlot(Copying *c) {
    IsamFile *h = c->from;
    if (!hasTails(h)) {
        (c->apart ? collect : addRecord)(c, reinterpret_cast<const char *>(h->recordBuffer));
        return;
    }
    if (h->oldImage == nullptr) h->oldImage = is_new<char>(static_cast<std::size_t>(h->varlenInfo));
    std::memcpy(h->oldImage, h->recordBuffer, static_cast<std::size_t>(h->recordLength));
    isVLread(h, h->oldImage);
    addRecord(c, h->oldImage);
}

// A record is copied once, whatever the index says.
void copyEntry(Copying *c, std::uint32_t number) {
    if (!isNumbersAdd(c->from, number)) isFail(c->from, ISERR_CORRUPT);
    isGetData(c->from, static_cast<long>(number));
    if (slot::status(c->from) == slot::kDeleted) isFail(c->from, ISERR_CORRUPT);
    copySlot(c);
}

// May the index leave out records? With masks there is no telling which: dropping
// an index moves the others' bits.
bool isPartial(const Copying *c) { return hasMasks(c->from) || skipsNulls(c->from->indexes[c->index]); }

// Does it leave out the record in the source's slot buffer?
bool isLeftOut(const Copying *c) {
    std::uint8_t key[ISMAXKEYLEN];
    const IndexPath *path = c->from->indexes[c->index];
    isKeyMake(path, key, c->from->recordBuffer);
    return hasMasks(c->from) || isKeyNull(path, key);
}

void copyByIndex(Copying *c) {
    IsamFile *h = c->from;
    isNumbersMake(h, isSlotCount(h));
    TreeScan scan;
    IndexPath *path = isTwinPath(h, c->index);
    for (bool more = isScanFirst(h, &scan, path); more; more = isScanNext(h, &scan))
        copyEntry(c, path->top->pointer);
    // Where the index has them all, the file may end before the highest number.
    const std::uint32_t last = isPartial(c) ? h->dataFree.last : h->numbersLast;
    for (std::uint32_t number = 1; number <= last; ++number) {
        if (isNumbersHas(h, number)) continue;
        isGetData(h, static_cast<long>(number));
        if (slot::status(h) == slot::kDeleted) continue;
        if (isLeftOut(c))
            copySlot(c);
        else if (slot::status(h) == slot::kPresent)
            isFail(h, ISERR_CORRUPT);
    }
}

void copyByNumber(Copying *c) {
    for (std::uint32_t number = 1; number <= c->from->dataFree.last; ++number) {
        isGetData(c->from, static_cast<long>(number));
        if (slot::status(c->from) != slot::kDeleted) copySlot(c);
    }
}

// A record that has nothing but the key.
const std::uint8_t *recordOf(IsamFile *h, const IndexPath *path, const std::uint8_t *key) {
    std::uint8_t *record = isDbuffer(h, kMostKeyRecord);
    std::memset(record, 0, kMostKeyRecord);
    isKeyLoad(path, record, key);
    return record;
}

// An index of the same parts takes the key as it is. Null keys count in files
// without records.
void addKey(Copying *c, const std::uint8_t *stored, std::uint32_t number) {
    IsamFile *to = c->to;
    const IndexPath *path = c->from->indexes[c->index];
    const int same = isFindIndex(to, &path->keyDesc);
    std::uint8_t key[ISMAXKEYLEN];
    for (int i = 0; i < to->keyCount; ++i) {
        IndexPath *other = isWholePath(to, i);
        if (i == same)
            std::memcpy(key, stored, static_cast<std::size_t>(keyLength(path)));
        else
            isKeyMake(other, key, recordOf(c->from, path, stored));
        isTreeInsert(to, other, key, number);
    }
    isWriteNewNodes(to);
    isHeadCountNodes(to);
    isFreeWriteTaken(to);
    isPathWrite(to, to->keyCount);
    isFreeWrite(to);
    settleRecord(c);
}

// In files without records, keys are copied with the numbers that they have.
void copyKeys(Copying *c) {
    TreeScan scan;
    IndexPath *path = isTwinPath(c->from, c->index);
    for (bool more = isScanFirst(c->from, &scan, path); more; more = isScanNext(c->from, &scan))
        addKey(c, path->top->key, path->top->pointer);
}

void copyAll(Copying *c, const KeyDesc *key) {
    IsamFile *from = c->from;
    from->damageFails = true;
    c->index = key != nullptr ? isFindIndex(from, key) : from->currentIndex;
    if (c->index < 0) isFail(from, ISERR_KEYDESC);
    if (c->index < from->keyCount) {
        if (hasData(from))
            copyByIndex(c);
        else
            copyKeys(c);
    } else if (hasData(from)) {
        copyByNumber(c);
    }
    if (c->apart) {
        writeCollected(c);
        isFreeWrite(c->to);
    }
    isHeadWrite(c->to);
}

// The body under the source's recovery point. Two copies in opposite directions
// must not wait for each other: both take the locks in the files' own order.
int readAndCopy(Copying *c, const KeyDesc *key) {
    const bool sourceFirst = c->from->indexFile < c->to->indexFile;
    if (sourceFirst) isLockRead(c->from);
    isLockWrite(c->to);
    if (!sourceFirst) isLockRead(c->from);
    isDelta(c->from);
    isDelta(c->to);
    c->indexSize = is_size(c->to, ISKIND_INDEX);
    if (hasData(c->to)) c->dataSize = is_size(c->to, ISKIND_DATA);
    c->locked = true;
    copyAll(c, key);
    isDropLock(c->from);
    return 1;
}

void copyLocked(Copying *c, const KeyDesc *key) {
    IsamFile *to = c->to, *from = c->from;
    if (to->indexFile == from->indexFile || to->recordLength != from->recordLength ||
        to->varlenInfo != from->varlenInfo)
        isFail(to, ISERR_ARGUMENT);
    from->errio = 0;  // a refusal leaves it as it is
    const bool copied = isAttempt(to, [=] {
        if (!isOperation(from, ISCLASS_READ, [=] { return readAndCopy(c, key); }))
            isFail(to, from->errcode, from->errio);
    });
    if (copied) return;
    const int code = to->errcode, io = to->errio;
    // A failure of the destination has left the source as it was.
    isOperation(from, ISCLASS_OPEN, [from] {
        isDropLock(from);
        return 1;
    });
    if (c->locked) settleFailure(c);
    isFail(to, code, io);
}

}  // namespace

IsamFile *isClone(IsamFile *h, const char *name) {
    IsamFile *made = nullptr;
    isOperation(h, ISCLASS_ANY, [h, name, &made] {
        if (name == nullptr) isFail(h, ISERR_ARGUMENT);
        made = isBuildLike(h, name);
        if (made == nullptr) isFail(h, errno, iserrio);
        return 1;
    });
    return made;
}

int isCopy(IsamFile *to, IsamFile *from, const KeyDesc *key, bool apart) {
    const std::uint32_t mask = to->mask;
    const int toLength = to->reclen, fromLength = from->reclen;
    Copying copying = {to, from, apart, 0, 0, false, false, 0, 0, {}};
    const int done = isOperation(to, ISCLASS_WRITE, [&copying, to, key] {
        copyLocked(&copying, key);
        isDropLock(to);
        return 1;
    });
    isNumbersFree(from);
    isFreeTwin(from);
    to->mask = mask;
    to->reclen = toLength;
    from->reclen = fromLength;
    return done;
}
