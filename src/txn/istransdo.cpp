#include "txn/istransdo.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "frame/isentry.h"
#include "maint/iserase.h"
#include "records/isaddidx.h"
#include "records/isbuild.h"
#include "records/isopen.h"
#include "records/iswrite.h"
#include "txn/islog.h"
#include "txn/istranspair.h"

namespace {

constexpr int kRecoveryMode = ISINOUT | ISLOCKMANUAL;

// An operation's result; what its entry check refuses is in the handle alone.
int settled(const IsamFile *h, int done) {
    if (!done) errno = h->errcode;
    return done;
}

int badRecord() {
    errno = ISERR_BADLOG;
    return 0;
}

bool isOpenedFor(const IsamFile *h, int fd, int process) {
    return h != nullptr && h->recovered && h->txnFileId[0] == process && h->txnFileId[1] == fd;
}

// Closes a handle of recovery, before the log has its closing or because of it.
int closeRecovered(IsamFile *h, bool early) {
    isNoteClosed(h->txnFileId[1], h->txnFileId[0], h->logStart, early);
    return isCloseNow(h);
}

// Is the handle's file the one of that name, however it was spelled at its opening?
bool isOn(IsamFile *h, const char *name) {
    return std::strcmp(h->name, name) == 0 ||
           isOperation(h, ISCLASS_OPEN, [h, name] { return is_current(h, ISKIND_INDEX, name) ? 1 : 0; }) != 0;
}

// Closes the handles that recovery has left standing on a file: their owners
// died, closed without a record, or read on without any lock.
void closeStanding(const char *name, const IsamFile *keep) {
    for (int i = isProcess.admsize - 1; i >= 0; --i) {
        IsamFile *h = isProcess.adminfo[i].isam;
        if (h != nullptr && h != keep && h->recovered && isOn(h, name)) closeRecovered(h, true);
    }
}

IsamFile *standingFor(int fd, int process) {
    for (int i = isProcess.admsize - 1; i >= 0; --i)
        if (isOpenedFor(isProcess.adminfo[i].isam, fd, process)) return isProcess.adminfo[i].isam;
    return nullptr;
}

bool isUndoing(const LogRecord *record) { return record->moves != nullptr; }

// The number that a record of the log has by now.
std::uint32_t realNumber(const LogRecord *record, IsamFile *h, std::uint32_t number) {
    return isUndoing(record) ? isMovedTo(record->moves, h, number) : number;
}

// Before a change is undone in the running process: from here on the handle is
// not logged, and a lock check is the application's business, not ours.
struct Undoing {
    IsamFile *h;
    unsigned lockCheck;
};
Undoing startUndo(IsamFile *h) {
    const Undoing undoing = {h, h->state & static_cast<unsigned>(ISSTATE_LOCKCHECK)};
    if (!isProcess.recover) h->mode |= ISNOLOG;
    h->state &= static_cast<std::uint16_t>(~ISSTATE_LOCKCHECK);
    return undoing;
}
// A record that has just come back has lost our lock, and nobody else can have meant it.
Undoing startUndo(const LogRecord *record, IsamFile *h, std::uint32_t number) {
    h->comesBack = isUndoing(record) && isBack(record->moves, h, number);
    return startUndo(h);
}
int endUndo(const Undoing &undoing, int done) {
    undoing.h->comesBack = false;
    undoing.h->state |= static_cast<std::uint16_t>(undoing.lockCheck);
    return settled(undoing.h, done);
}

// Opens a file for what the log has done through it from offset `since` on.
int openFor(LogRecord *record, std::int64_t since) {
    const int fd = isTakeInt(record), variable = isTakeInt(record);
    const char *name = isTakeName(record);
    if (!isLogSound(record)) return 0;
    const int process = logrec::process(record->bytes);
    if (IsamFile *standing = standingFor(fd, process)) {
        // The descriptor means another file by now: this one is beyond reach, as it
        // was when the transaction was rolled back.
        if (record->offset < standing->logStart) return 1;
        isCloseNow(standing);
    }
    IsamFile *h = isOpen(name, kRecoveryMode | (variable != 0 ? ISVARLEN : 0));
    if (h == nullptr) return 0;
    h->recovered = true;
    h->txnFileId[0] = process;
    h->txnFileId[1] = fd;
    h->logStart = since;
    return 1;
}

int txnopen(LogRecord *record) { return openFor(record, record->offset); }

// For what the transaction did through the handle before it was closed.
int rollopen(LogRecord *record) {
    if (!isProcess.recover) return 1;
    LogRecord ahead = *record;
    return openFor(record, isClosedSince(isTakeInt(&ahead), logrec::process(record->bytes)));
}

int txnclose(LogRecord *record) {
    const int fd = isTakeInt(record);
    isTakeInt(record);
    isTakeName(record);
    if (!isLogSound(record)) return 0;
    if (IsamFile *h = txnrealfile(record, fd)) return closeRecovered(h, false);
    return isClosedEarly(fd, logrec::process(record->bytes)) ? 1 : 0;
}

// Rolling back closed nothing: what was opened in the transaction went on being
// used, or was closed without a record. It stands until its pair is opened again.
int rollclose(LogRecord *) { return 1; }

int txnbuild(LogRecord *record) {
    const int mode = isTakeInt(record), minLength = isTakeInt(record), maxLength = isTakeInt(record);
    KeyDesc key;
    isTakeKey(record, &key);
    const char *name = isTakeName(record);
    if (!isLogSound(record)) return 0;
    closeStanding(name, nullptr);
    IsamFile *h = isBuild(name, minLength, maxLength, &key, mode);
    return h != nullptr ? isCloseNow(h) : 0;
}

int txnerase(LogRecord *record) {
    const char *name = isTakeName(record);
    if (!isLogSound(record)) return 0;
    closeStanding(name, nullptr);
    return isErase(name);
}

int txnrename(LogRecord *record) {
    isTakeInt(record);
    isTakeInt(record);
    const char *from = isTakeName(record), *to = isTakeName(record);
    if (!isLogSound(record)) return 0;
    closeStanding(from, nullptr);
    return isRename(from, to);
}

int changeIndex(LogRecord *record, int (*change)(IsamFile *, const KeyDesc *)) {
    const int fd = isTakeInt(record);
    KeyDesc key;
    isTakeKey(record, &key);
    if (!isLogSound(record)) return 0;
    IsamFile *h = txnrealfile(record, fd);
    if (h == nullptr) return 0;
    closeStanding(h->name, h);
    return settled(h, change(h, &key));
}

int txnaddidx(LogRecord *record) { return changeIndex(record, isAddIndex); }
int txndelidx(LogRecord *record) { return changeIndex(record, isDelIndex); }

int txnsetuniq(LogRecord *record) {
    IsamFile *h = txnrealfile(record, isTakeInt(record));
    const auto value = static_cast<std::int32_t>(isTakeLong(record));
    if (!isLogSound(record) || h == nullptr) return 0;
    return settled(h, isSetUnique(h, value));
}

int txnunique(LogRecord *record) {
    IsamFile *h = txnrealfile(record, isTakeInt(record));
    isTakeLong(record);
    if (!isLogSound(record) || h == nullptr) return 0;
    long unused;
    return settled(h, isUniqueId(h, &unused));
}

// The file whose record is changed. Changes of files without records are not logged.
IsamFile *txnrecordfile(const LogRecord *record, int fd) {
    IsamFile *h = txnrealfile(record, fd);
    if (h == nullptr || hasData(h)) return h;
    badRecord();
    return nullptr;
}

// The operations take the length of what they write from the handle.
bool takesImage(IsamFile *h, int length) {
    if (hasTails(h) ? length < h->recordLength : length != h->recordLength) return false;
    h->reclen = length;
    return true;
}

int txninsert(LogRecord *record) {
    IsamFile *h = txnrecordfile(record, isTakeInt(record));
    const std::uint32_t recnum = isTakeLong(record);
    const int length = isTakeInt(record);
    const char *image = isTakeData(record, length);
    if (!isLogSound(record) || h == nullptr) return 0;
    if (!takesImage(h, length)) return badRecord();
    const Undoing undoing = startUndo(h);
    const int done = isWrite(h, image);
    if (done && isUndoing(record)) isNoteMove(record->moves, h, recnum, static_cast<std::uint32_t>(h->recnum));
    return endUndo(undoing, done);
}

int txndelete(LogRecord *record) {
    IsamFile *h = txnrecordfile(record, isTakeInt(record));
    const std::uint32_t recnum = isTakeLong(record);
    if (!isLogSound(record) || h == nullptr) return 0;
    const Undoing undoing = startUndo(record, h, recnum);
    const int done = isDelRec(h, static_cast<long>(realNumber(record, h, recnum)));
    if (done && isUndoing(record)) isEndMove(record->moves, h, recnum);
    return endUndo(undoing, done);
}

int rewriteWith(LogRecord *record, bool older) {
    IsamFile *h = txnrecordfile(record, isTakeInt(record));
    const std::uint32_t recnum = isTakeLong(record);
    const int beforeLength = isTakeInt(record), afterLength = isTakeInt(record);
    const char *before = isTakeData(record, beforeLength), *after = isTakeData(record, afterLength);
    if (!isLogSound(record) || h == nullptr) return 0;
    if (!takesImage(h, older ? beforeLength : afterLength)) return badRecord();
    const Undoing undoing = startUndo(record, h, recnum);
    const auto number = static_cast<long>(realNumber(record, h, recnum));
    return endUndo(undoing, isRewRec(h, number, older ? before : after));
}

int txnupdate(LogRecord *record) { return rewriteWith(record, false); }
int txnrestore(LogRecord *record) { return rewriteWith(record, true); }

constexpr TxnAction txndict[] = {
    {logtype::kFileOpen, rollclose, txnopen},  {logtype::kFileClose, rollopen, txnclose},
    {logtype::kBuild, nullptr, txnbuild},      {logtype::kErase, nullptr, txnerase},
    {logtype::kRename, nullptr, txnrename},    {logtype::kCreateIndex, nullptr, txnaddidx},
    {logtype::kDropIndex, nullptr, txndelidx}, {logtype::kSetUnique, nullptr, txnsetuniq},
    {logtype::kUnique, nullptr, txnunique},    {logtype::kDelete, txninsert, txndelete},
    {logtype::kInsert, txndelete, txninsert},  {logtype::kUpdate, txnrestore, txnupdate},
};
constexpr int kActions = sizeof txndict / sizeof *txndict;

}  // namespace

