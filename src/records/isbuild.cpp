#include "records/isbuild.h"

#include <cerrno>

#include "base/isfail.h"
#include "base/ismap.h"
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

// What a build has done so far, bits of IsamFile::filesMade.
enum Made : std::uint8_t { kIndexMade = 1, kDataMade = 2, kBuildLogged = 4 };

// The indexes of a new file, in order; the first may have no parts.
struct IndexList {
    const KeyDesc *keys[kMaxPaths + 1];
    int count;
};

// Removes the files that a build has made. The handle keeps its error.
void removeMade(IsamFile *h) {
    const int code = h->errcode, io = h->errio;
    isOperation(h, ISCLASS_OPEN, [h] {
        if ((h->filesMade & kIndexMade) != 0) is_unlink(h, ISKIND_INDEX, h->name);
        if ((h->filesMade & kDataMade) != 0) is_unlink(h, ISKIND_DATA, h->name);
        if ((h->filesMade & kBuildLogged) != 0) isLGerase(logtype::kErase, h->name);
        return 1;
    });
    h->errcode = code;
    h->errio = io;
}

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

void makeFiles(IsamFile *h, const IndexList &indexes) {
    is_create(h, ISKIND_INDEX, h->name);
    if (isAdmFindName(h, h->name) != nullptr) {
        // Files of that name were removed while this process had them open; the
        // new handle would share their descriptors.
        is_unlink(h, ISKIND_INDEX, h->name);
        isFail(h, ISERR_FILEINUSE);
    }
    h->filesMade = kIndexMade;
    isMakeHead(h);
    for (int i = 0; i < indexes.count; ++i) {
        isMakeIndex(h, indexes.keys[i]);
        isHeadWrite(h);
    }
    is_close(h, ISKIND_INDEX);
    if (!hasData(h)) return;
    is_create(h, ISKIND_DATA, h->name);
    h->filesMade |= kDataMade;
    is_close(h, ISKIND_DATA);
    h->recordBuffer = is_new<std::uint8_t>(static_cast<std::size_t>(h->bufferLength));
}

// Makes the files and opens them.
void buildAll(IsamFile *h, const IndexList &indexes, int minLength, int maxLength) {
    settleShape(h, minLength, maxLength);
    for (int i = 0; i < indexes.count; ++i)
        if (indexes.keys[i] == nullptr || !isTestIndex(h, indexes.keys[i])) isFail(h, ISERR_KEYDESC);
    if (isLGtest(h)) isLGhold();
    makeFiles(h, indexes);
    // The files are there now, whatever comes of opening them.
    if (isLGtest(h)) {
        isNeedLogged(h, isLGbuild(logtype::kBuild, h, indexes.keys[0]));
        h->filesMade |= kBuildLogged;
    }
    isAdmOpen(h);
    isMapStart(h);
    if (hasTails(h)) isVLinit(h);
    h->reclen = minLength;
    isLGmark(h);
    if (!isLGtest(h)) return;
    isNeedLogged(h, isLGfile(logtype::kFileOpen, h));
    for (int i = 1; i < indexes.count; ++i)
        isNeedLogged(h, isLGindex(logtype::kCreateIndex, h, indexes.keys[i]));
}

}  // namespace

IsamFile *isBuild(const char *name, int minLength, int maxLength, const KeyDesc *key, int mode) {
    if ((mode & ~ISMAPPED) < kFirstLockBit) mode |= ISLOCKMANUAL;
    IsamFile *h = isNewHandle(name != nullptr ? name : "", mode);
    const int built = isOperation(h, ISCLASS_OPEN, [=] {
        if (name == nullptr) isFail(h, ISERR_ARGUMENT);
        buildAll(h, {{key}, 1}, minLength, maxLength);
        return 1;
    });
    isLGletGo();
    if (built) return h;
    isAbandon(h);
    return nullptr;
}

IsamFile *isBuildLike(const IsamFile *model, const char *name) {
    static const KeyDesc noKey = {};
    IndexList indexes = {};
    if ((model->state & ISSTATE_NOPRIMARY) != 0) indexes.keys[indexes.count++] = &noKey;
    for (int i = 0; i < model->keyCount; ++i)
        indexes.keys[indexes.count++] = &model->indexes[i]->keyDesc;
    IsamFile *h = isNewHandle(name, model->mode);
    h->mapWanted = model->mapWanted;
    const int built = isOperation(h, ISCLASS_OPEN, [h, model, &indexes] {
        // The catalogue is gone, or a file without records has masks.
        if (indexes.count == 0 || (hasMasks(model) && !hasData(model))) isFail(h, ISERR_CORRUPT);
        buildAll(h, indexes, model->recordLength, model->varlenInfo);
        return 1;
    });
    isLGletGo();
    if (built) return h;
    removeMade(h);
    isAbandon(h);
    return nullptr;
}

void isUnbuild(IsamFile *h) {
    removeMade(h);
    isAbandon(h);
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
        isEndChange(h);
        return 1;
    });
}
