#include "api/stdwrap.h"

#include <cerrno>

#include "base/isglobal.h"
#include "frame/isadmin.h"
#include "records/isfork.h"

namespace {

bool isAdopted(IsamFile *h) {
    if (isAdopt(h)) return true;
    iserrio = h->errio;
    isTellFailure(h->errcode);
    return false;
}

}  // namespace

IsamFile *isWrapOpen(int fd) {
    IsamFile *h = isAdmItoD(fd);
    if (h == nullptr) isTellFailure(ISERR_NOTOPEN);
    return h == nullptr || !h->inherited || isAdopted(h) ? h : nullptr;
}

IsamFile *isWrapInit(int fd) {
    IsamFile *h = isWrapOpen(fd);
    if (h == nullptr) return nullptr;
    h->recnum = isrecnum;
    h->reclen = isreclen;
    return h;
}

int isWrapDone(IsamFile *h, int success) {
    isrecnum = h->recnum;
    isreclen = h->reclen;
    iserrio = h->errio;
    isTell(h->errcode);
    return success != 0 ? 0 : -1;
}

int isWrapRet(int success) {
    isTell(success != 0 ? 0 : errno);
    return success != 0 ? 0 : -1;
}

int isWrapFind(IsamFile *h) {
    isTell(0);
    isrecnum = h->recnum;
    isreclen = h->reclen;
    return isAdmDtoI(h);
}

int isWrapFound(IsamFile *h) { return h != nullptr ? isWrapFind(h) : isWrapRet(0); }

int isWrapTxn(int success) {
    // Its error would be that of whatever it did last.
    const int code = success != 0 ? 0 : errno;
    if (IsamFile *h = isAdmTxnLast()) isWrapDone(h, success);
    isTell(code);
    return success != 0 ? 0 : -1;
}
