// Choosing an index and a position without reading a record.

#include <cstring>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "keys/iskey.h"
#include "records/isdeliver.h"
#include "records/isread.h"
#include "storage/isdatio.h"
#include "tree/islocate.h"

namespace {

bool isRelative(int mode) { return mode == ISNEXT || mode == ISPREV || mode == ISCURR; }

// Makes the described index current, with length bytes of its key.
void chooseIndex(IsamFile *h, const KeyDesc *key, int length, int mode) {
    const int n = isFindIndex(h, key);
    if (n < 0) isFail(h, ISERR_KEYDESC);
    h->currentIndex = n;
    if (n < h->keyCount) {
        IndexPath *path = h->indexes[n];
        if (length < 0 || length > keyLength(path)) isFail(h, ISERR_ARGUMENT);
        path->startLength = path->searchLength = length != 0 ? length : keyLength(path);
    }
    // Relative modes start from the current record, in its place in the new
    // order. Where it has none, that order's own position serves.
    if (isRelative(mode)) locrec(h, h->recnum);
}

// Finds what the mode asks for. Whole keys tell where the position is: the length
// that was asked for counts again afterwards.
bool locate(IsamFile *h, const char *record, int mode) {
    if (inRecordOrder(h) || mode >= ISEQUAL) return isLocate(h, record, isTurnMode(h, mode));
    IndexPath *path = h->indexes[h->currentIndex];
    const int asked = path->searchLength;
    path->searchLength = keyLength(path);
    const bool located = isLocate(h, record, isTurnMode(h, mode));
    path->searchLength = asked;
    return located;
}

void settleState(IsamFile *h, int mode) {
    unsigned state = h->state & ~static_cast<unsigned>(ISSTATE_NEXTCURR | ISSTATE_PREVCURR | ISSTATE_NOCURR);
    if (mode != ISNEXT) state |= ISSTATE_NEXTCURR;
    if (mode == ISLAST) state |= ISSTATE_PREVCURR;
    if (mode == ISFIRST || mode == ISLAST) state |= ISSTATE_NOCURR;
    h->state = static_cast<std::uint16_t>(state);
}

void releaseAuto(IsamFile *h) {
    if ((h->mode & ISLOCKAUTO) != 0) isDropDall(h);
}

}  // namespace

int isStart(IsamFile *h, const KeyDesc *key, int length, const char *record, int mode) {
    return isReading(h, ISCLASS_READ, [=] {
        if (mode < ISFIRST || mode > ISGTEQ) isFail(h, ISERR_ARGUMENT);
        releaseAuto(h);
        if (key != nullptr) chooseIndex(h, key, length, mode);
        const bool located = locate(h, record, mode);
        if (!located && mode != ISFIRST && mode != ISLAST) isFail(h, isMissCode(mode));
        settleState(h, mode);
        return 1;
    });
}

int isIndex(IsamFile *h, int index) {
    return isOperation(h, ISCLASS_READ, [h, index] {
        if (index < 0 || index > h->keyCount) isFail(h, ISERR_KEYDESC);
        h->currentIndex = index == 0 ? h->keyCount : index - 1;
        return 1;
    });
}

int isGoto(IsamFile *h, long recnum) {
    return isReading(h, ISCLASS_ANY, [h, recnum] {
        releaseAuto(h);
        if (!locrec(h, recnum)) isFail(h, ISERR_NOTFOUND);
        return 1;
    });
}

int isData(IsamFile *h, char *record, long recnum) {
    return isReading(h, ISCLASS_READ, [h, record, recnum] {
        if (record == nullptr || !isSlotNumber(h, recnum)) isFail(h, ISERR_ARGUMENT);
        isGetData(h, recnum);
        if (slot::status(h) == slot::kDeleted) {
            std::memcpy(record, h->recordBuffer, static_cast<std::size_t>(h->recordLength));
            isFail(h, ISERR_NOTFOUND);
        }
        isCopyOut(h, record);
        return 1;
    });
}

int isPush(IsamFile *h, int *index, long *recnum) {
    return isOperation(h, ISCLASS_ANY, [h, index, recnum] {
        if (index == nullptr || recnum == nullptr) isFail(h, ISERR_ARGUMENT);
        *index = inRecordOrder(h) ? 0 : h->currentIndex + 1;
        *recnum = static_cast<long>(isCurrent(h));
        return 1;
    });
}

int isPop(IsamFile *h, int index, long recnum) {
    if (!isIndex(h, index)) return 0;
    return recnum == 0 ? 1 : isGoto(h, recnum);
}
