// Writing records into the transaction log. Knows nothing of record operations.
//
// Types are the two characters that the record shows.
#pragma once

#include "base/isfile.h"

namespace logtype {
inline constexpr int code(char a, char b) { return a * 256 + b; }
inline constexpr int kFileOpen = code('F', 'O');
inline constexpr int kFileClose = code('F', 'C');
inline constexpr int kBuild = code('B', 'U');
inline constexpr int kCreateIndex = code('C', 'I');
inline constexpr int kDropIndex = code('D', 'I');
inline constexpr int kSetUnique = code('S', 'U');
inline constexpr int kUnique = code('U', 'N');
inline constexpr int kInsert = code('I', 'N');
inline constexpr int kDelete = code('D', 'E');
inline constexpr int kUpdate = code('U', 'P');
}  // namespace logtype

// Are changes of this handle (null: of any) to be logged? Only while a log is
// open, and not under ISNOLOG.
bool isLGtest(const IsamFile *h);

// Writers. Each is called only when isLGtest says so, and fails the operation
// with 121 when the record cannot be written.
void isLGfile(int type, IsamFile *h);
void isLGbuild(int type, IsamFile *h, const KeyDesc *key);
void isLGindex(int type, IsamFile *h, const KeyDesc *key);
void isLGuniq(int type, IsamFile *h, long value);
void isLGdata(int type, IsamFile *h, long recnum, const void *record);
void isLGupdate(int type, IsamFile *h, long recnum, const void *before, const void *after);

// Would a rewrite's log record fit? 121 if it would not.
void isLGfits(IsamFile *h);

// A close or open inside a transaction: the handle is parked, or a parked one
// is taken back.
bool isLGvclose(IsamFile *h);
IsamFile *isLGvopen(const char *name, int mode);
