#include "txn/islogahead.h"

#include <algorithm>

#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"

namespace {

constexpr int kRoom = 64 * 1024;
constexpr int kFirst = 4 * 1024;  // the first piece, each further one twice as long
constexpr int kBehind = 1024;     // on the way back: most records end before

}  // namespace

const std::uint8_t *isLogAhead(int log, std::int64_t offset, int length) {
    LogAhead &ahead = isProcess.logAhead;
    if (offset >= ahead.start && offset + length <= ahead.start + ahead.length)
        return ahead.bytes + (offset - ahead.start);
    if (length > kRoom) return nullptr;
    const bool back = ahead.length == 0 ? offset > 0 : offset < ahead.start;
    const std::int64_t end = offset + std::max(length, kBehind);
    const int size = std::max(std::min(ahead.next, kRoom), length);
    ahead.next = 2 * size;
    if (ahead.bytes == nullptr) ahead.bytes = is_new<std::uint8_t>(kRoom);
    ahead.start = back ? std::max<std::int64_t>(0, end - size) : offset;
    ahead.length = 0;
    const std::int64_t moved = is_read_some(nullptr, log, ahead.bytes, size, ahead.start);
    ahead.length = std::max<std::int64_t>(0, moved);
    return offset + length <= ahead.start + ahead.length ? ahead.bytes + (offset - ahead.start) : nullptr;
}

void isLogAheadForget() {
    isProcess.logAhead.length = 0;
    isProcess.logAhead.next = kFirst;
}

void isLogAheadFree() {
    isProcess.logAhead.bytes = static_cast<std::uint8_t *>(is_free(isProcess.logAhead.bytes));
    isLogAheadForget();
}
