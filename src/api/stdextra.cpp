// Whole file sets, and the library as a whole.

#include <algorithm>
#include <cstdint>

#include "api/stdwrap.h"
#include "base/isglobal.h"
#include "isam.h"
#include "isam_maint.h"  // isAdmItoD
#include "keys/isnodepool.h"
#include "maint/iscluster.h"
#include "maint/iscopy.h"
#include "maint/iserase.h"

int iserase(const char *name) { return isWrapRet(isErase(name)); }
int isrename(const char *from, const char *to) { return isWrapRet(isRename(from, to)); }

int isclone(int fd, const char *name) {
    IsamFile *h = isWrapInit(fd);
    if (h == nullptr) return -1;
    IsamFile *made = isClone(h, name);
    return made != nullptr ? isWrapFind(made) : isWrapDone(h, 0);
}

int iscopy(int to, int from, KeyDesc *key) {
    IsamFile *source = isWrapOpen(from);
    if (source == nullptr) return -1;
    return isWrapped(to, [=](IsamFile *h) { return isCopy(h, source, key, false); });
}

int iscluster(int fd, KeyDesc *key) {
    IsamFile *h = isWrapInit(fd);
    return h != nullptr ? isWrapFound(isCluster(h, key)) : -1;
}

long iscachelimit(long kilobytes) {
    constexpr std::size_t kUnit = 1024, kMost = SIZE_MAX / kUnit / 2;
    const auto before = static_cast<long>(isProcess.cacheLimit / kUnit);
    if (kilobytes >= 0) {
        isProcess.cacheLimit = std::min(static_cast<std::size_t>(kilobytes), kMost) * kUnit;
        isPoolTrim();
    }
    return before;
}
