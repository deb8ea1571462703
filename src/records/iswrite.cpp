// Adding records.

#include "records/iswrite.h"

#include <cerrno>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "keys/iskey.h"
#include "records/ischange.h"
#include "records/isread.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isvarlen.h"
#include "tree/isgrow.h"
#include "tree/ispath.h"
#include "txn/isaudit.h"
#include "txn/islog.h"

namespace {

void insertKeys(IsamFile *h, const char *record, std::uint32_t number) {
    std::uint8_t key[ISMAXKEYLEN];
    for (int i = 0; i < h->keyCount; ++i) {
        if (isMasked(h, h->mask, i)) continue;
        IndexPath *path = isWholePath(h, i);
        isKeyMake(path, key, record);
        if (!isKeyNull(path, key)) isTreeInsert(h, path, key, number);
    }
}

void insert(IsamFile *h, const char *record) {
    const std::uint32_t number = isGetFree(h, ISKIND_DATA);
    const long recnum = static_cast<long>(number);
    h->newRecord = recnum;
    // Before anything changes, and without waiting: nobody may wait for a record
    // with the phase lock in hand.
    if ((h->state & ISSTATE_LOCKNEW) != 0 && !isLockData(h, recnum, false)) isFail(h, ISERR_LOCKED);
    insertKeys(h, record, number);

    isAudInit(h);
    isAudHead(h, audit::kAdded, recnum);
    if (hasTails(h))
        isVLwrite(h, record);
    else
        isAudBody(h, record, h->recordLength);
    isAudDone(h);

    isPutData(h, record, recnum);
    isPathWrite(h, h->keyCount);
    isFreeWrite(h);
    isHeadWrite(h);
    if (isLGtest(h)) isLGdata(logtype::kInsert, h, recnum, record);
    h->recnum = recnum;
}

// The key goes with the record number that the caller gave.
void inspure(IsamFile *h, const char *record) {
    if (h->keyCount == 0) isFail(h, ISERR_NOPRIMARYKEY);
    IndexPath *path = isWholePath(h, 0);
    std::uint8_t key[ISMAXKEYLEN];
    isKeyMake(path, key, record);
    isTreeInsert(h, path, key, isGivenNumber(h));
    isPathWrite(h, 0);
    isFreeWrite(h);
    isHeadWrite(h);
}

// A record that was not written after all does not stay locked. The error is
// that of the write.
void unlockUnwritten(IsamFile *h) {
    const int code = h->errcode, io = h->errio;
    isOperation(h, ISCLASS_OPEN, [h] {
        isDropData(h, h->newRecord);
        return 1;
    });
    h->errcode = errno = code;
    h->errio = io;
}

int add(IsamFile *h, const char *record, bool needData, bool lockIt) {
    h->newRecord = 0;
    const int added = isChanging(h, [=] {
        if (record == nullptr) isFail(h, ISERR_ARGUMENT);
        if (needData) isNeedData(h);
        if (lockIt) h->state |= ISSTATE_LOCKNEW;
        if (hasData(h))
            insert(h, record);
        else
            inspure(h, record);
        return 1;
    });
    h->state &= static_cast<std::uint16_t>(~ISSTATE_LOCKNEW);
    if (!added && h->newRecord != 0) unlockUnwritten(h);
    return added;
}

}  // namespace

int isWrite(IsamFile *h, const char *record) { return add(h, record, false, false); }

int isWrLock(IsamFile *h, const char *record) { return add(h, record, true, true); }

int isWrCurr(IsamFile *h, const char *record) { return add(h, record, true, false) ? isGoto(h, h->recnum) : 0; }
