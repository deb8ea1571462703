// Locks on the caller's demand.

#include "api/stdwrap.h"
#include "frame/isaccess.h"
#include "isam.h"

int islock(int fd) { return isWrapped(fd, isLock); }
int isunlock(int fd) { return isWrapped(fd, isUnLock); }
int isrelease(int fd) { return isWrapped(fd, isRelease); }
int isrelcurr(int fd) { return isWrapped(fd, isRelCurr); }

int isrelrec(int fd, long recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isRelRec(h, recnum); });
}
