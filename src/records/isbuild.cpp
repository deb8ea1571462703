#include "records/isbuild.h"

#include <cerrno>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "keys/iskey.h"
#include "lock/isshare.h"
#include "records/isopen.h"
#include "storage/header_layout.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isvarlen.h"
#include "txn/islog.h"

namespace {

constexpr int kFirstLockBit = 0x100;
constexpr int kMaxRecordLength = 65535;

void settleShape(IsamFile *h, int minLength, int maxLength) {
    if (minLength < 0 || minLength > kMaxRecordLength) isFail(h, ISERR_ARGUMENT);
    h->headerByte11 = header::kBuiltSerialWidth;
    h->nodeSize = header::kBuiltNodeSize;
    h->recordLength = minLength;
    if (hasTails(h)) {
        if (maxLength > ISMAXVARLEN || minLength >= maxLength) isFail(h, ISERR_ARGUMENT);
        h->varlenInfo = maxLength;
    }
    h->bufferLength = slot::length(minLength, h->mode);
    if (minLength == 0 && (h->bufferLength > slot::kStatusSize || (h->mode & ISLOCKAUTO) != 0))
        isFail(h, ISERR_ARGUMENT);
}

void makeFiles(IsamFile *h, const KeyDesc *key) {
    is_create(h, ISKIND_INDEX, h->name);
    if (isAdmFindName(h, h->name) != nullptr) {
        // Files of that name were removed while this process had them open; the
        // new handle would share their descriptors.
        is_unlink(h, ISKIND_INDEX, h->name);
        isFail(h, ISERR_FILEINUSE);
    }
    isMakeHead(h);
    isMakeIndex(h, key);
    isHeadWrite(h);
    is_close(h, ISKIND_INDEX);
    if (!hasData(h)) return;
    is_create(h, ISKIND_DATA, h->name);
    is_close(h, ISKIND_DATA);
    h->recordBuffer = is_new<std::uint8_t>(static_cast<std::size_t>(h->bufferLength));
}

}  // namespace

IsamFile *isBuild(const char *name, int minLength, int maxLength, const KeyDesc *key, int mode) {
    if (mode < kFirstLockBit) mode |= ISLOCKMANUAL;
    IsamFile *h = isNewHandle(name != nullptr ? name : "", mode);
    const int built = isOperation(h, ISCLASS_OPEN, [=] {
        if (name == nullptr) isFail(h, ISERR_ARGUMENT);
        settleShape(h, minLength, maxLength);
        if (key == nullptr || !isTestIndex(h, key)) isFail(h, ISERR_KEYDESC);
        if (isLGtest(h)) isLGhold();
        makeFiles(h, key);
        // The files are there now, whatever comes of opening them.
        if (isLGtest(h)) isNeedLogged(h, isLGbuild(logtype::kBuild, h, key));
        isAdmOpen(h);
        if (hasTails(h)) isVLinit(h);
        h->reclen = minLength;
        isLGmark(h);
        if (isLGtest(h)) isNeedLogged(h, isLGfile(logtype::kFileOpen, h));
        return 1;
    });
    isLGletGo();
    if (built) return h;
    isAbandon(h);
    return nullptr;
}

int isPrecious(IsamFile *h, int on) {
    return isChanging(h, [h, on] {
        if (on != 0 && !isPreciousFile(h)) {
            if (hasData(h)) isFreeDrop(h, ISKIND_DATA);
            h->state |= ISSTATE_PRECIOUS;
        } else if (on == 0 && isPreciousFile(h)) {
            h->state &= static_cast<std::uint16_t>(~ISSTATE_PRECIOUS);
            if (hasData(h))
                for (std::uint32_t n = h->dataFree.last; n > 0; --n)
                    if (isDelCheck(h, static_cast<long>(n))) isPutFree(h, ISKIND_DATA, n);
        }
        isFreeWrite(h);
        isHeadWrite(h);
        return 1;
    });
}
