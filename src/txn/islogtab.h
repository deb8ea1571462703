// The open transactions of the process, and the handles parked in them. Plain
// data: nothing here reads, writes or closes anything.
//
// A caller's transaction is found by its number, which the identity function
// gives: 0 where there is none. Tables grow by ten slots and are filled and
// searched from the top.
#pragma once

#include "base/isfile.h"

struct Txn {
    std::int16_t id;
    std::uint32_t lastOffset;  // of the transaction's last record in the log
    std::uint32_t lastLength;  // bytes of that record
    IsamFile **parked;         // handles closed in the transaction, null = free slot
    int parkedSlots;
    std::uint32_t logSerial;  // the log that it was begun in
};

// The caller's transaction number, for which the identity function is asked; the
// open transaction of a number, and the caller's, or null.
std::int16_t isTxnId();
Txn *findid(std::int16_t id);
Txn *txnwork();

// Enters a new transaction, and takes one out and frees it.
Txn *isTxnAdd(std::int16_t id);
void isTxnRemove(Txn *txn);

// Registers the identity function; null: one transaction a process. Returns 1.
int isTxnIdentity(short (*identity)());

// Parks a handle; takes one with this name and mode back, or null; takes a
// certain one out of every table, if it is in one.
void putvfile(Txn *txn, IsamFile *h);
IsamFile *getvfile(Txn *txn, const char *name, int mode);
void dropvfile(const IsamFile *h);