const TxnAction *isTxnAction(int type) {
    for (int i = kActions - 1; i >= 0; --i)
        if (txndict[i].type == type) return &txndict[i];
    return nullptr;
}

IsamFile *txnrealfile(const LogRecord *record, int fd) {
    IsamFile *h = nullptr;
    if (isProcess.recover) {
        const int process = logrec::process(record->bytes);
        isAdmTxnFile(fd, process);
        // Without a match the search ends at the lowest slot, whatever it holds.
        h = isAdmTxnLast();
        if (!isOpenedFor(h, fd, process) || record->offset < h->logStart) h = nullptr;
    } else {
        h = isAdmHandle(fd);
        if (h != nullptr && !isLGknows(h, record->offset)) h = nullptr;
    }
    if (h == nullptr) errno = ISERR_LOGREAD;
    return h;
}

int txnfree(LogRecord *record, ReleaseRun *run) {
    IsamFile *h = txnrealfile(record, isTakeInt(record));
    const std::uint32_t number = isTakeLong(record);
    if (!isLogSound(record) || h == nullptr) return 0;
    if (number == 0 || number > kMaxNumber) return 1;
    const auto recnum = static_cast<long>(number);
    if (run->h != h || recnum < run->first - 1 || recnum > run->last + 1) {
        txnfreeRun(run);
        *run = {h, recnum, recnum};
    }
    run->first = std::min(run->first, recnum);
    run->last = std::max(run->last, recnum);
    return 1;
}

void txnfreeRun(ReleaseRun *run) {
    IsamFile *h = run->h;
    if (h == nullptr) return;
    isOperation(h, ISCLASS_OPEN, [h, run] {
        isDropRange(h, run->first, run->last);
        return 1;
    });
    run->h = nullptr;
}

void txnmark(LogRecord *record) {
    IsamFile *h = txnrealfile(record, isTakeInt(record));
    if (h == nullptr || record->spoilt) return;
    h->pinWanted = true;
}
