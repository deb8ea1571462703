// Locks: every byte range that the library locks, and the table of a handle's
// record locks.
//
//   lock        file   start              length      taken as
//   phase       index  0                  0x3fffffff  shared or exclusive, waiting
//   open        index  0x40000000         0x3fffffff  shared or exclusive, not waiting
//   record r    data   0x40000000 + r     1           exclusive, waiting or not
//   all records data   0x40000000         0x0fffffff  exclusive, not waiting
//
// The ranges lie beyond any contents. Order: the open lock is held outside
// everything; a call takes the phase lock first and record locks under it, but
// never waits for a record while it holds the phase lock. The system does not
// see conflicts between handles of one process: isAdmDupData does.
//
// lockFlags can make a handle skip phase or record locks that it holds as a
// whole; nothing sets them today, and every test of them is kept with its lock.
#pragma once

#include "base/isfile.h"

// Open lock. Refused: 113.
void isLockOpen(IsamFile *h);
void isLockExcl(IsamFile *h);

// Ends an exclusive open lock; a handle that was opened shared holds the
// shared lock again, without a gap in between.
void isDropExcl(IsamFile *h);

// Releases the open lock.
void isDropFile(IsamFile *h);

// Phase lock. A refusal means that the system's locks are broken: fatal stop.
void isLockRead(IsamFile *h);
void isLockWrite(IsamFile *h);
void isDropLock(IsamFile *h);

// Locks a record that is about to be changed, before anything has changed; a
// failing operation lets go of it again. Never waits: with the phase lock in
// hand nobody may. 107 when somebody else holds the record.
void isLockNew(IsamFile *h, long recnum);

// Takes the exclusive phase lock for longer than an operation: until it is let
// go, operations on this handle neither take nor drop it. Every handle of the
// process on the same file must be pinned, or stand still.
void isPinPhase(IsamFile *h);
void isUnpinPhase(IsamFile *h);

// Does this handle hold the record's lock?
bool isLocked(IsamFile *h, long recnum);

// May this handle change the record: is there no lock of another process or
// handle on it?
bool isLockTest(IsamFile *h, long recnum);

// Locks a record for this handle and notes it. False when refused; 134 when
// the table is full.
bool isLockData(IsamFile *h, long recnum, bool wait);

// Releases the record's lock if this handle holds it.
void isDropData(IsamFile *h, long recnum);

// Releases those that it holds of the records from first to last.
void isDropRange(IsamFile *h, long first, long last);

// Locks the whole data file, without waiting. False when refused.
bool isLockDall(IsamFile *h);

// Releases the whole data file and every record lock of the handle.
void isDropDall(IsamFile *h);
