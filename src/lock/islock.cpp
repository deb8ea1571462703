#include "lock/islock.h"

#include <algorithm>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "lock/lock_layout.h"

using namespace lockarea;

namespace {

constexpr const char *kModule = "islock.c";
constexpr int kReadRefusedLine = 97;
constexpr int kWriteRefusedLine = 113;

enum Area : int { kOpenArea = 0, kPhaseArea = 2 };

constexpr int kSlotGrowth = 10;
constexpr int kMaxSlots = 32767;

std::int64_t areaStart(Area area) { return area == kOpenArea ? kHighArea : 0; }

int request(bool exclusive, bool wait) { return (wait ? 1 : 2) + (exclusive ? 0 : 2); }

bool unlocked(const IsamFile *h) { return (h->mode & ISLOCKNONE) != 0; }
bool heldBy(const IsamFile *h, int flags) { return (h->lockFlags & flags) != 0; }

bool setlock(IsamFile *h, Area area, bool exclusive, bool wait) {
    return is_lock(h, ISKIND_INDEX, areaStart(area), kAreaLength, request(exclusive, wait)) != 0;
}

// An exclusive lock whose area bit is set goes back to shared instead.
void droplock(IsamFile *h, Area area, bool exclusive) {
    const bool keepShared = exclusive && (h->lockFlags & (1 << area)) != 0;
    is_lock(h, ISKIND_INDEX, areaStart(area), kAreaLength, keepShared ? ISLT_READWAIT : ISLT_UNLOCK);
}

// Slot of a record in the lock list or -1; for record 0 a free slot, in a list
// grown if need be, -1 when it cannot grow.
int findslot(IsamFile *h, long recnum) {
    for (int i = h->lockCount - 1; i >= 0; --i)
        if (h->lockList[i] == recnum) return i;
    if (recnum != 0) return -1;
    const int first = h->lockCount;
    if (first + kSlotGrowth > kMaxSlots) return -1;
    constexpr std::size_t kSlotSize = sizeof *h->lockList;
    h->lockList = static_cast<std::int32_t *>(is_realloc(h->lockList, kSlotSize * static_cast<std::size_t>(first),
                                                         kSlotSize * static_cast<std::size_t>(first + kSlotGrowth)));
    h->lockCount = static_cast<std::int16_t>(first + kSlotGrowth);
    return first;
}

bool lockdata(IsamFile *h, long recnum, bool wait) {
    return is_lock(h, ISKIND_DATA, kHighArea + recnum, recnum == 0 ? kDataLength : 1, request(true, wait)) != 0;
}

void unlockRecords(IsamFile *h, std::int64_t first, std::int64_t count) {
    if (count > 0) is_lock(h, ISKIND_DATA, kHighArea + first, count, ISLT_UNLOCK);
}

// Handles that have opened the file under another name know nothing of this one,
// but to the system their locks are the same process's: what it lets go of must
// not be theirs.
template <typename Visit> bool anyStranger(const IsamFile *h, Visit &&visit) {
    return isAdmAnyOther(h, [h, &visit](const IsamFile *other) { return !isAdmSameToken(h, other) && visit(other); });
}

bool strangersHoldAll(const IsamFile *h) {
    return anyStranger(h, [](const IsamFile *other) { return other->allLocked; });
}

// The lowest record from first on that one of them has locked, or the end of the
// range of all records.
std::int64_t nextOfStrangers(const IsamFile *h, std::int64_t first) {
    std::int64_t lowest = kDataLength;
    anyStranger(h, [first, &lowest](const IsamFile *other) {
        for (int i = 0; i < other->lockCount; ++i)
            if (other->lockList[i] >= first && other->lockList[i] < lowest) lowest = other->lockList[i];
        return false;
    });
    return lowest;
}

void dropdata(IsamFile *h, long recnum) {
    const bool kept = strangersHoldAll(h);
    if (recnum != 0) {
        if (!kept) unlockRecords(h, recnum, 1);
        return;
    }
    for (std::int64_t first = 0; !kept && first < kDataLength;) {
        const std::int64_t next = nextOfStrangers(h, std::max<std::int64_t>(first, 1));
        unlockRecords(h, first, next - first);
        first = next + 1;
    }
    for (int i = h->lockCount - 1; i >= 0; --i) {
        // The range ends before the highest record numbers.
        if (h->lockList[i] >= kDataLength) unlockRecords(h, h->lockList[i], 1);
        h->lockList[i] = 0;
    }
    h->lockHighest = 0;
    h->allLocked = false;
}

bool notesAny(const IsamFile *h) {
    for (int i = 0; i < h->lockCount; ++i)
        if (h->lockList[i] != 0) return true;
    return false;
}

// Those above the highest number so far, as new records have, need no search.
bool noted(IsamFile *h, long recnum) { return recnum != 0 && recnum <= h->lockHighest && findslot(h, recnum) >= 0; }

}  // namespace

