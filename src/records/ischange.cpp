#include "records/ischange.h"

#include "base/isfail.h"
#include "base/ismemory.h"
#include "keys/iskey.h"
#include "lock/islock.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "tree/isgrow.h"
#include "tree/islocate.h"
#include "tree/ispath.h"
#include "tree/istree.h"
#include "tree/iswarm.h"
#include "txn/isaudit.h"

int isImageLength(const IsamFile *h) {
    return hasTails(h) && h->reclen > h->recordLength ? h->reclen : h->recordLength;
}

void isWriteNewNodes(IsamFile *h) {
    isPathWriteNew(h);
    isFreeWriteNew(h);
}

// Nothing can make this index anew. So that whoever is stopped in between loses no
// more than the entry, the header knows new nodes before they are led to, unless
// nodes are given up: those must not be led to any more before it lists them.
void isEndPure(IsamFile *h) {
    isWriteNewNodes(h);
    isFreeWriteTaken(h);
    const bool headFirst = !isFreeDirty(h);
    if (headFirst)
        isHeadWrite(h);
    else
        isHeadCountNodes(h);
    isPathWriteChanged(h);
    if (!headFirst) isEndChange(h);
}

OldImage isOldImage(IsamFile *h) {
    if (!hasTails(h)) return {h->recordBuffer, h->recordLength};
    if (h->oldImage == nullptr) h->oldImage = is_new<char>(static_cast<std::size_t>(h->varlenInfo));
    return {h->oldImage, isVLimage(h, h->oldImage)};
}

void isAuditRecord(IsamFile *h, const char *type, long recnum, const void *fixed, StoredTail tail) {
    isAudHead(h, type, recnum);
    if (hasTails(h) && tail.length == 0) return;
    if (hasTails(h)) isAudVLen(h, h->recordLength + tail.length);
    isAudBody(h, fixed, h->recordLength);
    isAudBody(h, tail.bytes, tail.length);
}

void isNeedData(IsamFile *h) {
    if (!hasData(h)) isFail(h, ISERR_ARGUMENT);
}

void isFetchForChange(IsamFile *h, long recnum) {
    if (recnum <= 0 || static_cast<unsigned long>(recnum) > kMaxNumber) isFail(h, ISERR_NOCURRENT);
    if ((h->state & ISSTATE_LOCKCHECK) != 0 && !isLocked(h, recnum)) isFail(h, ISERR_NOCURRENT);
    if (!isLockTest(h, recnum)) isFail(h, ISERR_LOCKED);
    isGetData(h, recnum);
    if (slot::status(h) != slot::kPresent) isFail(h, ISERR_NOCURRENT);
}

void isInsertKeys(IsamFile *h, const char *record, std::uint32_t number) {
    std::uint8_t key[ISMAXKEYLEN];
    for (int i = 0; i < h->keyCount; ++i) {
        if (isMasked(h, h->mask, i)) continue;
        IndexPath *path = isWholePath(h, i);
        isKeyMake(path, key, record);
        if (!isKeyNull(path, key)) isTreeInsert(h, path, key, number);
    }
}

void isWarmKeys(const IsamFile *h, const char *record, WarmStep step) {
    for (int i = 0; i < h->keyCount; ++i)
        isRecordWarm(h->indexes[i], record, step);
}

IndexPath *isWholePath(IsamFile *h, int i) {
    IndexPath *path = h->indexes[i];
    path->searchLength = keyLength(path);
    return path;
}

bool isMasked(const IsamFile *h, std::uint32_t mask, int i) {
    return hasMasks(h) && (mask >> (i % kMaskBits) & 1U) != 0;
}

long isFindPrimary(IsamFile *h, const char *record) {
    if (h->keyCount == 0 || (h->indexes[0]->keyDesc.flags & ISDUPS) != 0) isFail(h, ISERR_NOPRIMARYKEY);
    IndexPath *path = isWholePath(h, 0);
    std::uint8_t key[ISMAXKEYLEN];
    isKeyMake(path, key, record);
    if (!isFind(h, path, key, ISEQUAL)) isFail(h, ISERR_NOTFOUND);
    return static_cast<long>(path->top->pointer);
}

std::uint32_t isGivenNumber(IsamFile *h) {
    if (h->recnum < 0 || static_cast<unsigned long>(h->recnum) > kMaxNumber) isFail(h, ISERR_ARGUMENT);
    return static_cast<std::uint32_t>(h->recnum);
}

IndexPath *isNeedEntry(IsamFile *h) {
    if (h->keyCount == 0) isFail(h, ISERR_NOCURRENT);
    IndexPath *path = isWholePath(h, 0);
    if (!isTreeCurr(h, path) || !isKeyMatch(path, path->positionKey, nullptr)) isFail(h, ISERR_NOCURRENT);
    return path;
}
