#include "storage/isdatio.h"

#include <cstring>

#include "base/isfail.h"
#include "base/issystem.h"
#include "storage/isahead.h"

namespace {

std::int64_t slotOffset(const IsamFile *h, long recnum) {
    return (static_cast<std::int64_t>(recnum) - 1) * h->bufferLength;
}

void putStatus(IsamFile *h, long recnum, std::uint8_t status) {
    is_write(h, ISKIND_DATA, &status, sizeof status, slotOffset(h, recnum) + h->recordLength);
    isAheadPatch(h, static_cast<std::uint32_t>(recnum), h->recordLength, &status, sizeof status);
}

}  // namespace

std::uint32_t isSlotCount(IsamFile *h) {
    const std::int64_t slots = is_size(h, ISKIND_DATA) / h->bufferLength;
    return slots < h->dataFree.last ? static_cast<std::uint32_t>(slots) : h->dataFree.last;
}

void isGetData(IsamFile *h, long recnum) {
    if (!isSlotNumber(h, recnum)) isFail(h, ISERR_NOCURRENT);
    if (const std::uint8_t *ahead = isAheadSlot(h, static_cast<std::uint32_t>(recnum)))
        std::memcpy(h->recordBuffer, ahead, static_cast<std::size_t>(h->bufferLength));
    else
        is_read(h, ISKIND_DATA, h->recordBuffer, h->bufferLength, slotOffset(h, recnum));
}

void isMakeSlot(const IsamFile *h, const char *record, std::uint8_t *out) {
    std::memcpy(out, record, static_cast<std::size_t>(h->recordLength));
    out[h->recordLength] = slot::kPresent;
    if (hasMasks(h)) st_long(h->mask, out + h->bufferLength - slot::kMaskSize);
}

void isPutSlots(IsamFile *h, const std::uint8_t *slots, int count, long first) {
    is_write(h, ISKIND_DATA, slots, count * h->bufferLength, slotOffset(h, first));
}

void isPutData(IsamFile *h, const char *record, long recnum) {
    isMakeSlot(h, record, h->recordBuffer);
    is_write(h, ISKIND_DATA, h->recordBuffer, h->bufferLength, slotOffset(h, recnum));
    isAheadPatch(h, static_cast<std::uint32_t>(recnum), 0, h->recordBuffer, h->bufferLength);
}

bool isDelCheck(IsamFile *h, long recnum) {
    if (const std::uint8_t *ahead = isAheadSlot(h, static_cast<std::uint32_t>(recnum)))
        return ahead[h->recordLength] == slot::kDeleted;
    std::uint8_t status;
    is_read(h, ISKIND_DATA, &status, sizeof status, slotOffset(h, recnum) + h->recordLength);
    return status == slot::kDeleted;
}

void isDelData(IsamFile *h, long recnum) { putStatus(h, recnum, slot::kDeleted); }

void isUndelData(IsamFile *h, long recnum) { putStatus(h, recnum, slot::kPresent); }
