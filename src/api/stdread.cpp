// Reading and positioning.

#include "api/stdwrap.h"
#include "isam.h"
#include "isam_maint.h"  // isAdmItoD
#include "records/iscircle.h"
#include "records/isread.h"

namespace {

constexpr int kModeMask = 0xff;
constexpr int kNoFollowUp = -1;

// How a read goes on after a rejected record.
int followUp(int mode) {
    const int flags = mode & ~kModeMask;
    switch (mode & kModeMask) {
    case ISFIRST:
    case ISNEXT: return flags | ISNEXT;
    case ISLAST:
    case ISPREV: return flags | ISPREV;
    case ISGREAT:
    case ISGTEQ: return flags | ISGREAT;
    default: return kNoFollowUp;
    }
}

int failed(IsamFile *h, int code) {
    h->errcode = code;
    h->errio = 0;
    return isWrapDone(h, 0);
}

// Reads until the filter accepts a record. The globals are set each time, so
// that the filter can look at them, and can leave an error in iserrno.
int rdfilter(int fd, IsamFile *h, char *record, int mode) {
    ScanWatch watch{};
    for (int next = mode;;) {
        if (!isRead(h, record, next)) return isWrapDone(h, 0);
        isScanStep(h, &watch);
        isWrapDone(h, 1);
        const int accepted = h->filter(fd, record, mode);
        // The filter may have worked on other files, closed this one or removed
        // itself.
        if (isAdmItoD(fd) != h) {
            isTellFailure(ISERR_NOTOPEN);
            return -1;
        }
        if (accepted != 0) return isWrapDone(h, 1);
        if (iserrno != 0) return failed(h, iserrno);
        next = followUp(next);
        if (next == kNoFollowUp) return failed(h, ISERR_NOTFOUND);
        if (isScanCircle(h, &watch)) return failed(h, ISERR_CORRUPT);
        if (h->filter == nullptr) return isWrapDone(h, isRead(h, record, next));
    }
}

}  // namespace

int isread(int fd, char *record, int mode) {
    IsamFile *h = isWrapInit(fd);
    if (h == nullptr) return -1;
    if (h->filter != nullptr) return rdfilter(fd, h, record, mode);
    return isWrapDone(h, isRead(h, record, mode));
}

int isstart(int fd, KeyDesc *key, int length, char *record, int mode) {
    return isWrapped(fd, [=](IsamFile *h) { return isStart(h, key, length, record, mode); });
}

int isindex(int fd, int index, int reposition) {
    return isWrapped(fd, [=](IsamFile *h) {
        if (!isIndex(h, index)) return 0;
        return reposition != 0 ? isGoto(h, h->recnum) : 1;
    });
}

int isgoto(int fd, long recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isGoto(h, recnum); });
}

int isdata(int fd, char *record, long recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isData(h, record, recnum); });
}

int ispush(int fd, int *index, long *recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isPush(h, index, recnum); });
}

int ispop(int fd, int index, long recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isPop(h, index, recnum); });
}

int isfilter(int fd, int (*filter)(int fd, char *record, int mode)) {
    IsamFile *h = isAdmItoD(fd);
    if (h == nullptr) {
        isTellFailure(ISERR_NOTOPEN);
        return -1;
    }
    h->filter = filter;
    return 0;
}
