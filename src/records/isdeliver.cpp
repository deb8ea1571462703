#include "records/isdeliver.h"

#include <cstring>

#include "keys/iskey.h"
#include "storage/isdatio.h"
#include "storage/isvarlen.h"

void isCopyOut(IsamFile *h, char *record) {
    std::memcpy(record, h->recordBuffer, static_cast<std::size_t>(h->recordLength));
    h->reclen = h->recordLength;
    if (hasMasks(h)) h->mask = slot::mask(h);
    // The tail of a deleted record is gone.
    if (hasTails(h) && slot::status(h) != slot::kDeleted) isVLread(h, record);
}

void isDeliver(IsamFile *h, char *record) {
    if (!hasData(h)) {
        if (h->keyCount > 0) isKeyLoad(h->indexes[0], record, nullptr);
        h->reclen = 0;
        return;
    }
    if (!inRecordOrder(h)) isGetData(h, h->recnum);
    isCopyOut(h, record);
}

int isTurnMode(const IsamFile *h, int mode) {
    if (mode == ISNEXT && (h->state & ISSTATE_NEXTCURR) != 0) return ISCURR;
    if (mode == ISPREV && (h->state & ISSTATE_PREVCURR) != 0) return ISCURR;
    return mode;
}

int isMissCode(int mode) {
    if (mode == ISCURR) return ISERR_NOCURRENT;
    return mode >= ISEQUAL ? ISERR_NOTFOUND : ISERR_ENDOFFILE;
}
