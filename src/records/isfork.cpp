#include "records/isfork.h"

#include <pthread.h>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "lock/islock.h"
#include "lock/isshare.h"
#include "records/isopen.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "tree/ispath.h"
#include "txn/islog.h"
#include "txn/islogtab.h"

namespace {

constexpr const char *kModule = "isfork";

// Runs in the child, perhaps in the middle of a call whose filter has forked: it
// only notes what the next call has to do.
void noteFork() {
    isProcess.inherited = true;
    for (int i = 0; i < isProcess.admsize; ++i)
        if (IsamFile *h = isAdmHandle(i)) h->inherited = true;
}

void forgetLocks(IsamFile *h) {
    for (int i = 0; i < h->lockCount; ++i)
        h->lockList[i] = 0;
    h->allLocked = h->phaseHeld = h->phasePinned = h->pinWanted = h->exclHeld = false;
    h->newLock = 0;
}

}  // namespace

void isLeaveParent() {
    ProcessState &p = isProcess;
    if (!p.forkWatched) {
        if (pthread_atfork(nullptr, nullptr, noteFork) != 0) isBroken(kModule, __LINE__);
        p.forkWatched = true;
    }
    if (!p.inherited) return;
    p.inherited = false;
    for (int i = 0; i < p.admsize; ++i) {
        IsamFile *h = isAdmHandle(i);
        if (h == nullptr) continue;
        if ((h->state & ISSTATE_PARKED) != 0)
            isDispose(h);
        else
            forgetLocks(h);
    }
    for (int i = p.txncount - 1; i >= 0 && p.txnlist != nullptr; --i)
        if (Txn *txn = p.txnlist[i]) isTxnRemove(txn);
    p.recover = p.logHeld = false;
    p.appended = {};
}

int isAdopt(IsamFile *h) {
    isLeaveParent();
    return isOperation(h, ISCLASS_OPEN, [h] {
        if (!is_current(h, ISKIND_INDEX, h->name)) isFail(h, ISERR_NOTOPEN);
        const bool first = !isOpenLocked(h);
        if ((h->mode & ISLOCKEXCL) != 0)
            isLockExcl(h);
        else
            isLockOpen(h);
        h->openTaken = first;
        isLockRead(h);
        isLoadHead(h);
        isForgetCached(h);
        isCheckHead(h);
        // Nobody has kept the file open since: whoever liked could have it alone.
        if (!is_current(h, ISKIND_INDEX, h->name) || !isSameIndexes(h)) isFail(h, ISERR_NOTOPEN);
        isDropLock(h);
        h->openLogged = false;
        isLGmark(h);
        if (isLGtest(h)) isNeedLogged(h, isLGfile(logtype::kFileOpen, h));
        h->inherited = h->openTaken = false;
        return 1;
    });
}
