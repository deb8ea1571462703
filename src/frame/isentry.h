// The frame of an operation: entry check, recovery point, the body, and the
// clean-up after a failure.
//
// Between the recovery point and anything that may fail there is no automatic
// object with a destructor and no memory that only a local variable knows.
// Operations do not nest on one handle.
#pragma once

#include <csetjmp>
#include <cstring>

#include "base/isfail.h"
#include "base/isfile.h"
#include "lock/islock.h"
#include "tree/iswarm.h"

// May an operation of this class run on the handle? On a refusal the reason is
// in errno (101, 105) or in the handle's errcode (102).
bool isEntry(IsamFile *h, int entryClass);

// Cleans up after a failure: a failed change leaves no trace in memory, no
// phase lock stays held. A failure in here is the fatal stop "isam crash".
void isUndo(IsamFile *h);

// Refreshes the handle under a lock: loads the header, and forgets everything
// cached when another handle or process has changed the file since. Nothing
// under ISLOCKEXCL.
void isDelta(IsamFile *h);

// Forgets it in any case.
void isForgetCached(IsamFile *h);

// A call of its own for the body: none of its variables lives in the frame that
// the jump lands in.
template <typename Body> [[gnu::noinline]] auto isRunBody(Body &body) { return body(); }

// Runs body as an operation and returns its result; 0 after a refusal or a
// failure.
template <typename Body> int isOperation(IsamFile *h, int entryClass, Body &&body) {
    if (!isEntry(h, entryClass)) return 0;
    if (setjmp(h->recoveryPoint) != 0) {
        isUndo(h);
        return 0;
    }
    return isRunBody(body);
}

// Runs body inside an operation and returns false when it fails; the failure is
// then the caller's to deal with or to raise again, the operation goes on.
template <typename Body> bool isAttempt(IsamFile *h, Body &&body) {
    std::jmp_buf outer;
    std::memcpy(&outer, &h->recoveryPoint, sizeof outer);
    if (setjmp(h->recoveryPoint) != 0) {
        std::memcpy(&h->recoveryPoint, &outer, sizeof outer);
        h->activeClass = h->failedClass;
        return false;
    }
    isRunBody(body);
    std::memcpy(&h->recoveryPoint, &outer, sizeof outer);
    return true;
}

// Runs body inside an operation and tells whether there was no damage in its way.
// Any other failure is raised again.
template <typename Body> bool isUndamaged(IsamFile *h, Body &&body) {
    if (isAttempt(h, body)) return true;
    if (h->errcode != ISERR_CORRUPT) isFail(h, h->errcode, h->errio);
    h->errcode = h->errio = 0;
    return false;
}

// What can be done around the lock, as it takes its time: one step before it, one
// behind it. What others have changed is not known at either.
struct NothingAhead {
    void operator()(WarmStep) const {}
};

// An operation that reads: body runs under the shared phase lock, refreshed; ahead
// makes near what it is going to need.
template <typename Body, typename Ahead = NothingAhead>
int isReading(IsamFile *h, int entryClass, Body &&body, Ahead &&ahead = {}) {
    return isOperation(h, entryClass, [h, &body, &ahead] {
        ahead(WarmStep::kWay);
        isLockRead(h);
        ahead(WarmStep::kLeaf);
        isDelta(h);
        const int result = body();
        isDropLock(h);
        return result;
    });
}

// An operation that changes the file: the same under the exclusive phase lock.
template <typename Body, typename Ahead = NothingAhead> int isChanging(IsamFile *h, Body &&body, Ahead &&ahead = {}) {
    return isOperation(h, ISCLASS_WRITE, [h, &body, &ahead] {
        ahead(WarmStep::kWay);
        isLockWrite(h);
        ahead(WarmStep::kLeaf);
        isDelta(h);
        const int result = body();
        h->changeLogged = false;  // what follows does not undo the change
        isDropLock(h);
        return result;
    });
}
