// A log record being read: its head, and a cursor through its body.
//
// What comes out of a log is not trusted: reading past the end of the body
// spoils the record, which whoever reads it must ask before acting.
#pragma once

#include <cstdint>

#include "isam.h"
#include "txn/istransmove.h"

struct LogRecord {
    const std::uint8_t *bytes;
    std::int64_t offset;  // in the log
    int length;
    TxnMoves *moves;  // of the transaction being undone, null otherwise
    int next;         // where the cursor stands
    bool spoilt;      // the body is shorter than its type needs
};

// Reads the head of the record at offset into the process's buffer, or the
// whole of it. 0 and errno 118 when it is not there, 119 for lengths that cannot
// be.
int isLogHead(int log, LogRecord *record, std::int64_t offset);
int isLogBody(int log, LogRecord *record);

// Take the next item.
int isTakeInt(LogRecord *record);
std::uint32_t isTakeLong(LogRecord *record);
const char *isTakeName(LogRecord *record);
const char *isTakeData(LogRecord *record, int length);
void isTakeKey(LogRecord *record, KeyDesc *key);

// 0 and errno 119 when the record is spoilt.
int isLogSound(const LogRecord *record);
