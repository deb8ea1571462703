// Deleting records.

#include "base/isfail.h"
#include "frame/isentry.h"
#include "keys/iskey.h"
#include "records/ischange.h"
#include "records/iswrite.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isvarlen.h"
#include "tree/islocate.h"
#include "tree/ispath.h"
#include "tree/isprune.h"
#include "tree/iswarm.h"
#include "txn/isaudit.h"
#include "txn/islog.h"

namespace {

void deleteKeys(IsamFile *h, long recnum) {
    const std::uint32_t mask = hasMasks(h) ? slot::mask(h) : 0;
    std::uint8_t key[ISMAXKEYLEN];
    for (int i = 0; i < h->keyCount; ++i) {
        if (isMasked(h, mask, i)) continue;
        IndexPath *path = isWholePath(h, i);
        isKeyMake(path, key, h->recordBuffer);
        if (!isKeyNull(path, key)) isTreeDelete(h, path, key, static_cast<std::uint32_t>(recnum));
    }
}

void remove(IsamFile *h, long recnum) {
    isFetchForChange(h, recnum);
    const StoredTail tail = hasTails(h) ? isVLfetch(h) : StoredTail{};
    const bool logged = isLGtest(h);
    const OldImage before = logged ? isOldImage(h) : OldImage{};
    if (logged) isLGfits(h, logtype::kDelete, before.length);
    isAudInit(h);
    deleteKeys(h, recnum);
    isAuditRecord(h, audit::kDeleted, recnum, h->recordBuffer, tail);
    if (hasTails(h)) isVLdel(h);
    isPutFree(h, ISKIND_DATA, static_cast<std::uint32_t>(recnum));
    if (logged) isNeedLogged(h, isLGdata(logtype::kDelete, h, recnum, before.bytes, before.length));
    isAudDone(h);

    // The record goes before what it points to; it comes back where the lists get no
    // room.
    isDelData(h, recnum);
    if (!isAttempt(h, [h] { isWriteNewNodes(h); })) {
        const int code = h->errcode, io = h->errio;
        isUndelData(h, recnum);
        isFail(h, code, io);
    }
    isHeadCountNodes(h);
    isFreeWriteTaken(h);
    if (hasTails(h)) isVLput(h);
    isDropData(h, recnum);
    isPathWrite(h, h->keyCount);
    isEndChange(h);
}

// Deletes the entry that the first index stands on.
void delpure(IsamFile *h) {
    isTreeDelete(h, h->indexes[0], nullptr, 0);
    isEndPure(h);
}

}  // namespace

int isDelete(IsamFile *h, const char *record) {
    return isChanging(
        h,
        [h, record] {
            if (record == nullptr) isFail(h, ISERR_ARGUMENT);
            const long recnum = isFindPrimary(h, record);
            if (hasData(h))
                remove(h, recnum);
            else
                delpure(h);
            return 1;
        },
        [=](WarmStep step) {
            // The record need hold no more than the first key.
            if (h->keyCount > 0) isRecordWarm(h->indexes[0], record, step);
        });
}

int isDelCurr(IsamFile *h) {
    return isChanging(h, [h] {
        if ((h->state & ISSTATE_NOCURR) != 0) isFail(h, ISERR_NOCURRENT);
        if (hasData(h)) {
            remove(h, static_cast<long>(isCurrent(h)));
        } else {
            isNeedEntry(h);
            delpure(h);
        }
        return 1;
    });
}

int isDelRec(IsamFile *h, long recnum) {
    return isChanging(h, [h, recnum] {
        isNeedData(h);
        remove(h, recnum);
        return 1;
    });
}
