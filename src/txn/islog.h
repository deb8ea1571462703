// The transaction log: opening it, and writing records into it. Knows nothing
// of record operations.
//
// One record at a time is put together in the process's buffer and appended
// under a lock that keeps other processes from appending, so that the log's
// size before is the record's offset. Records of files opened with ISTRANS are
// chained to the caller's transaction: each names the one before.
#pragma once

#include "base/isfile.h"
#include "txn/islogtab.h"
#include "txn/log_layout.h"

// Opens or makes the log; nothing to do when one is open. 0 and errno 120 when
// that fails.
int isLogOpen(const char *path);

// Closes the log, if one is open. Returns 1.
int isLogClose();

// Are changes of this handle (null: of any) to be logged? Only while a log is
// open, and not under ISNOLOG.
bool isLGtest(const IsamFile *h);

// Writers, each called only when isLGtest says so. 0 and errno 121 when the
// record does not fit or cannot be written; the log is then as before.
int isLGfile(int type, IsamFile *h);  // a close: nothing where the opening is not in the log
int isLGbuild(int type, IsamFile *h, const KeyDesc *key);
int isLGerase(int type, const char *name);
int isLGrename(int type, const char *from, const char *to);
int isLGindex(int type, IsamFile *h, const KeyDesc *key);
int isLGuniq(int type, IsamFile *h, long value);
int isLGdata(int type, IsamFile *h, long recnum, const void *image, int length);
int isLGupdate(int type, IsamFile *h, long recnum, const void *before, int beforeLength, const void *after,
               int afterLength);

// A transaction's begin or end.
int logtrans(Txn *txn, int type);

// Fails the operation with errno unless a writer said 1.
void isNeedLogged(IsamFile *h, int logged);

// Takes the record appended last out of the log again, after the change that it
// tells of has failed; nothing where other processes have appended since.
void isLGtakeBack();

// Keep other processes from appending while a file set appears, goes or changes
// its name: whoever meets the change must come later in the log. Nothing that
// waits may be done meanwhile. isLGletGo also when the change has failed.
void isLGhold();
void isLGletGo();

// Would a record with images of that many bytes fit? 121 if it would not.
void isLGfits(IsamFile *h, int type, int imageBytes);

// Locks a record whose change is to be logged, until the transaction ends; only
// under ISTRANS. 107 when that is refused.
void isLGlock(IsamFile *h, long recnum);

// The caller's transaction, if it has one and the handle works in it, else null.
Txn *isLGintxn(const IsamFile *h);

// A close inside a transaction parks the handle (true), an open takes a parked
// one back.
bool isLGvclose(IsamFile *h);
IsamFile *isLGvopen(const char *name, int mode);

// Notes in a new handle that the log was open before it: until its opening is in
// the log, no record there is about it.
void isLGmark(IsamFile *h);

// Was the handle open when the log record at offset was written?
bool isLGknows(const IsamFile *h, std::int64_t offset);

// Reads the head of the record at offset into the buffer, or with whole the
// rest behind a head that has been read. 0 and errno 118 when it is not there.
int logread(int log, std::uint8_t *buffer, std::int64_t offset, bool whole);
