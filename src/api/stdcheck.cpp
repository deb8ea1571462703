// Checks. Their result is the mask itself; the globals stay as they are.

#include "api/stdwrap.h"
#include "isam.h"
#include "maint/ischeck.h"

namespace {

template <typename Check> int checked(int fd, Check &&check) {
    IsamFile *h = isWrapInit(fd);
    return h != nullptr ? check(h) : -1;
}

}  // namespace

int ischeckdata(int fd) { return checked(fd, isCheckData); }

int ischeckindex(int fd, int index) {
    return checked(fd, [index](IsamFile *h) { return isCheckIndex(h, index); });
}

int ischeckvarlen(int fd, long *stats) {
    return checked(fd, [stats](IsamFile *h) { return isCheckVarlen(h, stats); });
}
