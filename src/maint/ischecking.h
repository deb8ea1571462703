// The frame of a check.
#pragma once

#include "frame/isentry.h"
#include "storage/isahead.h"
#include "isam.h"
#include "keys/isindex.h"
#include "storage/isnumbers.h"

// Notes what a check has found.
inline void isFound(IsamFile *h, int bits) { h->findings |= bits; }

// Runs body as a check and returns what it found, with readError added when it
// could not be run to its end.
template <typename Body> int isChecking(IsamFile *h, int readError, Body &&body) {
    h->findings = 0;
    const int ended = isReading(h, ISCLASS_READ, [h, &body] {
        h->damageFails = true;
        isAheadForget(h);
        body();
        return 1;
    });
    isNumbersFree(h);
    isFreeTwin(h);
    return ended ? h->findings : h->findings | readError;
}
