#include "txn/istranswalk.h"

#include <cerrno>

#include "base/isfail.h"
#include "txn/islog.h"
#include "txn/islogahead.h"
#include "txn/istransdo.h"

namespace {

bool isChange(int type) { return type == logtype::kInsert || type == logtype::kDelete || type == logtype::kUpdate; }

struct Walk {
    int log;
    TxnWalk mode;
    TxnMoves moves;
    ReleaseRun run;
    bool refused;
};

int visit(Walk *w, LogRecord *record, const TxnAction *action) {
    const int type = action->type;
    switch (w->mode) {
    case TxnWalk::kMark:
        if (!isChange(type)) return 1;
        if (!isLogBody(w->log, record)) return 0;
        txnmark(record);
        return 1;
    case TxnWalk::kRelease:
        if (type != logtype::kInsert && type != logtype::kUpdate) return 1;
        if (!isLogBody(w->log, record)) return 0;
        txnfree(record, &w->run);
        return 1;
    case TxnWalk::kUndo: break;
    }
    if (action->undo == nullptr) return 1;
    if (!isLogBody(w->log, record)) return 0;
    w->refused = action->undo(record) == 0;
    return !w->refused;
}

int walk(Walk *w, std::int64_t offset) {
    for (;;) {
        LogRecord record;
        if (!isLogHead(w->log, &record, offset)) return 0;
        const int type = logrec::type(record.bytes);
        if (type == logtype::kBegin) return 1;
        const TxnAction *action = isTxnAction(type);
        const std::int64_t previous = logrec::previous(record.bytes);
        // Every chain leads back, towards the log's beginning.
        if (action == nullptr || previous >= offset) {
            errno = ISERR_BADLOG;
            return 0;
        }
        if (w->mode == TxnWalk::kUndo) record.moves = &w->moves;
        if (!visit(w, &record, action)) return 0;
        offset = previous;
    }
}

}  // namespace

int txnprocess(int log, std::int64_t offset, TxnWalk mode, bool *refused) {
    Walk w = {log, mode, {}, {}, false};
    isLogAheadForget();
    const int done = walk(&w, offset);
    const int code = errno;
    txnfreeRun(&w.run);
    isFreeMoves(&w.moves);
    *refused = w.refused;
    errno = code;
    return done;
}
