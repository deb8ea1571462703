// Replacing records.

#include <cerrno>
#include <cstring>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "keys/iskey.h"
#include "records/ischange.h"
#include "records/iswrite.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isvarlen.h"
#include "tree/isgrow.h"
#include "tree/islocate.h"
#include "tree/ispath.h"
#include "tree/isprune.h"
#include "tree/istree.h"
#include "txn/isaudit.h"
#include "txn/islog.h"

namespace {

// What a rewrite does to one index.
struct KeyChange {
    bool removes, inserts;
    std::uint8_t before[ISMAXKEYLEN], after[ISMAXKEYLEN];
};

void planChange(IsamFile *h, IndexPath *path, int i, const char *record, KeyChange &change) {
    isKeyMake(path, change.after, record);
    isKeyMake(path, change.before, h->recordBuffer);
    bool changed = !isKeyMatch(path, change.after, change.before);
    const std::uint32_t oldMask = hasMasks(h) ? slot::mask(h) : 0;
    const bool newPresent = !isMasked(h, h->mask, i) && !isKeyNull(path, change.after);
    const bool oldPresent = !isMasked(h, oldMask, i) && !isKeyNull(path, change.before);
    if (oldPresent != newPresent) changed = true;
    change.removes = changed && oldPresent;
    change.inserts = changed && newPresent;
}

// 100 if a unique index holds the new key already. The path stands nowhere afterwards:
// the record whose key was found could have the number of the one at the position.
void needUnused(IsamFile *h, IndexPath *path, const KeyChange &change) {
    const bool used = isTreeMatch(h, path, change.after) && isKeyMatch(path, change.after, nullptr);
    path->top->position = 0;
    if (used) isFail(h, ISERR_DUPLICATE);
}

// Everything that can be seen to fail beforehand fails here, before the first
// index is written. Returns the old tail.
StoredTail foresee(IsamFile *h, const char *record) {
    KeyChange change;
    for (int i = 0; i < h->keyCount; ++i) {
        IndexPath *path = isWholePath(h, i);
        if (!isUnique(path)) continue;
        planChange(h, path, i, record, change);
        if (change.inserts) needUnused(h, path, change);
    }
    StoredTail tail = {};
    if (hasTails(h)) {
        isVLfits(h);
        tail = isVLfetch(h);
    }
    return tail;
}

void logRewrite(IsamFile *h, long recnum, OldImage before, const char *record) {
    isLGlock(h, recnum);
    isNeedLogged(h, isLGupdate(logtype::kUpdate, h, recnum, before.bytes, before.length, record, isImageLength(h)));
}

void rewriteKeys(IsamFile *h, long recnum, const char *record) {
    KeyChange change;
    for (int i = 0; i < h->keyCount; ++i) {
        IndexPath *path = isWholePath(h, i);
        planChange(h, path, i, record, change);
        if (!change.removes && !change.inserts) continue;
        const auto number = static_cast<std::uint32_t>(recnum);
        if (change.removes) isTreeDelete(h, path, change.before, number);
        if (change.inserts) isTreeInsert(h, path, change.after, number);
    }
}

// Log and trail are written when all that can fail without the system is done, but
// before the files: where one of them refuses, they are as before.
void rewrite(IsamFile *h, long recnum, const char *record) {
    isFetchForChange(h, recnum);
    const StoredTail oldTail = foresee(h, record);
    const bool logged = isLGtest(h);
    const OldImage before = logged ? isOldImage(h) : OldImage{};
    if (logged) isLGfits(h, logtype::kUpdate, before.length + isImageLength(h));
    isAudInit(h);
    isAuditRecord(h, audit::kBefore, recnum, h->recordBuffer, oldTail);
    rewriteKeys(h, recnum, record);
    StoredTail tail = {};
    if (hasTails(h)) {
        tail = isVLcode(h, record);
        isVLdel(h);
        isVLplace(h);
    }
    if (logged) logRewrite(h, recnum, before, record);
    isAuditRecord(h, audit::kAfter, recnum, record, tail);
    isAudDone(h);

    if (hasTails(h)) isVLwrite(h);
    isWriteNewNodes(h);
    isHeadCountNodes(h);
    isFreeWriteTaken(h);
    isPathWriteChanged(h);
    if (hasTails(h)) isVLput(h);
    isPutData(h, record, recnum);
    isEndChange(h);
    h->recnum = recnum;
}

// The first index's entry at the position becomes the new key with the record
// number that the caller gave.
void rewpure(IsamFile *h, const char *record) {
    IndexPath *path = isNeedEntry(h);
    std::uint8_t key[ISMAXKEYLEN];
    isKeyMake(path, key, record);
    const std::uint32_t number = isGivenNumber(h);
    if (!isKeyMatch(path, key, nullptr) || number != path->positionRecord) {
        isTreeDelete(h, path, nullptr, 0);
        isTreeInsert(h, path, key, number);
    }
    isEndPure(h);
}

void needRecord(IsamFile *h, const char *record) {
    if (record == nullptr) isFail(h, ISERR_ARGUMENT);
}

}  // namespace

int isRewrite(IsamFile *h, const char *record) {
    return isChanging(
        h,
        [h, record] {
            needRecord(h, record);
            isNeedData(h);
            rewrite(h, isFindPrimary(h, record), record);
            return 1;
        },
        [=](WarmStep step) { isWarmKeys(h, record, step); });
}

int isRewCurr(IsamFile *h, const char *record) {
    return isChanging(h, [h, record] {
        needRecord(h, record);
        if (hasData(h))
            rewrite(h, static_cast<long>(isCurrent(h)), record);
        else
            rewpure(h, record);
        return 1;
    });
}

int isRewRec(IsamFile *h, long recnum, const char *record) {
    return isChanging(h, [h, recnum, record] {
        needRecord(h, record);
        isNeedData(h);
        rewrite(h, recnum, record);
        return 1;
    });
}

int isRewNxt(IsamFile *h, const char *record) {
    // Both accesses are needed before anything moves.
    if (!isEntry(h, ISCLASS_WRITE)) return 0;
    long recnum = 0;
    bool moved = false;
    const int read = isReading(h, ISCLASS_READ, [h, record, &recnum, &moved] {
        needRecord(h, record);
        recnum = static_cast<long>(isCurrent(h));
        if (!inRecordOrder(h)) isWholePath(h, h->currentIndex);
        moved = isLocate(h, nullptr, ISNEXT);
        return 1;
    });
    if (!read) return 0;
    const int rewritten = isChanging(h, [h, record, recnum] {
        if (hasData(h))
            rewrite(h, recnum, record);
        else
            rewpure(h, record);
        return 1;
    });
    if (!rewritten) return 0;
    if (moved) return 1;
    h->errcode = errno = ISERR_ENDOFFILE;
    return 0;
}
