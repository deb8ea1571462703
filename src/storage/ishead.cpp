#include "storage/ishead.h"

#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "storage/header_layout.h"

using namespace header;

namespace {

constexpr std::uint8_t kFixedFront[] = {0xfe, 0x53, 0x02, 0x02, 0x04, 0x04};
constexpr char kTrailer[] = {'k', 'j', 's', 'k'};

std::uint8_t *flagsAt(IsamFile *h) { return h->header + h->nodeSize - kFlagsBack; }

void bootstrap(IsamFile *h) {
    std::uint8_t raw[2];
    is_read(h, ISKIND_INDEX, raw, sizeof raw, kNodeSizeOffset);
    h->nodeSize = ld_int(raw) + 1;
    if (h->nodeSize < kMinNodeSize) isFail(h, ISERR_CORRUPT);
}

void saveflags(IsamFile *h) {
    unsigned flags = 0;
    if (hasMasks(h)) flags |= kFlagMasks;
    if (isPreciousFile(h)) flags |= kFlagPrecious;
    if ((h->mode & (ISVARLEN | ISCOMPRESS)) == (ISVARLEN | ISCOMPRESS)) flags |= kFlagCompressed;
    st_int(flags, flagsAt(h));
}

// What the file says about masks and compression decides, not the caller's
// mode: a wrong slot length would ruin every record.
void loadflags(IsamFile *h) {
    const unsigned flags = ld_int(flagsAt(h));
    h->mode &= ~ISMASK;
    if ((flags & kFlagMasks) != 0) h->mode |= ISMASK;
    if ((flags & kFlagCompressed) != 0)
        h->mode |= ISVARLEN | ISCOMPRESS;
    else if (h->varlenInfo > 0)
        h->mode &= ~ISCOMPRESS;
}

void loadprecious(IsamFile *h) {
    h->state &= static_cast<std::uint16_t>(~ISSTATE_PRECIOUS);
    if ((ld_int(flagsAt(h)) & kFlagPrecious) != 0) h->state |= ISSTATE_PRECIOUS;
}

void loadOnce(IsamFile *h) {
    const std::uint8_t *p = h->header;
    // The number of indexes is not taken from here but counted as they load.
    h->headerByte11 = ld_signed(p + kSerialWidthOffset);
    h->keyDescNode = isHeadKeyDescs(h);
    h->recordLength = ld_int(p + kRecordLengthOffset);
    h->varlenInfo = ld_int(p + kMaximumOffset);
    loadflags(h);
}

}  // namespace

void isMakeHead(IsamFile *h) {
    h->header = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
    std::uint8_t *p = h->header;
    std::memcpy(p, kFixedFront, sizeof kFixedFront);
    st_int(static_cast<std::uint32_t>(h->nodeSize - 1), p + kNodeSizeOffset);
    p[10] = 7;
    p[kSerialWidthOffset] = static_cast<std::uint8_t>(h->headerByte11);
    st_int(static_cast<std::uint32_t>(h->recordLength), p + kRecordLengthOffset);
    p[54] = 8;
    st_int(static_cast<std::uint32_t>(h->varlenInfo), p + kMaximumOffset);
    std::memcpy(p + h->nodeSize - kTrailerBack, kTrailer, sizeof kTrailer);
    saveflags(h);
    h->indexFree.last = 1;
    h->uniqueId = 1;
}

void isLoadHead(IsamFile *h) {
    const bool first = h->header == nullptr;
    if (first) {
        bootstrap(h);
        h->header = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
    }
    is_read(h, ISKIND_INDEX, h->header, h->nodeSize, 0);
    if (first) loadOnce(h);
    isHeadTake(h);
}

void isLookAtHead(IsamFile *h) {
    std::uint8_t look[kLookSize];
    // A system call costs the same whatever it brings.
    if (h->maps == nullptr || !is_read_within(h, ISKIND_INDEX, look, kLookSize, kLookStart) ||
        ld_long(look + (kStampOffset - kLookStart)) != h->headerStamp) {
        isLoadHead(h);
        return;
    }
    std::memcpy(h->header + kLookStart, look, kLookSize);
    isHeadTake(h);
}

void isHeadTake(IsamFile *h) {
    const std::uint8_t *p = h->header;
    h->dataFree.head = ld_long(p + kDataFreeOffset);
    h->dataFree.last = ld_long(p + kLastRecordOffset);
    h->indexFree.head = ld_long(p + kIndexFreeOffset);
    h->indexFree.last = ld_long(p + kLastNodeOffset);
    h->uniqueId = static_cast<std::int32_t>(ld_long(p + kUniqueIdOffset));
    h->headerStamp = ld_long(p + kStampOffset);
    // Another handle may have changed these two; no handle may write an old
    // value back.
    h->auditNode = ld_long(p + kAuditNodeOffset);
    loadprecious(h);
}

void isCheckHead(IsamFile *h) {
    if (h->dataFree.last > kMaxNumber || h->indexFree.last < 1 || h->indexFree.last > kMaxNumber)
        isFail(h, ISERR_CORRUPT);
}

void isHeadStore(IsamFile *h) {
    std::uint8_t *p = h->header;
    isHeadKdsc(h);
    st_long(h->indexFree.last, p + kLastNodeOffset);
    st_long(h->indexFree.head, p + kIndexFreeOffset);
    st_long(h->dataFree.last, p + kLastRecordOffset);
    st_long(h->dataFree.head, p + kDataFreeOffset);
    st_long(static_cast<std::uint32_t>(h->uniqueId), p + kUniqueIdOffset);
    st_long(h->auditNode, p + kAuditNodeOffset);
    saveflags(h);
}

void isHeadWrite(IsamFile *h) {
    isHeadStore(h);
    st_long(++h->headerStamp, h->header + kStampOffset);
    const bool whole = h->headWhole;
    h->headWhole = false;
    (whole ? is_write_whole : is_write)(h, ISKIND_INDEX, h->header, h->nodeSize, 0);
}

void isHeadCountNodes(IsamFile *h) {
    if (h->indexFree.last <= isHeadLastNode(h)) return;
    st_long(h->indexFree.last, h->header + kLastNodeOffset);
    is_write(h, ISKIND_INDEX, h->header + kLastNodeOffset, kLastNodeSize, kLastNodeOffset);
}

void isHeadKdsc(IsamFile *h) {
    const int noPrimary = (h->state & ISSTATE_NOPRIMARY) != 0 ? 1 : 0;
    st_int(static_cast<std::uint32_t>(h->keyCount + noPrimary), h->header + kIndexCountOffset);
    st_long(h->keyDescNode, h->header + kKeyDescOffset);
}

std::uint32_t isHeadLastNode(const IsamFile *h) { return ld_long(h->header + kLastNodeOffset); }

std::uint32_t isHeadLastRecord(const IsamFile *h) { return ld_long(h->header + kLastRecordOffset); }

std::uint32_t isHeadKeyDescs(const IsamFile *h) { return ld_long(h->header + kKeyDescOffset); }

std::uint32_t isHeadIndexFree(const IsamFile *h) { return ld_long(h->header + kIndexFreeOffset); }

std::uint32_t isHeadDataFree(const IsamFile *h) { return ld_long(h->header + kDataFreeOffset); }

int getdatlen(IsamFile *h) {
    std::uint8_t raw[2];
    is_read(h, ISKIND_INDEX, raw, sizeof raw, kRecordLengthOffset);
    return ld_int(raw);
}

std::uint8_t *isHeadUser(IsamFile *h) { return h->header + h->nodeSize - kUserInfoBack; }
