// The descriptor table: which handle stands behind which descriptor, and which
// handles share a physical file. Plain data; it opens, locks and frees nothing
// but the sharing tokens.
//
// Always true between operations:
//   (1) a slot's isam is null or a handle whose slot field is that index + 1;
//   (2) slots with the same token share one pair of system descriptors; those of
//       one file under two names have two;
//   (3) a token is freed with the last slot that carries it.
#pragma once

#include "base/isfile.h"
#include "base/isglobal.h"
#include "isam_maint.h"  // isAdmItoD

// Registers the handle in the lowest free slot, growing the table by ten slots
// when there is none. Returns the slot's index; the slot has no token yet.
int isAdmRegister(IsamFile *h);

// Removes the handle from its slot; nothing if it stands in none. The slot's
// token is cleared, and freed when no other slot carries it. Returns the index.
int isAdmUnregister(IsamFile *h);

// A registered handle other than h with exactly this name, from the highest
// slot down, or null. One that came with a fork does not count: the file may have
// left it behind since.
IsamFile *isAdmFindName(const IsamFile *h, const char *name);

// Do the handles work on one physical file, under whatever names? Nothing but
// itself is on a file that is not open.
bool isAdmSameFile(const IsamFile *h, const IsamFile *other);

// Runs visit on every other handle of the process on h's file until it returns
// true. Did it?
template <typename Visit> bool isAdmAnyOther(const IsamFile *h, Visit &&visit) {
    for (int i = 0; i < isProcess.admsize; ++i) {
        IsamFile *other = isProcess.adminfo[i].isam;
        if (other != nullptr && other != h && isAdmSameFile(h, other) && visit(other)) return true;
    }
    return false;
}

// Is it opened in this process a second time?
inline bool isAdmShared(const IsamFile *h) {
    return isAdmAnyOther(h, [](const IsamFile *) { return true; });
}

// Do the handles share descriptors?
bool isAdmSameToken(const IsamFile *h, const IsamFile *other);

// Gives the handle's slot a token of its own, or that of other's slot.
void isAdmNewToken(IsamFile *h);
void isAdmShareToken(IsamFile *h, const IsamFile *other);

// Number of slots that carry the handle's token, 0 when it has none.
int isAdmShareCount(const IsamFile *h);

// 1 if the pointer is a registered handle.
int isAdmCheck(const IsamFile *h);

// Handle of a descriptor, or null. isAdmItoD does not give one that is parked in
// a transaction: it is closed to the caller.
IsamFile *isAdmHandle(int fd);

// Descriptor of a handle, or -1.
int isAdmDtoI(const IsamFile *h);

// 1 if another handle of this process on the same file holds a lock that
// conflicts with one on recnum (0: with one on the whole data file). With wait
// the scan is repeated, a pause between scans, until there is none.
int isAdmDupData(const IsamFile *h, long recnum, int wait);

// Finds the handle opened for logged descriptor `first` of process `second`,
// from the highest slot down to slot 1, and returns its slot. Slot 0 is never
// examined: without a match the result is 0 whatever that slot holds.
int isAdmTxnFile(long first, long second);

// The handle in the slot that the last isAdmTxnFile found; null before the
// first search and when the slot is free.
IsamFile *isAdmTxnLast();

// Frees the empty table.
void isAdmFreeTable();
