#include "txn/islog.h"

#include <cerrno>
#include <cstring>
#include <ctime>
#include <limits>

#include "base/isfail.h"
#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "frame/isadmin.h"
#include "lock/islock.h"
#include "txn/islogahead.h"

using namespace logrec;

namespace {

constexpr std::int64_t kMaxOffset = 0xffffffff;
constexpr std::int64_t kNearEnd = kMaxOffset - (std::int64_t{1} << 28);

bool isChained(const IsamFile *h) { return (h->mode & ISTRANS) != 0; }

// The caller's transaction, if this log has its chain.
Txn *chainOf() {
    Txn *txn = txnwork();
    return txn != nullptr && txn->logSerial == isProcess.logSerial ? txn : nullptr;
}

std::uint32_t txnuid(const Txn *txn) {
    if (isProcess.callback == nullptr) return static_cast<std::uint32_t>(is_getuid(nullptr));
    return txn != nullptr ? static_cast<std::uint32_t>(txn->id) : 0;
}

// Room for n more bytes of the record; null, and the record is spoilt, when it
// would not fit.
std::uint8_t *extend(std::size_t n) {
    ProcessState &p = isProcess;
    if (p.bufoff + n + kTrailerSize > kMaxSize) {
        p.bufoff = kMaxSize;
        return nullptr;
    }
    std::uint8_t *at = p.buffer + p.bufoff;
    p.bufoff += n;
    return at;
}

// Numbers stand before names and images: they always fit.
void log_int(int value) {
    st_int(static_cast<std::uint32_t>(value), isProcess.buffer + isProcess.bufoff);
    isProcess.bufoff += 2;
}

void log_long(std::uint32_t value) {
    st_long(value, isProcess.buffer + isProcess.bufoff);
    isProcess.bufoff += 4;
}

void log_data(const void *bytes, std::size_t length) {
    if (std::uint8_t *at = extend(length)) std::memcpy(at, bytes, length);
}

void log_name(const char *name) { log_data(name, std::strlen(name) + 1); }

void log_key(const KeyDesc *key) {
    int length = 0;
    for (int i = 0; i < key->nparts; ++i)
        length += key->parts[i].length;
    log_int(key->flags);
    log_int(key->nparts);
    log_int(length);
    for (int i = 0; i < key->nparts; ++i) {
        log_int(key->parts[i].start);
        log_int(key->parts[i].length);
        log_int(key->parts[i].type);
    }
}

void log_head(const Txn *txn, int type, bool chained) {
    const bool linked = txn != nullptr && chained;
    isProcess.bufoff = kTypeOffset;
    log_int(type);
    log_int(static_cast<int>(is_getpid(nullptr) & 0xffff));
    log_int(static_cast<int>(txnuid(txn)));
    log_long(static_cast<std::uint32_t>(std::time(nullptr)));
    log_long(linked ? txn->lastOffset : 0);
    log_int(linked ? static_cast<int>(txn->lastLength) : 0);
}

// Appends the record of length bytes.
bool append(Txn *txn, int length) {
    const int log = isProcess.logfile;
    const std::int64_t offset = is_size(nullptr, log);
    isProcess.logEnd = offset;
    if (offset < 0 || offset > kMaxOffset) return false;
    if (!is_append(nullptr, log, isProcess.buffer, length)) return false;
    isProcess.appended = {offset, length, txn, txn != nullptr ? txn->lastOffset : 0,
                          txn != nullptr ? txn->lastLength : 0};
    if (txn != nullptr) {
        txn->lastOffset = static_cast<std::uint32_t>(offset);
        txn->lastLength = static_cast<std::uint32_t>(length);
    }
    return true;
}

bool lockLog() {
    return isProcess.logHeld || is_lock(nullptr, isProcess.logfile, kLockStart, kLockLength, ISLT_WRITEWAIT);
}

void unlockLog() {
    if (!isProcess.logHeld) is_lock(nullptr, isProcess.logfile, kLockStart, kLockLength, ISLT_UNLOCK);
}

int logwrite(Txn *txn, bool chained) {
    const std::size_t length = isProcess.bufoff + kTrailerSize;
    bool written = false;
    if (length <= kMaxSize) {
        st_int(static_cast<std::uint32_t>(length), isProcess.buffer + kLengthOffset);
        st_int(static_cast<std::uint32_t>(length), isProcess.buffer + isProcess.bufoff);
        if (lockLog()) {
            written = append(chained ? txn : nullptr, static_cast<int>(length));
            unlockLog();
        }
    }
    if (!written) errno = ISERR_LOGWRITE;
    return written ? 1 : 0;
}

// The record of a change of the handle.
int logchange(IsamFile *h, Txn *txn, bool chained) {
    if (!logwrite(txn, chained)) return 0;
    h->changeLogged = true;
    return 1;
}

bool isInLog(const IsamFile *h) { return h->openLogged && h->logSerial == isProcess.logSerial; }

}  // namespace

