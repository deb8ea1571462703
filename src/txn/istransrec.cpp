// Recovery: the log done again from its beginning.

#include <cerrno>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/issystem.h"
#include "records/isopen.h"
#include "records/isfork.h"
#include "txn/islog.h"
#include "txn/islogahead.h"
#include "txn/istrans.h"
#include "txn/istransdo.h"
#include "txn/istranspair.h"
#include "txn/istranswalk.h"

namespace {

// A change that could not be undone when the transaction was rolled back, for
// what the files held or because its file had been closed, cannot be undone now
// either: the rollback ended there.
bool failedThenToo(int code) { return code == ISERR_DUPLICATE || code == ISERR_NOCURRENT || code == ISERR_LOGREAD; }

// A rollback is not in the log, so it is done again where it ended.
int undoAgain(int log, const LogRecord *end) {
    if (logrec::previousLength(end->bytes) == 0) return 1;
    const std::int64_t last = logrec::previous(end->bytes);
    if (last >= end->offset) {
        errno = ISERR_BADLOG;
        return 0;
    }
    bool refused;
    return txnprocess(log, last, TxnWalk::kUndo, &refused) || (refused && failedThenToo(errno));
}

int redo(int log, LogRecord *record) {
    const int type = logrec::type(record->bytes);
    if (type == logtype::kBegin || type == logtype::kCommit) return 1;
    if (type == logtype::kRollBack) return undoAgain(log, record);
    const TxnAction *action = isTxnAction(type);
    return action != nullptr ? action->redo(record) : 1;
}

int txnrecover(int log) {
    const std::int64_t size = is_size(nullptr, log);
    if (size < 0) {
        errno = ISERR_LOGREAD;
        return 0;
    }
    std::int64_t offset = 0;
    isLogAheadForget();
    while (offset + logrec::kHeadSize <= size) {
        LogRecord record;
        if (!isLogHead(log, &record, offset) || !isLogBody(log, &record)) return 0;
        offset += record.length;
        if (!redo(log, &record)) return 0;
    }
    return 1;
}

void closeRecovered() {
    for (int i = isProcess.admsize - 1; i >= 0; --i) {
        IsamFile *h = isProcess.adminfo[i].isam;
        if (h != nullptr && h->recovered) isCloseNow(h);
    }
}

}  // namespace

int isRecover() {
    isLeaveParent();
    const int log = isProcess.logfile;
    if (log < 0) {
        errno = ISERR_NOLOG;
        return 0;
    }
    isProcess.logfile = -1;
    isProcess.recover = true;
    const int done = txnrecover(log);
    const int code = errno;
    closeRecovered();
    isFreeClosed();
    isProcess.recover = false;
    isProcess.logfile = log;
    errno = code;
    return done;
}
