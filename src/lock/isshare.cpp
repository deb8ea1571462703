#include "lock/isshare.h"

#include "base/isfail.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "lock/islock.h"
#include "storage/ishead.h"

namespace {

constexpr int kMaxTries = 100;

// Opens both files and takes the open lock.
void openFiles(IsamFile *h) {
    if (h->indexFd < 0) is_open(h, ISKIND_INDEX, h->name);
    if (getdatlen(h) != 0 && h->dataFd < 0) is_open(h, ISKIND_DATA, h->name);
    if ((h->mode & ISLOCKEXCL) != 0)
        isLockExcl(h);
    else
        isLockOpen(h);
}

}  // namespace

int isAdmOpen(IsamFile *h) {
    const int fd = isAdmRegister(h);
    const IsamFile *other = isAdmFindName(h, h->name);
    if (other != nullptr) {
        if (((h->mode | other->mode) & ISLOCKEXCL) != 0) isFail(h, ISERR_FILEINUSE);
        h->indexFd = other->indexFd;
        h->dataFd = other->dataFd;
        isAdmShareToken(h, other);
        return fd;
    }
    isAdmNewToken(h);
    openFiles(h);
    for (int tries = 1; !is_current(h, ISKIND_INDEX, h->name); ++tries) {
        if (tries == kMaxTries) isFail(h, ISERR_FILEINUSE);
        // Erased, renamed or built anew before the lock was granted: the data file
        // may be another set's.
        is_close(h, ISKIND_INDEX);
        is_close(h, ISKIND_DATA);
        openFiles(h);
    }
    return fd;
}

int isAdmClose(IsamFile *h) {
    // A handle without token failed before it had any files; one whose token
    // stands in other slots leaves the files to them.
    if (isAdmShareCount(h) < 2) {
        is_close(h, ISKIND_INDEX);
        is_close(h, ISKIND_DATA);
    }
    h->indexFd = h->dataFd = -1;
    return isAdmUnregister(h);
}
