#include "txn/islog.h"

#include "base/isfail.h"
#include "base/isglobal.h"

bool isLGtest(const IsamFile *h) {
    if (h != nullptr && (h->mode & ISNOLOG) != 0) return false;
    return isProcess.logfile >= 0;
}

// No log can be opened in this version, so none of the writers is reached; a
// change that had to be logged and could not be must not pass for done.
void isLGfile(int, IsamFile *h) { isFail(h, ISERR_LOGWRITE); }
void isLGbuild(int, IsamFile *h, const KeyDesc *) { isFail(h, ISERR_LOGWRITE); }
void isLGindex(int, IsamFile *h, const KeyDesc *) { isFail(h, ISERR_LOGWRITE); }
void isLGuniq(int, IsamFile *h, long) { isFail(h, ISERR_LOGWRITE); }
void isLGdata(int, IsamFile *h, long, const void *) { isFail(h, ISERR_LOGWRITE); }
void isLGupdate(int, IsamFile *h, long, const void *, const void *) { isFail(h, ISERR_LOGWRITE); }
void isLGfits(IsamFile *h) { isFail(h, ISERR_LOGWRITE); }

// Without a log there is no transaction to park a handle in.
bool isLGvclose(IsamFile *) { return false; }
IsamFile *isLGvopen(const char *, int) { return nullptr; }
