#include "txn/istranswalk.h"

#include <cerrno>

#include "base/isfail.h"
#include "txn/islog.h"
#include "txn/islogahead.h"
#include "txn/istransdo.h"

namespace {

bool isChange(int type) { return type == logtype::kInsert || type == logtype::kDelete || type == logtype::kUpdate; }

int visit(int log, LogRecord *record, const TxnAction *action, TxnWalk mode, bool *refused) {
    const int type = action->type;
    switch (mode) {
    case TxnWalk::kMark:
        if (!isChange(type)) return 1;
        if (!isLogBody(log, record)) return 0;
        txnmark(record);
        return 1;
    case TxnWalk::kRelease:
        if (type != logtype::kInsert && type != logtype::kUpdate) return 1;
        if (!isLogBody(log, record)) return 0;
        txnfree(record);
        return 1;
    case TxnWalk::kUndo: break;
    }
    if (action->undo == nullptr) return 1;
    if (!isLogBody(log, record)) return 0;
    *refused = action->undo(record) == 0;
    return !*refused;
}

int walk(int log, std::int64_t offset, TxnWalk mode, TxnMoves *moves, bool *refused) {
    for (;;) {
        LogRecord record;
        if (!isLogHead(log, &record, offset)) return 0;
        const int type = logrec::type(record.bytes);
        if (type == logtype::kBegin) return 1;
        const TxnAction *action = isTxnAction(type);
        const std::int64_t previous = logrec::previous(record.bytes);
        // Every chain leads back, towards the log's beginning.
        if (action == nullptr || previous >= offset) {
            errno = ISERR_BADLOG;
            return 0;
        }
        if (mode == TxnWalk::kUndo) record.moves = moves;
        if (!visit(log, &record, action, mode, refused)) return 0;
        offset = previous;
    }
}

}  // namespace

int txnprocess(int log, std::int64_t offset, TxnWalk mode, bool *refused) {
    TxnMoves moves = {};
    *refused = false;
    isLogAheadForget();
    const int done = walk(log, offset, mode, &moves, refused);
    isFreeMoves(&moves);
    return done;
}
