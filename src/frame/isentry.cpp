#include "frame/isentry.h"

#include <cerrno>

#include "base/isfail.h"
#include "base/ismap.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "storage/isahead.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "tree/ispath.h"
#include "txn/islog.h"

namespace {

constexpr int kAccessMask = 3;

// What is derived from the header must be read again.
void forgetDerived(IsamFile *h) {
    isAheadForget(h);
    h->hashStale = 1;
    h->auditInfo[0] = h->auditInfo[1] = 0;
}

}  // namespace

bool isEntry(IsamFile *h, int entryClass) {
    if (entryClass == ISCLASS_OPEN) {
        if (h == nullptr) return true;
    } else if (!isAdmCheck(h)) {
        errno = h != nullptr ? ISERR_CORRUPT : ISERR_NOTOPEN;
        return false;
    }
    const int access = h->mode & kAccessMask;
    if ((entryClass == ISCLASS_READ && access == ISOUTPUT) || (entryClass == ISCLASS_WRITE && access == ISINPUT)) {
        h->errcode = ISERR_ARGUMENT;
        return false;
    }
    h->errio = h->errcode = 0;
    h->newLock = 0;
    h->changeLogged = false;
    h->damageFails = false;
    h->activeClass = entryClass;
    return true;
}

void isUndo(IsamFile *h) {
    h->noteTaken = false;
    if (h->failedClass == ISCLASS_WRITE) {
        const std::uint32_t stamp = h->headerStamp;
        isPathClear(h, ISCLASS_WRITE);
        // Of the free lists nothing is kept: a head node that was written before
        // the failure is clean, but no longer the head.
        isFreeClear(h, ISCLASS_READ);
        // Without a lock it would perhaps be another process's half-written one, and
        // nothing was changed yet.
        const bool mayRead = h->phaseHeld || (h->mode & (ISLOCKEXCL | ISLOCKNONE)) != 0;
        if (h->indexFd >= 0 && mayRead) isLoadHead(h);
        // The call may have failed before its own refresh: the new counter must
        // not make older nodes look fresh.
        if (h->headerStamp != stamp) isPathClear(h, ISCLASS_READ);
        forgetDerived(h);
        if (h->auditFd > 0) is_close(h, ISKIND_AUDIT);
        if (h->changeLogged) isLGtakeBack();
        if (h->newLock != 0) isDropData(h, h->newLock);
    }
    isDropLock(h);
    if (h->exclHeld) {
        h->exclHeld = false;
        isDropExcl(h);
    }
    if (h->openTaken) {
        h->openTaken = false;
        isDropFile(h);
    }
    h->failedClass = ISCLASS_NONE;
    errno = h->errcode;
}

void isDelta(IsamFile *h) {
    if ((h->mode & ISLOCKEXCL) != 0) return;
    const std::uint32_t stamp = h->headerStamp;
    isLookAtHead(h);
    if (h->headerStamp != stamp) isForgetCached(h);
    isCheckHead(h);
}

void isForgetCached(IsamFile *h) {
    isPathClear(h, ISCLASS_READ);
    isFreeClear(h, ISCLASS_READ);
    forgetDerived(h);
    // What has grown shows when it is used; what a failed copy has cut off, here.
    isMapBound(h, ISKIND_INDEX, std::int64_t{h->indexFree.last} * h->nodeSize);
    if (hasData(h)) isMapBound(h, ISKIND_DATA, std::int64_t{h->dataFree.last} * h->bufferLength);
}
