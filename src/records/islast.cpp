#include "records/islast.h"

#include "base/isfail.h"
#include "frame/isentry.h"
#include "storage/isahead.h"
#include "storage/ishead.h"

int isGetLastRec(IsamFile *h, long *recnum) {
    return isReading(h, ISCLASS_READ, [h, recnum] {
        if (recnum == nullptr) isFail(h, ISERR_ARGUMENT);
        *recnum = static_cast<long>(h->dataFree.last);
        return 1;
    });
}

int isSetLastRec(IsamFile *h, long recnum) {
    return isChanging(h, [h, recnum] {
        if (recnum < 0 || static_cast<unsigned long>(recnum) > kMaxNumber) isFail(h, ISERR_ARGUMENT);
        h->dataFree.last = static_cast<std::uint32_t>(recnum);
        isAheadForget(h);  // what was read ended with the old one
        isHeadWrite(h);
        return 1;
    });
}

int isLastRec(IsamFile *h, long *recnum) {
    return isChanging(h, [h, recnum] {
        if (recnum == nullptr) isFail(h, ISERR_ARGUMENT);
        if (h->dataFree.last >= kMaxNumber) isFail(h, ISERR_DISKSPACE);
        *recnum = static_cast<long>(++h->dataFree.last);
        isAheadForget(h);
        isHeadWrite(h);
        return 1;
    });
}
