// Building, opening and closing; indexes added and dropped.

#include "api/stdwrap.h"
#include "isam.h"
#include "isam_maint.h"  // isAdmItoD
#include "records/isaddidx.h"
#include "records/isbuild.h"
#include "records/isopen.h"

int isbuild(const char *name, int reclen, KeyDesc *key, int mode) {
    if ((mode & ISVARLEN) != 0) return isWrapFound(isBuild(name, isreclen, reclen, key, mode));
    return isWrapFound(isBuild(name, reclen, 0, key, mode));
}

int isvbuild(const char *name, int minlen, int maxlen, KeyDesc *key, int mode) {
    return isWrapFound(isBuild(name, minlen, maxlen, key, mode));
}

int isopen(const char *name, int mode) { return isWrapFound(isOpen(name, mode)); }

int isclose(int fd) {
    IsamFile *h = isAdmItoD(fd);
    if (h != nullptr) return isWrapRet(isClose(h));
    isTellFailure(ISERR_NOTOPEN);
    return -1;
}

int iscleanup(void) { return isWrapRet(isCleanUp()); }

int isgetmode(int fd, int *mode) {
    const IsamFile *h = isAdmItoD(fd);
    if (h == nullptr || mode == nullptr) {
        isTellFailure(h == nullptr ? ISERR_NOTOPEN : ISERR_ARGUMENT);
        return -1;
    }
    *mode = h->mode;
    return 0;
}

int issetmode(int fd, int mode) {
    return isWrapped(fd, [=](IsamFile *h) { return isSetMode(h, mode); });
}

int islockcheck(int fd, int on) {
    return isWrapped(fd, [=](IsamFile *h) { return isLockCheck(h, on); });
}

int isprecious(int fd, int on) {
    return isWrapped(fd, [=](IsamFile *h) { return isPrecious(h, on); });
}

int isaddindex(int fd, KeyDesc *key) {
    return isWrapped(fd, [=](IsamFile *h) { return isAddIndex(h, key); });
}

int isdelindex(int fd, KeyDesc *key) {
    return isWrapped(fd, [=](IsamFile *h) { return isDelIndex(h, key); });
}
