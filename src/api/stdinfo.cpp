// Information about a file, and plain looks into a handle.

#include "api/stdwrap.h"
#include "base/isfail.h"
#include "frame/isaccess.h"
#include "isam.h"
#include "isam_maint.h"  // isAdmItoD
#include "keys/ispathdef.h"
#include "records/isinfo.h"

namespace {

// The path of the current index, null in record-number order.
IndexPath *currentPath(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr && !inRecordOrder(h) ? h->indexes[h->currentIndex] : nullptr;
}

}  // namespace

int isindexinfo(int fd, void *buffer, int index) {
    return isWrapped(fd, [=](IsamFile *h) { return isIndexInfo(h, buffer, index); });
}

int isisaminfo(int fd, DictInfo *info) {
    return isWrapped(fd, [=](IsamFile *h) { return isIsamInfo(h, info); });
}

int isuserinfo(int fd, int direction, void *buffer) {
    return isWrapped(fd, [=](IsamFile *h) { return isUserInfo(h, direction, buffer); });
}

const char *isqv_name(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? h->name : nullptr;
}

int isqv_datlen(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? h->recordLength : -1;
}

int isqv_curidx(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? h->currentIndex : -1;
}

int isqv_idxfd(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? h->indexFd : -1;
}

int isqv_datfd(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? h->dataFd : -1;
}

KeyDesc *isqv_kdsc(int fd) {
    IndexPath *path = currentPath(fd);
    return path != nullptr ? &path->keyDesc : nullptr;
}

long *is_recnum(int fd) {
    IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? &h->recnum : &isrecnum;
}

int *is_reclen(int fd) {
    IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? &h->reclen : &isreclen;
}

int *is_errno(int fd) {
    IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? &h->errcode : &iserrno;
}

int *is_errio(int fd) {
    IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? &h->errio : &iserrio;
}

void *isseekey(int fd) {
    IndexPath *path = currentPath(fd);
    return path != nullptr ? path->positionKey : nullptr;
}

int isflush(int fd) { return fd >= 0 ? 0 : -1; }

void isfatal(void (*handler)(char *message)) { isFatal(handler); }

int isthreaded(void) { return isThreaded(); }
