// Reading by mode: locate, lock if asked, deliver.

#include "records/isread.h"

#include <cstring>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "keys/iskey.h"
#include "records/isdeliver.h"
#include "storage/isdatio.h"
#include "tree/islocate.h"
#include "tree/iswarm.h"

namespace {

constexpr int kModeMask = 0xff;
constexpr int kFlagMask = 0xff00;

enum class Lock { kNone, kHeld, kRefused };

// What a failed location means to the caller, and how the next step back is
// taken.
[[noreturn]] void readfail(IsamFile *h, int mode) {
    if (mode == ISNEXT) h->state |= ISSTATE_PREVCURR;
    if (mode == ISPREV) h->state |= ISSTATE_NEXTCURR;
    isFail(h, isMissCode(mode));
}

// Modes above ISGTEQ locate nothing and are no failure: the record at hand is
// delivered.
void locateOrFail(IsamFile *h, const char *record, int mode, int callersMode) {
    if (mode > ISGTEQ) return;
    if (!isLocate(h, record, mode)) readfail(h, callersMode);
}

// The first step after opening, starting or turning round is none where there
// is a position, and goes to the edge where there is not.
int adjustMode(const IsamFile *h, int mode) {
    const int adjusted = isTurnMode(h, mode);
    if (adjusted == mode || isCurrent(h) != 0) return adjusted;
    return mode == ISNEXT ? ISFIRST : ISLAST;
}

// Locks the record located, waiting and locating again where that is asked.
// The phase lock is never held while waiting.
Lock datlock(IsamFile *h, const char *record, int mode, int callersMode, int flags) {
    if (flags == 0 || !isSlotNumber(h, h->recnum)) return Lock::kNone;
    while (!isLockData(h, h->recnum, false)) {
        if ((flags & ISWAIT) == 0) return Lock::kRefused;
        isDropLock(h);
        if (isLockData(h, h->recnum, true)) isDropData(h, h->recnum);
        isLockRead(h);
        isDelta(h);
        // The position has moved already.
        if (mode == ISNEXT || mode == ISPREV) mode = ISCURR;
        locateOrFail(h, record, mode, callersMode);
    }
    if ((flags & ISLOCK) == 0) isDropData(h, h->recnum);
    return Lock::kHeld;
}

}  // namespace

int isRead(IsamFile *h, char *record, int mode) {
    return isReading(
        h, ISCLASS_READ,
        [h, record, mode] {
            if (record == nullptr) isFail(h, ISERR_ARGUMENT);
            const int readMode = mode & kModeMask;
            int flags = mode & kFlagMask;
            if (!hasData(h) && flags != 0) isFail(h, ISERR_ARGUMENT);
            if ((h->mode & ISLOCKAUTO) != 0) {
                isDropDall(h);
                flags = ISLOCK | ISWAIT;
            }
            if (!inRecordOrder(h)) {
                IndexPath *path = h->indexes[h->currentIndex];
                path->searchLength = readMode < ISEQUAL ? keyLength(path) : path->startLength;
            }
            const int locateMode = adjustMode(h, readMode);
            locateOrFail(h, record, locateMode, readMode);
            const Lock lock = datlock(h, record, locateMode, readMode, flags);
            h->state &= static_cast<std::uint16_t>(~(ISSTATE_NOCURR | ISSTATE_NEXTCURR | ISSTATE_PREVCURR));
            isDeliver(h, record);
            if (lock == Lock::kRefused) isFail(h, ISERR_LOCKED);
            return 1;
        },
        [=](WarmStep step) {
            const int readMode = mode & kModeMask;
            if (readMode >= ISEQUAL && !inRecordOrder(h)) isRecordWarm(h->indexes[h->currentIndex], record, step);
        });
}