int isLogOpen(const char *path) {
    ProcessState &p = isProcess;
    if (p.logfile >= 0) return 1;
    const int fd = is_create(nullptr, ISKIND_LOG, path);
    if (fd < 0) {
        errno = ISERR_LOGOPEN;
        return 0;
    }
    p.logfile = fd;
    const std::size_t size = std::strlen(path) + 1;
    p.logpath = is_new<char>(size);
    std::memcpy(p.logpath, path, size);
    p.buffer = is_new<std::uint8_t>(kMaxSize);
    p.logEnd = is_size(nullptr, fd);
    ++p.logSerial;
    return 1;
}

int isLogClose() {
    ProcessState &p = isProcess;
    if (p.logfile < 0) return 1;
    is_close(nullptr, p.logfile);
    p.logfile = -1;
    p.logpath = static_cast<char *>(is_free(p.logpath));
    p.buffer = static_cast<std::uint8_t *>(is_free(p.buffer));
    isLogAheadFree();
    return 1;
}

bool isLGtest(const IsamFile *h) {
    if (h != nullptr && (h->mode & ISNOLOG) != 0) return false;
    return isProcess.logfile >= 0;
}

int isLGfile(int type, IsamFile *h) {
    const bool opening = type == logtype::kFileOpen;
    // Recovery could not tell which file is closed.
    if (!opening && !isInLog(h)) return 1;
    Txn *txn = chainOf();
    log_head(txn, type, isChained(h));
    log_int(isAdmDtoI(h));
    log_int(h->varlenInfo > 0 ? 1 : 0);
    log_name(h->name);
    if (!logwrite(txn, isChained(h))) return 0;
    if (opening) h->logStart = isProcess.appended.offset;
    h->openLogged = opening;
    return 1;
}

int isLGbuild(int type, IsamFile *h, const KeyDesc *key) {
    log_head(chainOf(), type, false);
    log_int(h->mode);
    log_int(h->recordLength);
    log_int(h->varlenInfo > 0 ? h->varlenInfo : h->recordLength);
    log_key(key);
    log_name(h->name);
    return logwrite(nullptr, false);
}

int isLGerase(int type, const char *name) {
    log_head(chainOf(), type, false);
    log_name(name);
    return logwrite(nullptr, false);
}

int isLGrename(int type, const char *from, const char *to) {
    log_head(chainOf(), type, false);
    log_int(static_cast<int>(std::strlen(from) + 1));
    log_int(static_cast<int>(std::strlen(to) + 1));
    log_name(from);
    log_name(to);
    return logwrite(nullptr, false);
}

int isLGindex(int type, IsamFile *h, const KeyDesc *key) {
    log_head(chainOf(), type, false);
    log_int(isAdmDtoI(h));
    log_key(key);
    return logchange(h, nullptr, false);
}

int isLGuniq(int type, IsamFile *h, long value) {
    log_head(chainOf(), type, false);
    log_int(isAdmDtoI(h));
    log_long(static_cast<std::uint32_t>(value));
    return logchange(h, nullptr, false);
}

