// Writing, rewriting and deleting; record masks.

#include "api/stdwrap.h"
#include "isam.h"
#include "isam_maint.h"  // isAdmItoD
#include "records/iswrite.h"

namespace {

// A call that adds or replaces a record: its success tells of equal keys that it met.
template <typename Run> int written(int fd, Run &&run) {
    IsamFile *h = isWrapInit(fd);
    if (h == nullptr) return -1;
    h->metEqual = false;
    const int result = isWrapDone(h, run(h));
    if (result == 0 && h->metEqual) isstat2 = kStatusEqual;
    return result;
}

}  // namespace

int iswrite(int fd, char *record) {
    return written(fd, [=](IsamFile *h) { return isWrite(h, record); });
}

int iswrlock(int fd, char *record) {
    return written(fd, [=](IsamFile *h) { return isWrLock(h, record); });
}

int iswrcurr(int fd, char *record) {
    return written(fd, [=](IsamFile *h) { return isWrCurr(h, record); });
}

int isrewrite(int fd, char *record) {
    return written(fd, [=](IsamFile *h) { return isRewrite(h, record); });
}

int isrewrec(int fd, long recnum, char *record) {
    return written(fd, [=](IsamFile *h) { return isRewRec(h, recnum, record); });
}

int isrewcurr(int fd, char *record) {
    return written(fd, [=](IsamFile *h) { return isRewCurr(h, record); });
}

int isrewnxt(int fd, char *record) {
    return written(fd, [=](IsamFile *h) { return isRewNxt(h, record); });
}

int isdelete(int fd, char *record) {
    return isWrapped(fd, [=](IsamFile *h) { return isDelete(h, record); });
}

int isdelrec(int fd, long recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isDelRec(h, recnum); });
}

int isdelcurr(int fd) { return isWrapped(fd, isDelCurr); }

int issetunique(int fd, long value) {
    return isWrapped(fd, [=](IsamFile *h) { return isSetUnique(h, value); });
}

int isuniqueid(int fd, long *id) {
    return isWrapped(fd, [=](IsamFile *h) { return isUniqueId(h, id); });
}

long isgetmask(int fd) {
    const IsamFile *h = isAdmItoD(fd);
    return h != nullptr ? static_cast<long>(h->mask) : 0;
}

int issetmask(int fd, long mask) {
    IsamFile *h = isAdmItoD(fd);
    if (h == nullptr) return -1;
    h->mask = static_cast<std::uint32_t>(mask);
    return 0;
}
