#include "txn/istrans.h"

#include <cerrno>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/issystem.h"
#include "frame/isentry.h"
#include "records/isopen.h"
#include "records/isfork.h"
#include "txn/islog.h"
#include "txn/istranswalk.h"

namespace {

// The log that holds the transaction's chain, -1 when it is not open any more.
int chainLog(const Txn *txn) { return txn->logSerial == isProcess.logSerial ? isProcess.logfile : -1; }

// Walks the transaction's chain, nothing being logged meanwhile.
int walk(const Txn *txn, TxnWalk mode) {
    const int log = chainLog(txn);
    if (log < 0) {
        errno = ISERR_LOGREAD;
        return 0;
    }
    isProcess.logfile = -1;
    bool refused;
    const int done = txnprocess(log, txn->lastOffset, mode, &refused);
    isProcess.logfile = log;
    return done;
}

// The handle to be pinned whose file comes first, null when none is left.
IsamFile *nextToPin() {
    IsamFile *first = nullptr;
    for (int i = 0; i < isProcess.admsize; ++i) {
        IsamFile *h = isProcess.adminfo[i].isam;
        if (h == nullptr || !h->pinWanted) continue;
        if (first == nullptr || h->indexFile < first->indexFile) first = h;
    }
    return first;
}

// Keeps others from changing the files until the end of the rollback is in the
// log: recovery undoes it at that record, and must meet the files as they were.
// All processes pin in the order of the physical files, so they cannot wait for
// each other.
void pinFiles() {
    while (IsamFile *h = nextToPin()) {
        h->pinWanted = false;
        isOperation(h, ISCLASS_OPEN, [h] {
            isPinPhase(h);
            return 1;
        });
    }
}

void unpinFiles() {
    for (int i = 0; i < isProcess.admsize; ++i) {
        IsamFile *h = isProcess.adminfo[i].isam;
        if (h == nullptr || !h->phasePinned) continue;
        isOperation(h, ISCLASS_OPEN, [h] {
            isUnpinPhase(h);
            return 1;
        });
    }
}

// Ends the transaction. The log gets the closing of what is parked in it and
// then its end; the files are closed after that, since closing one lets go of
// everything that keeps others from it.
int txndrop(Txn *txn, int type) {
    if (chainLog(txn) >= 0) {
        for (int i = txn->parkedSlots - 1; i >= 0; --i) {
            IsamFile *h = txn->parked[i];
            if (h != nullptr && isLGtest(h)) isLGfile(logtype::kFileClose, h);
        }
    }
    const int ended = logtrans(txn, type);
    const int code = errno;
    unpinFiles();
    for (int i = txn->parkedSlots - 1; i >= 0; --i)
        if (IsamFile *h = txn->parked[i]) isCloseNow(h);
    isTxnRemove(txn);
    errno = code;
    return ended;
}

// Begins a transaction: enters it and writes its first record.
int txninit(std::int16_t id) {
    Txn *txn = isTxnAdd(id);
    if (logtrans(txn, logtype::kBegin)) return 1;
    isTxnRemove(txn);
    errno = ISERR_LOGWRITE;
    return 0;
}

int noTransaction() {
    errno = ISERR_NOTRANSACTION;
    return 0;
}

}  // namespace

int isBegin() {
    isLeaveParent();
    if (isProcess.logfile < 0) {
        errno = ISERR_NOLOG;
        return 0;
    }
    const std::int16_t id = isTxnId();
    if (Txn *open = findid(id)) {
        if (chainLog(open) >= 0) return 1;
        // Its log was closed under it: nothing can be undone any more.
        txndrop(open, logtype::kCommit);
    }
    return txninit(id);
}

int isCommit() {
    isLeaveParent();
    Txn *txn = txnwork();
    if (txn == nullptr) return noTransaction();
    walk(txn, TxnWalk::kRelease);
    return txndrop(txn, logtype::kCommit);
}

int isRollBack() {
    isLeaveParent();
    Txn *txn = txnwork();
    if (txn == nullptr) return noTransaction();
    walk(txn, TxnWalk::kMark);
    pinFiles();
    const int undone = walk(txn, TxnWalk::kUndo);
    const int code = errno;
    walk(txn, TxnWalk::kRelease);
    const int ended = txndrop(txn, logtype::kRollBack);
    if (!undone) errno = code;
    return undone && ended;
}