int isLGdata(int type, IsamFile *h, long recnum, const void *image, int length) {
    Txn *txn = chainOf();
    log_head(txn, type, isChained(h));
    log_int(isAdmDtoI(h));
    log_long(static_cast<std::uint32_t>(recnum));
    log_int(length);
    log_data(image, static_cast<std::size_t>(length));
    return logchange(h, txn, isChained(h));
}

int isLGupdate(int type, IsamFile *h, long recnum, const void *before, int beforeLength, const void *after,
               int afterLength) {
    Txn *txn = chainOf();
    log_head(txn, type, isChained(h));
    log_int(isAdmDtoI(h));
    log_long(static_cast<std::uint32_t>(recnum));
    log_int(beforeLength);
    log_int(afterLength);
    log_data(before, static_cast<std::size_t>(beforeLength));
    log_data(after, static_cast<std::size_t>(afterLength));
    return logchange(h, txn, isChained(h));
}

int logtrans(Txn *txn, int type) {
    // The chain of a transaction begun in another log leads nowhere in this one.
    if (isProcess.logfile < 0 || txn->logSerial != isProcess.logSerial) {
        errno = ISERR_LOGWRITE;
        return 0;
    }
    log_head(txn, type, type != logtype::kBegin);
    return logwrite(txn, true);
}

void isNeedLogged(IsamFile *h, int logged) {
    if (!logged) isFail(h, errno);
}

void isLGtakeBack() {
    Appended &last = isProcess.appended;
    const int log = isProcess.logfile;
    if (log < 0 || last.length == 0 || !lockLog()) return;
    if (is_size(nullptr, log) == last.offset + last.length && is_truncate(nullptr, log, last.offset) &&
        last.txn != nullptr) {
        last.txn->lastOffset = last.lastOffset;
        last.txn->lastLength = last.lastLength;
    }
    last = {};
    unlockLog();
}

void isLGhold() {
    if (isProcess.logfile >= 0) isProcess.logHeld = lockLog();
}

void isLGletGo() {
    if (!isProcess.logHeld) return;
    isProcess.logHeld = false;
    unlockLog();
}

void isLGfits(IsamFile *h, int type, int imageBytes) {
    const int around = type == logtype::kUpdate ? kTwoImages : kOneImage;
    if (imageBytes > kMaxSize - around) isFail(h, ISERR_LOGWRITE);
    // Offsets in the log have 32 bits.
    if (isProcess.logEnd > kNearEnd && is_size(nullptr, isProcess.logfile) > kMaxOffset) isFail(h, ISERR_LOGWRITE);
}

void isLGlock(IsamFile *h, long recnum) {
    if (isChained(h)) isLockNew(h, recnum);
}

Txn *isLGintxn(const IsamFile *h) { return isChained(h) ? txnwork() : nullptr; }

bool isLGvclose(IsamFile *h) {
    if (isProcess.recover || (h->state & ISSTATE_PARKED) != 0) return false;
    Txn *txn = isLGintxn(h);
    if (txn != nullptr) putvfile(txn, h);
    return txn != nullptr;
}

IsamFile *isLGvopen(const char *name, int mode) {
    Txn *txn = isProcess.recover ? nullptr : txnwork();
    return txn != nullptr ? getvfile(txn, name, mode) : nullptr;
}

void isLGmark(IsamFile *h) {
    if (isProcess.logfile < 0) return;
    h->logSerial = isProcess.logSerial;
    h->logStart = std::numeric_limits<std::int64_t>::max();
}

bool isLGknows(const IsamFile *h, std::int64_t offset) {
    return h->logSerial != isProcess.logSerial || offset >= h->logStart;
}

int logread(int log, std::uint8_t *buffer, std::int64_t offset, bool whole) {
    const int start = whole ? kHeadSize : 0, end = whole ? length(buffer) : kHeadSize;
    if (const std::uint8_t *bytes = isLogAhead(log, offset + start, end - start)) {
        std::memcpy(buffer + start, bytes, static_cast<std::size_t>(end - start));
        return 1;
    }
    if (is_read(nullptr, log, buffer + start, end - start, offset + start)) return 1;
    errno = ISERR_LOGREAD;
    return 0;
}
