#include "txn/istranslog.h"

#include <cerrno>
#include <cstring>

#include "base/isglobal.h"
#include "txn/islog.h"

using namespace logrec;

namespace {

// The next n bytes; null, and the record is spoilt, when the body has fewer.
const std::uint8_t *take(LogRecord *record, int n) {
    if (record->spoilt || n > record->length - kTrailerSize - record->next) {
        record->spoilt = true;
        return nullptr;
    }
    const std::uint8_t *at = record->bytes + record->next;
    record->next += n;
    return at;
}

int bad() {
    errno = ISERR_BADLOG;
    return 0;
}

}  // namespace

int isLogHead(int log, LogRecord *record, std::int64_t offset) {
    std::uint8_t *buffer = isProcess.buffer;
    if (!logread(log, buffer, offset, false)) return 0;
    *record = {buffer, offset, length(buffer), nullptr, kHeadSize, false};
    return record->length < kMinSize ? bad() : 1;
}

int isLogBody(int log, LogRecord *record) {
    std::uint8_t *buffer = isProcess.buffer;
    if (!logread(log, buffer, record->offset, true)) return 0;
    return ld_int(buffer + record->length - kTrailerSize) != record->length ? bad() : 1;
}

int isTakeInt(LogRecord *record) {
    const std::uint8_t *at = take(record, 2);
    return at != nullptr ? ld_int(at) : 0;
}

std::uint32_t isTakeLong(LogRecord *record) {
    const std::uint8_t *at = take(record, 4);
    return at != nullptr ? ld_long(at) : 0;
}

const char *isTakeName(LogRecord *record) {
    const int room = record->length - kTrailerSize - record->next;
    const std::uint8_t *at = record->bytes + record->next;
    const void *end = room > 0 ? std::memchr(at, 0, static_cast<std::size_t>(room)) : nullptr;
    const int length = end != nullptr ? static_cast<int>(static_cast<const std::uint8_t *>(end) - at) + 1 : room + 1;
    return isTakeData(record, length);
}

const char *isTakeData(LogRecord *record, int length) { return reinterpret_cast<const char *>(take(record, length)); }

void isTakeKey(LogRecord *record, KeyDesc *key) {
    *key = {};
    key->flags = static_cast<unsigned short>(isTakeInt(record));
    const int nparts = isTakeInt(record);
    isTakeInt(record);  // their bytes, which the parts tell as well
    if (nparts > ISMAXPARTS) {
        record->spoilt = true;
        return;
    }
    key->nparts = static_cast<short>(nparts);
    for (int i = 0; i < nparts; ++i) {
        KeyPart &part = key->parts[i];
        part.start = static_cast<short>(isTakeInt(record));
        part.length = static_cast<short>(isTakeInt(record));
        part.type = static_cast<unsigned short>(isTakeInt(record));
    }
}

int isLogSound(const LogRecord *record) { return record->spoilt ? bad() : 1; }
