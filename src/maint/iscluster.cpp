#include "maint/iscluster.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <initializer_list>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/issystem.h"
#include "frame/isentry.h"
#include "keys/isindex.h"
#include "maint/iscopy.h"
#include "maint/iserase.h"
#include "records/isbuild.h"
#include "records/isopen.h"
#include "storage/header_layout.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "txn/isaudit.h"
#include "txn/islog.h"

namespace {

constexpr int kAccessMask = 3;
constexpr char kSeparators[] = "/\\:";
constexpr int kNameRoom = kPathSize + 32;

// Name of the file that takes the old one's place: in the same directory, told
// apart by the process. The first character is never looked at, so that a file in
// the root directory gets its companion in the current one.
void mktempname(char *out, const char *name) {
    std::size_t directory = 0;
    for (std::size_t i = std::strlen(name); i-- > 1 && directory == 0;)
        if (std::strchr(kSeparators, name[i]) != nullptr) directory = i + 1;
    std::memcpy(out, name, directory);
    std::snprintf(out + directory, kNameRoom - directory, "ist%05ld", is_getpid(nullptr));
}

int checkCluster(IsamFile *h, const KeyDesc *key, char *temporary) {
    return isOperation(h, ISCLASS_ANY, [=] {
        char real[kPathSize];
        if (!hasData(h)) isFail(h, ISERR_ARGUMENT);
        if ((h->mode & ISLOCKEXCL) == 0) isFail(h, ISERR_NEEDEXCL);
        if ((h->mode & kAccessMask) != ISINOUT) isFail(h, ISERR_ARGUMENT);
        // Its end would want to undo through this handle.
        if (isLGintxn(h) != nullptr) isFail(h, ISERR_FILEINUSE);
        if (key != nullptr && isFindIndex(h, key) < 0) isFail(h, ISERR_KEYDESC);
        // Beside the real files: names cannot be moved to another file system.
        if (!testlink(real, h->name)) isFail(h, errno);
        mktempname(temporary, real);
        return 1;
    });
}

// What the header keeps for the application belongs to the file, whatever the
// order of its records. The header itself is written with them.
int takeSettings(IsamFile *clone, IsamFile *h) {
    const bool audited = h->auditNode != 0;
    if (audited && !isOperation(h, ISCLASS_ANY, [h] { return isAudLoad(h) ? 1 : 0; })) {
        clone->errcode = h->errcode;
        clone->errio = h->errio;
        return 0;
    }
    return isOperation(clone, ISCLASS_WRITE, [=] {
        clone->uniqueId = h->uniqueId;
        clone->state |= h->state & ISSTATE_PRECIOUS;
        std::memcpy(isHeadUser(clone), isHeadUser(h), header::kUserInfoSize);
        if (!audited) return 1;
        std::memcpy(clone->auditInfo, h->auditInfo, sizeof clone->auditInfo);
        isAudStore(clone);
        isFreeWrite(clone);
        return 1;
    });
}

// Only the old files may go, and only if the new ones can take their names: a
// rename does not lead into another file system.
void checkPlace(IsamFile *h, IsamFile *clone) {
    for (const int kind : {ISKIND_INDEX, ISKIND_DATA}) {
        if (!is_current(h, kind, h->name)) isFail(h, ENOENT, ISIO_NAME + kind);
        const bool index = kind == ISKIND_INDEX;
        const FileIdentity &from = index ? clone->indexFile : clone->dataFile, &to = index ? h->indexFile : h->dataFile;
        if (from.device != to.device) isFail(h, EXDEV, ISIO_NAME + kind);
    }
}

// How far the clone has come.
enum Stage { kOldStands, kOldGone, kRenamed };

// Puts the clone's files in the place of the old ones, both of which are locked.
int takePlace(IsamFile *h, IsamFile *clone, Stage *stage) {
    const int done = isOperation(h, ISCLASS_OPEN, [=] {
        checkPlace(h, clone);
        // Recovery erases no file that it has open.
        const bool logged = isLGtest(h);
        if (logged) {
            isNeedLogged(h, isLGfile(logtype::kFileClose, h));
            isNeedLogged(h, isLGfile(logtype::kFileClose, clone));
            isLGhold();
        }
        is_unlink(h, ISKIND_INDEX, h->name);
        *stage = kOldGone;
        is_unlink(h, ISKIND_DATA, h->name);
        const bool erased = !logged || isLGerase(logtype::kErase, h->name);
        isRenameFiles(h, clone->name, h->name);
        *stage = kRenamed;
        if (!erased || (logged && !isLGrename(logtype::kRename, clone->name, h->name))) isFail(h, ISERR_LOGWRITE);
        return 1;
    });
    isLGletGo();
    return done;
}

IsamFile *refuse(int code, int io) {
    errno = code;
    iserrio = io;
    return nullptr;
}

IsamFile *giveUp(IsamFile *h, IsamFile *clone, Stage stage, bool inLog, int code, int io) {
    if (stage == kOldStands) {
        // The log may have been told that the old file is closed. In a full one this
        // counts for more than the clone's end.
        if (inLog && !h->openLogged) isLGfile(logtype::kFileOpen, h);
        isUnbuild(clone);
        h->errcode = code;
        h->errio = io;
    } else {
        isCloseNow(clone);
        isCloseNow(h);
    }
    return refuse(code, io);
}

}  // namespace

IsamFile *isCluster(IsamFile *h, const KeyDesc *key) {
    char temporary[kNameRoom];
    if (!checkCluster(h, key, temporary)) return refuse(h->errcode, h->errio);
    IsamFile *clone = isBuildLike(h, temporary);
    if (clone == nullptr) {
        h->errcode = errno;
        h->errio = iserrio;
        return nullptr;
    }
    const bool inLog = h->openLogged;
    Stage stage = kOldStands;
    if (!takeSettings(clone, h) || !isCopy(clone, h, key, true))
        return giveUp(h, clone, stage, inLog, clone->errcode, clone->errio);
    if (!takePlace(h, clone, &stage)) return giveUp(h, clone, stage, inLog, h->errcode, h->errio);

    const std::size_t size = std::strlen(h->name) + 1;
    std::memcpy(temporary, h->name, size);
    isCloseNow(h);
    return isOpenAs(temporary, clone);
}
