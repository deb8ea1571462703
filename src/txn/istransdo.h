// What undoes and what redoes a log record.
#pragma once

#include "base/isfile.h"
#include "txn/istranslog.h"

// Handlers take a whole record and return 1, or 0 with the code in errno.
struct TxnAction {
    int type;
    int (*undo)(LogRecord *record);  // null: not undone
    int (*redo)(LogRecord *record);
};

// The actions of a record type, null for an unknown one.
const TxnAction *isTxnAction(int type);

// The handle that a record's descriptor means; null and errno 118 when there is
// none. In recovery that is the handle opened for the descriptor and its
// process, otherwise the descriptor's own, if it was open then.
IsamFile *txnrealfile(const LogRecord *record, int fd);

// Records that follow each other, whose locks can be released by one call.
struct ReleaseRun {
    IsamFile *h;  // null: none
    long first, last;
};

// Releases the lock on the record that an insert or update names, now or with its
// neighbours: txnfreeRun releases what is left.
int txnfree(LogRecord *record, ReleaseRun *run);
void txnfreeRun(ReleaseRun *run);

// Marks the handle that a record changed to be pinned, before anything is undone.
void txnmark(LogRecord *record);
