#include "frame/isadmin.h"

#include <cstring>
#include <ctime>

#include "base/ismemory.h"

namespace {

constexpr int kGrowth = 10;
constexpr long kScanPauseNs = 1000000;
constexpr std::size_t kTokenSize = 2;

// Lowest free slot, in a table grown if need be.
int newitem() {
    ProcessState &p = isProcess;
    for (int i = 0; i < p.admsize; ++i)
        if (p.adminfo[i].isam == nullptr) return i;
    const int first = p.admsize;
    p.adminfo = static_cast<AdmEntry *>(is_realloc(p.adminfo, sizeof(AdmEntry) * static_cast<std::size_t>(first),
                                                   sizeof(AdmEntry) * static_cast<std::size_t>(first + kGrowth)));
    p.admsize += kGrowth;
    return first;
}

void *tokenOf(const IsamFile *h) { return h->slot > 0 ? isProcess.adminfo[h->slot - 1].dup : nullptr; }

// Does other hold a lock that keeps recnum (0: the whole file) from a second
// handle of the process?
bool holdsLock(const IsamFile *other, long recnum) {
    if ((other->lockFlags & ISLF_WHOLEDATA) != 0) return true;
    for (int i = other->lockCount - 1; i >= 0; --i)
        if (recnum != 0 ? other->lockList[i] == recnum : other->lockList[i] != 0) return true;
    return false;
}

bool conflict(const IsamFile *h, long recnum) {
    return isAdmAnyOther(h, [recnum](const IsamFile *other) { return holdsLock(other, recnum); });
}

}  // namespace

int isAdmRegister(IsamFile *h) {
    const int index = newitem();
    isProcess.adminfo[index] = {h, nullptr};
    h->slot = index + 1;
    return index;
}

int isAdmUnregister(IsamFile *h) {
    const int index = h->slot - 1;
    if (index < 0 || index >= isProcess.admsize || isProcess.adminfo[index].isam != h) return index;
    AdmEntry &entry = isProcess.adminfo[index];
    if (entry.dup != nullptr && isAdmShareCount(h) < 2) is_free(entry.dup);
    entry = {nullptr, nullptr};
    h->slot = 0;
    return index;
}

IsamFile *isAdmFindName(const IsamFile *h, const char *name) {
    for (int i = isProcess.admsize - 1; i >= 0; --i) {
        IsamFile *other = isProcess.adminfo[i].isam;
        if (other == nullptr || other == h || other->inherited) continue;
        if (std::strcmp(other->name, name) == 0) return other;
    }
    return nullptr;
}

bool isAdmSameToken(const IsamFile *h, const IsamFile *other) {
    return tokenOf(h) != nullptr && tokenOf(h) == tokenOf(other);
}

bool isAdmSameFile(const IsamFile *h, const IsamFile *other) {
    return isAdmSameToken(h, other) || (h->indexFile != FileIdentity{} && h->indexFile == other->indexFile);
}

void isAdmNewToken(IsamFile *h) { isProcess.adminfo[h->slot - 1].dup = is_malloc(kTokenSize); }

void isAdmShareToken(IsamFile *h, const IsamFile *other) { isProcess.adminfo[h->slot - 1].dup = tokenOf(other); }

int isAdmShareCount(const IsamFile *h) {
    const void *token = tokenOf(h);
    if (token == nullptr) return 0;
    int count = 0;
    for (int i = 0; i < isProcess.admsize; ++i)
        if (isProcess.adminfo[i].dup == token) ++count;
    return count;
}

int isAdmCheck(const IsamFile *h) {
    if (h == nullptr) return 0;
    for (int i = 0; i < isProcess.admsize; ++i)
        if (isProcess.adminfo[i].isam == h) return 1;
    return 0;
}

IsamFile *isAdmHandle(int fd) { return fd >= 0 && fd < isProcess.admsize ? isProcess.adminfo[fd].isam : nullptr; }

IsamFile *isAdmItoD(int fd) {
    IsamFile *h = isAdmHandle(fd);
    return h != nullptr && (h->state & ISSTATE_PARKED) == 0 ? h : nullptr;
}

int isAdmDtoI(const IsamFile *h) { return h != nullptr ? h->slot - 1 : -1; }

int isAdmDupData(const IsamFile *h, long recnum, int wait) {
    while (conflict(h, recnum)) {
        if (wait == 0) return 1;
        const timespec pause = {0, kScanPauseNs};
        nanosleep(&pause, nullptr);
    }
    return 0;
}

int isAdmTxnFile(long first, long second) {
    ProcessState &p = isProcess;
    for (p.lastid = p.admsize - 1; p.lastid > 0; --p.lastid) {
        const IsamFile *h = p.adminfo[p.lastid].isam;
        if (h != nullptr && h->txnFileId[1] == first && h->txnFileId[0] == second) return p.lastid;
    }
    p.lastid = 0;
    return 0;
}

IsamFile *isAdmTxnLast() { return isAdmHandle(isProcess.lastid); }

void isAdmFreeTable() {
    isProcess.adminfo = static_cast<AdmEntry *>(is_free(isProcess.adminfo));
    isProcess.admsize = 0;
}
