// The highest record number.

#include "api/stdwrap.h"
#include "isam.h"
#include "records/islast.h"

int islastrec(int fd, long *recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isLastRec(h, recnum); });
}

int isgetlastrec(int fd, long *recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isGetLastRec(h, recnum); });
}

int issetlastrec(int fd, long recnum) {
    return isWrapped(fd, [=](IsamFile *h) { return isSetLastRec(h, recnum); });
}
