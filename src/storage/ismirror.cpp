#include "storage/ismirror.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "base/isglobal.h"
#include "base/isslab.h"
#include "base/issystem.h"

namespace {

constexpr std::int64_t kPiece = 16 * 1024;              // bytes read at once
constexpr std::int64_t kLarge = std::int64_t{2} << 20;  // a large page of the processor's
constexpr std::uint32_t kCalm = 256;                    // slots read alone before it is worth it
constexpr std::int64_t kSpare = 4;                      // a fourth more than the file has, for it to grow

struct SlotPlace {
    std::int64_t begin, end;   // in the file
    std::int64_t first, last;  // pieces
};

SlotPlace placeOf(const IsamFile *h, std::uint32_t recnum) {
    const std::int64_t end = static_cast<std::int64_t>(recnum) * h->bufferLength, begin = end - h->bufferLength;
    return {begin, end, begin / kPiece, (end - 1) / kPiece};
}

std::int64_t fileEnd(const IsamFile *h) { return static_cast<std::int64_t>(h->dataFree.last) * h->bufferLength; }

std::int64_t roundUp(std::int64_t bytes, std::int64_t unit) { return (bytes + unit - 1) / unit * unit; }

bool isKnown(const SlotMirror &m, std::int64_t piece) { return (m.known[piece / 8] >> (piece % 8) & 1) != 0; }

// Memory for the whole file. That there is none is no failure: it goes without.
bool make(IsamFile *h) {
    isMirrorFree(h);
    const std::int64_t end = fileEnd(h), size = roundUp(end + end / kSpare + kPiece, kPiece);
    const std::int64_t taken = static_cast<std::int64_t>(isProcess.frameBytes + isProcess.mirrorBytes);
    if (size > static_cast<std::int64_t>(isProcess.cacheLimit) - taken) return false;
    const auto marks = static_cast<std::size_t>(size / kPiece / 8 + 1);
    const auto whole = static_cast<std::size_t>(roundUp(size + static_cast<std::int64_t>(marks), kLarge));
    const bool large = kSlabs && size >= kLarge;
    void *bytes = large ? std::aligned_alloc(static_cast<std::size_t>(kLarge), whole)
                        : std::malloc(static_cast<std::size_t>(size) + marks);
    if (bytes == nullptr) return false;
    if (large) madvise(bytes, whole, MADV_HUGEPAGE);  // a wish
    auto *begin = static_cast<std::uint8_t *>(bytes);
    h->mirror = {begin, begin + size, size, kCalm, false};
    std::memset(h->mirror.known, 0, marks);
    isProcess.mirrorBytes += static_cast<std::size_t>(size);
    return true;
}

bool fill(IsamFile *h, std::int64_t first, std::int64_t last) {
    SlotMirror &m = h->mirror;
    const std::int64_t begin = first * kPiece, length = std::min((last + 1) * kPiece, fileEnd(h)) - begin;
    if (is_read_some(h, ISKIND_DATA, m.bytes + begin, static_cast<int>(length), begin) != length) return false;
    for (std::int64_t piece = first; piece <= last; ++piece)
        m.known[piece / 8] = static_cast<std::uint8_t>(m.known[piece / 8] | 1U << (piece % 8));
    m.filled = true;
    return true;
}

}  // namespace

const std::uint8_t *isMirrorSlot(const IsamFile *h, std::uint32_t recnum) {
    const SlotMirror &m = h->mirror;
    const SlotPlace at = placeOf(h, recnum);
    if (!m.filled || at.end > m.size) return nullptr;
    for (std::int64_t piece = at.first; piece <= at.last; ++piece)
        if (!isKnown(m, piece)) return nullptr;
    return m.bytes + at.begin;
}

const std::uint8_t *isMirrorRead(IsamFile *h, std::uint32_t recnum) {
    SlotMirror &m = h->mirror;
    if (m.calm < kCalm) {
        ++m.calm;
        return nullptr;
    }
    const SlotPlace at = placeOf(h, recnum);
    if (at.end > fileEnd(h) || (at.end > m.size && !make(h))) return nullptr;
    return fill(h, at.first, at.last) ? m.bytes + at.begin : nullptr;
}

void isMirrorPatch(IsamFile *h, std::uint32_t recnum, int offset, const void *bytes, int length) {
    const SlotMirror &m = h->mirror;
    const std::int64_t at = placeOf(h, recnum).begin + offset;
    if (m.filled && at + length <= m.size) std::memcpy(m.bytes + at, bytes, static_cast<std::size_t>(length));
}

void isMirrorForget(IsamFile *h) {
    SlotMirror &m = h->mirror;
    m.calm = 0;
    if (!m.filled) return;
    m.filled = false;
    std::memset(m.known, 0, static_cast<std::size_t>(m.size / kPiece / 8 + 1));
}

void isMirrorFree(IsamFile *h) {
    isProcess.mirrorBytes -= static_cast<std::size_t>(h->mirror.size);
    std::free(h->mirror.bytes);
    h->mirror = {};
}

void isMirrorsFree() {
    for (int i = 0; i < isProcess.admsize; ++i)
        if (IsamFile *h = isProcess.adminfo[i].isam) isMirrorFree(h);
}
