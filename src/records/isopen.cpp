#include "records/isopen.h"

#include <cerrno>
#include <cstring>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/ismap.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "lock/isshare.h"
#include "records/isfork.h"
#include "storage/isahead.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isnumbers.h"
#include "storage/isvarlen.h"
#include "tree/islocate.h"
#include "txn/islog.h"

namespace {

constexpr int kLockBits = ISLOCKNONE | ISLOCKAUTO | ISLOCKMANUAL | ISLOCKEXCL;
constexpr int kKeptModeBits = 0x7fff;
constexpr int kLowModeBits = 0xff;
constexpr int kFormatBits = ISVARLEN | ISCOMPRESS | ISMASK;

// The lengths and the slot buffer that follow from header and mode.
void settleLengths(IsamFile *h, bool takeVarlen) {
    if (takeVarlen && h->varlenInfo != 0) h->mode |= ISVARLEN;
    if (hasTails(h) != (h->varlenInfo > 0)) isFail(h, ISERR_ARGUMENT);
    h->bufferLength = slot::length(h->recordLength, h->mode);
    if (hasData(h))
        h->recordBuffer = is_new<std::uint8_t>(static_cast<std::size_t>(h->bufferLength));
    else if ((h->mode & ISLOCKAUTO) != 0)
        isFail(h, ISERR_ARGUMENT);
    if (hasTails(h)) isVLinit(h);
}

// A file whose first index is damaged is opened all the same, to be checked and
// mended. Without a position the first read looks for it again.
void goToFirst(IsamFile *h) {
    h->damageFails = true;
    isUndamaged(h, [h] { isLocate(h, nullptr, ISFIRST); });
    h->damageFails = false;
}

void settlePosition(IsamFile *h) {
    if ((h->state & ISSTATE_NOPRIMARY) != 0) {
        h->lastNumber = 1;
        h->recnum = 1;
        h->currentIndex = h->keyCount;
    } else {
        h->currentIndex = 0;
        goToFirst(h);
    }
    h->state |= ISSTATE_NEXTCURR;
}

// What an open does once the files are open and locked.
void getReady(IsamFile *h, bool takeVarlen) {
    // No half-made change of another process may be seen here either.
    isLockRead(h);
    isLoadHead(h);
    isCheckHead(h);
    isLoadIndexes(h);
    settleLengths(h, takeVarlen);
    settlePosition(h);
    isDropLock(h);
    isMapStart(h);
    isLGmark(h);
    if (isLGtest(h)) isNeedLogged(h, isLGfile(logtype::kFileOpen, h));
}

}  // namespace

IsamFile *isNewHandle(const char *name, int mode) {
    isLeaveParent();
    auto *h = is_new<IsamFile>();
    const std::size_t size = std::strlen(name) + 1;
    h->name = is_new<char>(size);
    std::memcpy(h->name, name, size);
    h->mode = mode & kKeptModeBits;
    h->mapWanted = (mode & ISMAPPED) != 0;
    h->indexFd = h->dataFd = -1;
    return h;
}

void isDispose(IsamFile *h) {
    dropvfile(h);
    isMapEnd(h);
    isAdmClose(h);
    isVLdone(h);
    isFreeTwin(h);
    isFreeIndex(h, h->keyCount);
    isFreeFree(h);
    is_free(h->lockList);
    isAheadFree(h);
    is_free(h->recordBuffer);
    is_free(h->header);
    is_free(h->nodeScratch);
    is_free(h->tailBuffer);
    is_free(h->auditEntry);
    is_free(h->oldImage);
    is_free(h->takenNodes);
    isNumbersFree(h);
    is_free(h->name);
    is_free(h);
}

void isAbandon(IsamFile *h) {
    const int code = h->errcode, io = h->errio;
    isDispose(h);
    errno = code;
    iserrio = io;
}

IsamFile *isOpen(const char *name, int mode) {
    if (name == nullptr) {
        errno = ISERR_ARGUMENT;
        iserrio = 0;
        return nullptr;
    }
    if ((mode & kLockBits) == 0) mode |= ISLOCKMANUAL;
    isLeaveParent();
    if (IsamFile *parked = isLGvopen(name, mode)) return parked;

    IsamFile *h = isNewHandle(name, mode);
    const int opened = isOperation(h, ISCLASS_OPEN, [h, mode] {
        isAdmOpen(h);
        getReady(h, (mode & ISVARAUTO) != 0);
        return 1;
    });
    if (opened) return h;
    isAbandon(h);
    return nullptr;
}

IsamFile *isOpenAs(const char *name, IsamFile *from) {
    IsamFile *h = isNewHandle(name, from->mode);
    h->indexFd = from->indexFd;
    h->dataFd = from->dataFd;
    h->indexFile = from->indexFile;
    h->dataFile = from->dataFile;
    h->openedMode = from->openedMode;
    h->mapWanted = from->mapWanted;
    from->indexFd = from->dataFd = -1;
    isDispose(from);
    const int opened = isOperation(h, ISCLASS_OPEN, [h] {
        isAdmRegister(h);
        isAdmNewToken(h);
        getReady(h, false);
        return 1;
    });
    if (opened) return h;
    isAbandon(h);
    return nullptr;
}

int isCloseNow(IsamFile *h) {
    if (h->inherited) {
        isLeaveParent();
        isDispose(h);
        return 1;
    }
    const int closed = isOperation(h, ISCLASS_OPEN, [h] {
        if (hasData(h) && h->dataFd > 0) isDropDall(h);
        if (isLGtest(h)) isNeedLogged(h, isLGfile(logtype::kFileClose, h));
        return 1;
    });
    const int code = h->errcode, io = h->errio;
    // The open lock goes with the last handle; a refusal changes nothing, since
    // closing the file releases it anyway.
    if (!isOpenLocked(h)) {
        isOperation(h, ISCLASS_OPEN, [h] {
            isDropFile(h);
            return 1;
        });
    }
    isDispose(h);
    errno = code;
    if (io != 0) iserrio = io;
    return closed;
}

int isClose(IsamFile *h) { return !h->inherited && isLGvclose(h) ? 1 : isCloseNow(h); }

int isCleanUp() {
    isLeaveParent();
    for (int fd = isProcess.admsize - 1; fd >= 0; --fd)
        if (IsamFile *h = isAdmHandle(fd)) isCloseNow(h);
    isAdmFreeTable();
    return 1;
}

int isSetMode(IsamFile *h, int mode) {
    return isReading(h, ISCLASS_ANY, [h, mode] {
        // A sum: low bits in the argument change the access. What describes
        // the file's format stays, whatever they are.
        const unsigned sum = static_cast<unsigned>(mode) + static_cast<unsigned>(h->mode & kLowModeBits);
        const int changed = static_cast<int>(sum & (kKeptModeBits & ~kFormatBits)) | (h->mode & kFormatBits);
        if (((mode & ISLOCKAUTO) != 0 && !hasData(h)) || ((h->mode | mode | changed) & ISLOCKEXCL) != 0)
            isFail(h, ISERR_ARGUMENT);
        if ((h->mode & ISLOCKAUTO) != 0 && (mode & ISLOCKMANUAL) != 0) isDropDall(h);
        h->mode = changed;
        return 1;
    });
}

int isLockCheck(IsamFile *h, int on) {
    return isOperation(h, ISCLASS_ANY, [h, on] {
        if (on != 0)
            h->state |= ISSTATE_LOCKCHECK;
        else
            h->state &= static_cast<std::uint16_t>(~ISSTATE_LOCKCHECK);
        return 1;
    });
}
