// Between the caller's world and the operations: descriptors become handles,
// the globals go in and out. Nothing else happens in this folder.
#pragma once

#include "base/isfile.h"

// Both characters after a plain success; isstat2 where a key went behind equal ones.
inline constexpr char kStatusOk = '0', kStatusEqual = '2';

// Sets iserrno, and isstat1 and isstat2 to what stands for that number: every call
// that sets iserrno sets it by one of these. The code of a failure is not 0.
void isTellFailure(int code);
inline void isTell(int code) {
    if (code != 0) return isTellFailure(code);
    iserrno = 0;
    isstat1 = isstat2 = kStatusOk;
}

// The descriptor's handle; null, with iserrno 101, for one that is not open. An
// inherited one becomes the process's own.
IsamFile *isWrapOpen(int fd);

// The descriptor's handle with isrecnum and isreclen copied in; null, with
// iserrno 101, for a descriptor that is not open.
IsamFile *isWrapInit(int fd);

// Copies the handle's results to the globals; 0 for success, else -1.
int isWrapDone(IsamFile *h, int success);

// For calls after which no handle exists: iserrno from the system errno, 0
// after success; iserrio is left alone.
int isWrapRet(int success);

// After a build or open: the descriptor, isrecnum and isreclen from the handle.
int isWrapFind(IsamFile *h);

// The same where the handle may be null, after a failure.
int isWrapFound(IsamFile *h);

// For calls on transactions: iserrno as by isWrapRet; the other globals from the
// handle that recovery mapped last, where there is one.
int isWrapTxn(int success);

// An exported call on an open file: run is given the handle and returns 1 or 0.
template <typename Run> int isWrapped(int fd, Run &&run) {
    IsamFile *h = isWrapInit(fd);
    return h != nullptr ? isWrapDone(h, run(h)) : -1;
}
