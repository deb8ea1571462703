#include "maint/iserase.h"

#include <cerrno>

#include "base/isfail.h"
#include "base/issystem.h"
#include "frame/isentry.h"
#include "lock/isshare.h"
#include "records/isopen.h"
#include "storage/ishead.h"
#include "txn/islog.h"

namespace {

// Runs body on the file set, which nobody else has open: the lock is kept until
// the end, so that nobody opens what is about to go.
template <typename Body> int onWholeSet(const char *name, Body &&body) {
    if (name == nullptr || *name == '\0') {
        errno = ISERR_ARGUMENT;
        return 0;
    }
    IsamFile *h = isNewHandle(name, ISLOCKEXCL);
    const int done = isOperation(h, ISCLASS_OPEN, [h, &body] {
        isAdmOpen(h);
        isLoadHead(h);
        if (isLGtest(nullptr)) isLGhold();
        body(h);
        return 1;
    });
    isLGletGo();
    if (done)
        isDispose(h);
    else
        isAbandon(h);
    return done;
}

}  // namespace

void isRemoveFiles(IsamFile *h, const char *name) {
    is_unlink(h, ISKIND_INDEX, name);
    if (hasData(h)) is_unlink(h, ISKIND_DATA, name);
}

// Both files have both names for a moment: whoever is killed meanwhile leaves one
// name that has them all.
void isRenameFiles(IsamFile *h, const char *from, const char *to) {
    int steps = 0;
    const bool renamed = isAttempt(h, [h, from, to, &steps] {
        is_link(h, ISKIND_INDEX, from, to);
        ++steps;
        if (hasData(h)) is_link(h, ISKIND_DATA, from, to);
        ++steps;
        is_unlink(h, ISKIND_INDEX, from);
        ++steps;
        if (hasData(h)) is_unlink(h, ISKIND_DATA, from);
    });
    if (renamed) return;
    const int code = h->errcode, io = h->errio;
    // Where the old name cannot be had back, the new one has them all.
    if (steps > 2 && !isAttempt(h, [=] { is_link(h, ISKIND_INDEX, to, from); })) isFail(h, code, io);
    if (steps > 1 && hasData(h)) isAttempt(h, [=] { is_unlink(h, ISKIND_DATA, to); });
    if (steps > 0) isAttempt(h, [=] { is_unlink(h, ISKIND_INDEX, to); });
    isFail(h, code, io);
}

int isErase(const char *name) {
    return onWholeSet(name, [name](IsamFile *h) {
        isRemoveFiles(h, name);
        if (isLGtest(nullptr)) isNeedLogged(h, isLGerase(logtype::kErase, name));
    });
}

int isRename(const char *from, const char *to) {
    if (to == nullptr || *to == '\0') {
        errno = ISERR_ARGUMENT;
        return 0;
    }
    return onWholeSet(from, [from, to](IsamFile *h) {
        isRenameFiles(h, from, to);
        if (isLGtest(nullptr)) isNeedLogged(h, isLGrename(logtype::kRename, from, to));
    });
}
