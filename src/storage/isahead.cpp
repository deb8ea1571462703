#include "storage/isahead.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/isglobal.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "storage/ismirror.h"

namespace {

constexpr int kSteps = 4;                 // one after the other before anything is
constexpr std::uint32_t kFirstCount = 8;  // slots, the first time

bool holds(const SlotsAhead &ahead, std::uint32_t recnum) {
    return recnum >= ahead.first && recnum - ahead.first < ahead.count;
}

const std::uint8_t *slotIn(const IsamFile *h, std::uint32_t recnum) {
    return h->ahead.bytes +
           static_cast<std::size_t>(recnum - h->ahead.first) * static_cast<std::size_t>(h->bufferLength);
}

// Steps in one direction that have led here, backwards below 0.
int countSteps(SlotsAhead &ahead, std::uint32_t recnum) {
    // Looking at a slot once more, as a change of the record just read does, is no step.
    if (recnum == ahead.last) return ahead.steps;
    if (recnum == ahead.last + 1)
        ahead.steps = std::max(ahead.steps, 0) + 1;
    else if (recnum + 1 == ahead.last)
        ahead.steps = std::min(ahead.steps, 0) - 1;
    else
        ahead = {ahead.bytes, ahead.first, ahead.count, recnum, 0, 0};
    ahead.last = recnum;
    return ahead.steps;
}

// Reads the slots from recnum on, or those up to it. False when the file has not got
// them all, or cannot be read.
bool fill(IsamFile *h, std::uint32_t recnum, bool forwards) {
    SlotsAhead &ahead = h->ahead;
    const auto room = static_cast<std::uint32_t>(kAheadRoom / h->bufferLength);
    const std::uint32_t wanted = std::min(room, std::max(kFirstCount, 2 * ahead.lastCount));
    const std::uint32_t count = std::min(wanted, forwards ? h->dataFree.last - recnum + 1 : recnum);
    if (count < 2) return false;
    isAheadLend(h);
    const std::uint32_t first = forwards ? recnum : recnum - count + 1;
    const auto length = static_cast<std::int64_t>(count) * h->bufferLength;
    if (is_read_some(h, ISKIND_DATA, ahead.bytes, static_cast<int>(length),
                     static_cast<std::int64_t>(first - 1) * h->bufferLength) != length)
        return false;
    ahead.first = first;
    ahead.count = ahead.lastCount = count;
    return true;
}

}  // namespace

const std::uint8_t *isAheadSlot(IsamFile *h, std::uint32_t recnum) {
    SlotsAhead &ahead = h->ahead;
    const int steps = countSteps(ahead, recnum);
    if (holds(ahead, recnum)) return slotIn(h, recnum);
    // What is mapped is near anyway.
    if (isProcess.cacheLimit == 0 || h->maps != nullptr) return nullptr;
    if (const std::uint8_t *known = isMirrorSlot(h, recnum)) return known;
    if (std::abs(steps) < kSteps) return isMirrorRead(h, recnum);
    return fill(h, recnum, steps > 0) ? slotIn(h, recnum) : nullptr;
}

void isAheadPatch(IsamFile *h, std::uint32_t recnum, int offset, const void *bytes, int length) {
    isMirrorPatch(h, recnum, offset, bytes, length);
    const SlotsAhead &ahead = h->ahead;
    if (!holds(ahead, recnum)) return;
    const std::size_t at = static_cast<std::size_t>(slotIn(h, recnum) - ahead.bytes) + static_cast<std::size_t>(offset);
    std::memcpy(ahead.bytes + at, bytes, static_cast<std::size_t>(length));
}

void isAheadForget(IsamFile *h) {
    isMirrorForget(h);
    h->ahead.count = 0;
}

std::uint8_t *isAheadLend(IsamFile *h) {
    h->ahead.count = 0;
    if (h->ahead.bytes == nullptr) h->ahead.bytes = is_new<std::uint8_t>(kAheadRoom);
    return h->ahead.bytes;
}

void isAheadFree(IsamFile *h) {
    isMirrorFree(h);
    h->ahead.bytes = static_cast<std::uint8_t *>(is_free(h->ahead.bytes));
    h->ahead.count = 0;
}
