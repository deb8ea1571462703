#include "records/isinfo.h"

#include <cerrno>
#include <cstring>

#include "base/isfail.h"
#include "frame/isentry.h"
#include "isam_maint.h"
#include "keys/ispathdef.h"
#include "storage/header_layout.h"
#include "storage/isfree.h"
#include "storage/ishead.h"

namespace {

constexpr int kVariableFlag = 0x8000;

void dictload(IsamFile *h, void *buffer) {
    DictInfo info = {};
    int count = h->keyCount + ((h->state & ISSTATE_NOPRIMARY) != 0 ? 1 : 0);
    int length = h->recordLength;
    if (h->varlenInfo > 0) {
        count |= kVariableFlag;
        length = h->varlenInfo;
        h->reclen = h->recordLength;
    }
    info.keyCount = static_cast<unsigned short>(count);
    info.recordLength = static_cast<unsigned short>(length);
    info.nodeSize = static_cast<unsigned short>(h->nodeSize);
    info.recordCount = static_cast<int>(h->dataFree.last - isFreeCount(h, ISKIND_DATA, nullptr, nullptr));
    std::memcpy(buffer, &info, sizeof info);
}

}  // namespace

int isIndexInfo(IsamFile *h, void *buffer, int index) {
    return isReading(h, ISCLASS_READ, [h, buffer, index] {
        if (buffer == nullptr || index < 0 || index > h->keyCount) isFail(h, ISERR_ARGUMENT);
        if (index == 0)
            dictload(h, buffer);
        else
            std::memcpy(buffer, &h->indexes[index - 1]->keyDesc, sizeof(KeyDesc));
        return 1;
    });
}

int isIsamInfo(IsamFile *h, DictInfo *info) { return isIndexInfo(h, info, 0); }

int isUserInfo(IsamFile *h, int direction, void *buffer) {
    return isOperation(h, ISCLASS_ANY, [h, direction, buffer] {
        if (buffer == nullptr || direction < 0 || direction > 1) isFail(h, ISERR_ARGUMENT);
        if (direction == 0)
            isLockRead(h);
        else
            isLockWrite(h);
        isDelta(h);
        if (direction == 0) {
            std::memcpy(buffer, isHeadUser(h), header::kUserInfoSize);
        } else {
            // From here on it is a change, to be undone as one.
            h->activeClass = ISCLASS_WRITE;
            std::memcpy(isHeadUser(h), buffer, header::kUserInfoSize);
            h->headWhole = true;
            isHeadWrite(h);
        }
        isDropLock(h);
        return 1;
    });
}

int isErrno(IsamFile *h) { return h != nullptr ? h->errcode : errno; }
int isErrio(IsamFile *h) { return h != nullptr ? h->errio : 0; }
long isRecnum(IsamFile *h) { return h != nullptr ? h->recnum : -1; }
int isReclen(IsamFile *h) { return h != nullptr ? h->reclen : -1; }
