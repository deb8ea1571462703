// The log, transactions, recovery and the audit trail.

#include <cerrno>

#include "api/stdwrap.h"
#include "isam.h"
#include "records/istrail.h"
#include "txn/islog.h"
#include "txn/istrans.h"

int islogopen(const char *path) {
    if (path != nullptr) return isWrapRet(isLogOpen(path));
    errno = ISERR_ARGUMENT;
    return isWrapRet(0);
}

int islogclose(void) { return isWrapRet(isLogClose()); }
int isbegin(void) { return isWrapRet(isBegin()); }
int iscommit(void) { return isWrapTxn(isCommit()); }
int isrollback(void) { return isWrapTxn(isRollBack()); }
int isrecover(void) { return isWrapTxn(isRecover()); }

int isTxnInit(short (*identity)(void)) { return isTxnIdentity(identity); }

int isaudit(int fd, char *buffer, int mode) {
    return isWrapped(fd, [=](IsamFile *h) { return isAudit(h, buffer, mode); });
}
