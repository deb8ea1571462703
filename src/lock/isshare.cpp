#include "lock/isshare.h"

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "lock/islock.h"
#include "storage/ishead.h"

// A descriptor that no handle uses any more, of a file that others still use.
struct KeptDescriptor {
    FileIdentity file;
    int descriptor;
    int mode;  // IsamFile::openedMode
};

namespace {

constexpr int kMaxTries = 100;
constexpr int kGrowth = 10;

FileIdentity &fileOf(IsamFile *h, int kind) { return kind == ISKIND_INDEX ? h->indexFile : h->dataFile; }

bool isUsedByOthers(const IsamFile *h, const FileIdentity &file) {
    for (int i = 0; i < isProcess.admsize; ++i) {
        const IsamFile *other = isProcess.adminfo[i].isam;
        if (other != nullptr && other != h && (other->indexFile == file || other->dataFile == file)) return true;
    }
    return false;
}

void keep(const FileIdentity &file, int descriptor, int mode) {
    ProcessState &p = isProcess;
    if (p.keptCount == p.keptRoom) {
        const std::size_t size = sizeof(KeptDescriptor) * static_cast<std::size_t>(p.keptRoom);
        p.kept = static_cast<KeptDescriptor *>(is_realloc(p.kept, size, size + sizeof(KeptDescriptor) * kGrowth));
        p.keptRoom += kGrowth;
    }
    p.kept[p.keptCount++] = {file, descriptor, mode};
}

// Uses one of them again: a file that is opened and closed time and again must
// not fill the process's table.
bool takeKept(IsamFile *h, int kind) {
    ProcessState &p = isProcess;
    if (p.keptCount == 0) return false;
    const FileIdentity file = is_named(h, kind, h->name);
    for (int i = 0; i < p.keptCount; ++i) {
        if (p.kept[i].file != file || p.kept[i].mode != h->openedMode) continue;
        storefd(h, p.kept[i].descriptor, kind);
        p.kept[i] = p.kept[--p.keptCount];
        return true;
    }
    return false;
}

// Closes those of one file.
void closeKept(const FileIdentity &file) {
    ProcessState &p = isProcess;
    if (p.kept == nullptr) return;
    int left = 0;
    for (int i = 0; i < p.keptCount; ++i) {
        if (p.kept[i].file == file)
            is_close(nullptr, p.kept[i].descriptor);
        else
            p.kept[left++] = p.kept[i];
    }
    p.keptCount = left;
    if (left > 0) return;
    p.kept = static_cast<KeptDescriptor *>(is_free(p.kept));
    p.keptRoom = 0;
}

void openFile(IsamFile *h, int kind) {
    if (!takeKept(h, kind)) is_open(h, kind, h->name);
    fileOf(h, kind) = is_identity(h, kind);
}

void closeFile(IsamFile *h, int kind) {
    const int descriptor = loadfd(h, kind);
    if (descriptor < 0) return;
    FileIdentity &file = fileOf(h, kind);
    if (file != FileIdentity{} && isUsedByOthers(h, file)) {
        keep(file, descriptor, h->openedMode);
        storefd(h, -1, kind);
    } else {
        is_close(h, kind);
        closeKept(file);
    }
    file = {};
}

// Opens both files and takes the open lock.
void openFiles(IsamFile *h) {
    const bool exclusive = (h->mode & ISLOCKEXCL) != 0;
    h->openedMode = h->mode & (ISLOCKNONE | ISSYNCWR);
    if (h->indexFd < 0) openFile(h, ISKIND_INDEX);
    if (getdatlen(h) != 0 && h->dataFd < 0) openFile(h, ISKIND_DATA);
    // The system would let the process have both.
    if (isAdmAnyOther(h, [=](const IsamFile *other) { return exclusive || (other->mode & ISLOCKEXCL) != 0; }))
        isFail(h, ISERR_FILEINUSE);
    if (exclusive)
        isLockExcl(h);
    else
        isLockOpen(h);
}

}  // namespace

bool isOpenLocked(const IsamFile *h) {
    return isAdmAnyOther(h, [](const IsamFile *other) { return (other->mode & ISLOCKNONE) == 0 && !other->inherited; });
}

int isAdmOpen(IsamFile *h) {
    const int fd = isAdmRegister(h);
    const IsamFile *other = isAdmFindName(h, h->name);
    if (other != nullptr) {
        if (((h->mode | other->mode) & ISLOCKEXCL) != 0) isFail(h, ISERR_FILEINUSE);
        h->indexFd = other->indexFd;
        h->dataFd = other->dataFd;
        h->indexFile = other->indexFile;
        h->dataFile = other->dataFile;
        h->openedMode = other->openedMode;
        isAdmShareToken(h, other);
        if (!isOpenLocked(h)) isLockOpen(h);
        return fd;
    }
    isAdmNewToken(h);
    openFiles(h);
    for (int tries = 1; !is_current(h, ISKIND_INDEX, h->name); ++tries) {
        if (tries == kMaxTries) isFail(h, ISERR_FILEINUSE);
        // Erased, renamed or built anew before the lock was granted: the data file
        // may be another set's.
        closeFile(h, ISKIND_INDEX);
        closeFile(h, ISKIND_DATA);
        openFiles(h);
    }
    return fd;
}

int isAdmClose(IsamFile *h) {
    // A handle without token failed before it had any files; one whose token
    // stands in other slots leaves the files to them.
    if (isAdmShareCount(h) < 2) {
        closeFile(h, ISKIND_INDEX);
        closeFile(h, ISKIND_DATA);
    }
    h->indexFd = h->dataFd = -1;
    return isAdmUnregister(h);
}