void isLockOpen(IsamFile *h) {
    if (unlocked(h) || heldBy(h, ISLF_SHARED)) return;
    if (!setlock(h, kOpenArea, false, false)) isFail(h, ISERR_FILEINUSE);
}

void isLockExcl(IsamFile *h) {
    if (unlocked(h) || heldBy(h, ISLF_EXCLUSIVE)) return;
    if (!setlock(h, kOpenArea, true, false)) isFail(h, ISERR_FILEINUSE);
}

void isDropExcl(IsamFile *h) {
    if (unlocked(h)) return;
    if ((h->mode & ISLOCKEXCL) == 0)
        is_lock(h, ISKIND_INDEX, areaStart(kOpenArea), kAreaLength, ISLT_READWAIT);
    else
        droplock(h, kOpenArea, true);
}

void isDropFile(IsamFile *h) {
    if (!unlocked(h)) droplock(h, kOpenArea, false);
}

void isLockRead(IsamFile *h) {
    if (unlocked(h) || h->phasePinned || heldBy(h, ISLF_EXCLUSIVE | ISLF_READPHASE)) return;
    if (!setlock(h, kPhaseArea, false, true)) isBroken(kModule, kReadRefusedLine);
    h->phaseHeld = true;
}

void isLockWrite(IsamFile *h) {
    if (unlocked(h) || h->phasePinned || heldBy(h, ISLF_EXCLUSIVE | ISLF_WRITEPHASE)) return;
    if (!setlock(h, kPhaseArea, true, true)) isBroken(kModule, kWriteRefusedLine);
    h->phaseHeld = true;
}

// Goes by what is held, not by the mode: issetmode may have changed that since.
void isDropLock(IsamFile *h) {
    if (!h->phaseHeld || h->phasePinned || heldBy(h, ISLF_EXCLUSIVE)) return;
    h->phaseHeld = false;
    droplock(h, kPhaseArea, false);
}

void isLockNew(IsamFile *h, long recnum) {
    if (isLocked(h, recnum)) return;
    if (!isLockData(h, recnum, false)) isFail(h, ISERR_LOCKED);
    h->newLock = recnum;
}

void isPinPhase(IsamFile *h) {
    isLockWrite(h);
    h->phasePinned = true;
}

void isUnpinPhase(IsamFile *h) {
    h->phasePinned = false;
    isDropLock(h);
}

bool isLocked(IsamFile *h, long recnum) { return heldBy(h, ISLF_EXCLUSIVE | ISLF_WHOLEDATA) || noted(h, recnum); }

bool isLockTest(IsamFile *h, long recnum) {
    if (unlocked(h) || heldBy(h, ISLF_WHOLEDATA) || noted(h, recnum)) return true;
    if (isAdmDupData(h, recnum, 0)) return false;
    // Who waits for a record gets its lock for a moment when it goes: that must not
    // keep a rollback from undoing what was done to it before.
    if (h->comesBack) return true;
    if (!lockdata(h, recnum, false)) return false;
    dropdata(h, recnum);
    return true;
}

bool isLockData(IsamFile *h, long recnum, bool wait) {
    const int slot = findslot(h, 0);
    if (unlocked(h) || noted(h, recnum)) return true;
    if (slot < 0) isFail(h, ISERR_NOLOCKS);
    if (isAdmDupData(h, recnum, wait)) return false;
    if (!lockdata(h, recnum, wait)) return false;
    h->lockList[slot] = static_cast<std::int32_t>(recnum);
    h->lockHighest = std::max(h->lockHighest, recnum);
    return true;
}

void isDropData(IsamFile *h, long recnum) {
    if (heldBy(h, ISLF_EXCLUSIVE) || recnum == 0) return;
    const int slot = findslot(h, recnum);
    if (slot < 0) return;
    dropdata(h, recnum);
    h->lockList[slot] = 0;
}

void isDropRange(IsamFile *h, long first, long last) {
    if (heldBy(h, ISLF_EXCLUSIVE)) return;
    const bool kept = strangersHoldAll(h);
    long count = 0;
    for (long recnum = last; recnum >= first; --recnum) {
        const int slot = noted(h, recnum) ? findslot(h, recnum) : -1;
        if (slot >= 0) {
            h->lockList[slot] = 0;
            ++count;
        }
        if (slot >= 0 && recnum > first) continue;
        // Those noted without a gap go together.
        const long lowest = slot >= 0 ? recnum : recnum + 1;
        if (!kept) unlockRecords(h, lowest, count);
        count = 0;
    }
}

bool isLockDall(IsamFile *h) {
    if (unlocked(h) || heldBy(h, ISLF_EXCLUSIVE | ISLF_WHOLEDATA)) return true;
    if (isAdmDupData(h, 0, 0)) return false;
    if (!lockdata(h, 0, false)) return false;
    h->allLocked = true;
    return true;
}

void isDropDall(IsamFile *h) {
    // A handle that went to ISLOCKNONE with locks in hand still has to let go.
    if (heldBy(h, ISLF_EXCLUSIVE) || (unlocked(h) && !notesAny(h))) return;
    dropdata(h, 0);
}
