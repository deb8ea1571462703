#include "frame/isaccess.h"

#include "base/isfail.h"
#include "frame/isentry.h"
#include "lock/islock.h"

int isLock(IsamFile *h) {
    return isReading(h, ISCLASS_READ, [h] {
        if (!isLockDall(h)) isFail(h, ISERR_LOCKED);
        return 1;
    });
}

int isUnLock(IsamFile *h) {
    return isReading(h, ISCLASS_READ, [h] {
        isDropDall(h);
        return 1;
    });
}

// Two names for one thing.
int isRelease(IsamFile *h) { return isUnLock(h); }

int isRelRec(IsamFile *h, long recnum) {
    return isReading(h, ISCLASS_READ, [h, recnum] {
        if (recnum < 1) isFail(h, ISERR_ARGUMENT);
        isDropData(h, recnum);
        return 1;
    });
}

int isRelCurr(IsamFile *h) {
    return isReading(h, ISCLASS_READ, [h] {
        if (h->recnum != 0) isDropData(h, h->recnum);
        return 1;
    });
}

int isThreaded() { return 1; }
