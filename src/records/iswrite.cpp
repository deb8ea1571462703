// Adding records.

#include "records/iswrite.h"

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

// What can be refused is refused before anything changes.
void foresee(IsamFile *h, long recnum) {
    if (hasTails(h)) {
        isVLfits(h);
        isVLforget(h);
    }
    const bool logged = isLGtest(h);
    if (logged) isLGfits(h, logtype::kInsert, isImageLength(h));
    if ((h->state & ISSTATE_LOCKNEW) != 0) isLockNew(h, recnum);
    if (logged) isLGlock(h, recnum);
}

void insert(IsamFile *h, const char *record) {
    const std::uint32_t number = isGetFree(h, ISKIND_DATA);
    const long recnum = static_cast<long>(number);
    isInsertKeys(h, record, number);
    foresee(h, recnum);

    const StoredTail tail = hasTails(h) ? isVLcode(h, record) : StoredTail{};
    if (hasTails(h)) isVLplace(h);
    isAudInit(h);
    isAuditRecord(h, audit::kAdded, recnum, record, tail);
    isAudDone(h);

    const bool longer = number > isHeadLastRecord(h);
    if (hasTails(h)) isVLwrite(h);
    isWriteNewNodes(h);
    if (longer) isPutData(h, record, recnum);
    isHeadCountNodes(h);
    isFreeWriteTaken(h);
    if (hasTails(h)) isVLput(h);
    if (!longer) isPutData(h, record, recnum);
    isPathWrite(h, h->keyCount);
    isEndChange(h);
    if (isLGtest(h)) isNeedLogged(h, isLGdata(logtype::kInsert, h, recnum, record, isImageLength(h)));
    h->recnum = recnum;
}

// The key goes with the record number that the caller gave.
void inspure(IsamFile *h, const char *record) {
    if (h->keyCount == 0) isFail(h, ISERR_NOPRIMARYKEY);
    IndexPath *path = isWholePath(h, 0);
    std::uint8_t key[ISMAXKEYLEN];
    isKeyMake(path, key, record);
    isTreeInsert(h, path, key, isGivenNumber(h));
    isEndPure(h);
}

int add(IsamFile *h, const char *record, bool needData, bool lockIt) {
    const int added = isChanging(
        h,
        [=] {
            if (record == nullptr) isFail(h, ISERR_ARGUMENT);
            if (needData) isNeedData(h);
            if (lockIt) h->state |= ISSTATE_LOCKNEW;
            if (hasData(h))
                insert(h, record);
            else
                inspure(h, record);
            return 1;
        },
        [=](WarmStep step) { isWarmKeys(h, record, step); });
    h->state &= static_cast<std::uint16_t>(~ISSTATE_LOCKNEW);
    return added;
}

}  // namespace

int isWrite(IsamFile *h, const char *record) { return add(h, record, false, false); }

int isWrLock(IsamFile *h, const char *record) { return add(h, record, true, true); }

int isWrCurr(IsamFile *h, const char *record) { return add(h, record, true, false) ? isGoto(h, h->recnum) : 0; }
