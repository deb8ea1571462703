#include "storage/isremnant.h"

#include <cstring>

#include "base/isfail.h"
#include "storage/remnant_layout.h"

using namespace remnant;

namespace {

// Offset just past the room for pieces in a node with that many slots.
int roomEnd(const IsamFile *h, int slotsInUse) { return h->nodeSize - kMarkBack - kSlotSize * slotsInUse; }

void startFresh(IsamFile *h, std::uint8_t *node) {
    st_int(kMagic, node + kMagicOffset);
    setFreeBytes(node, kFreshFree);
    setDataEnd(node, kDataStart);
    node[h->nodeSize - kMarkBack] = kMark;
}

// The highest free slot, or a new one.
int takeSlot(IsamFile *h, std::uint8_t *node) {
    for (int i = slots(node) - 1; i >= 0; --i)
        if (pieceOffset(slotAt(node, h->nodeSize, i)) == 0) return i;
    const int slot = slots(node);
    // Before the table grows: a damaged node's pieces may reach into it.
    if (freeBytes(node) < kSlotSize || dataEnd(node) > roomEnd(h, slot + 1)) isFail(h, ISERR_CORRUPT);
    setFreeBytes(node, freeBytes(node) - kSlotSize);
    node[kSlotCountOffset] = static_cast<std::uint8_t>(slot + 1);
    return slot;
}

}  // namespace

void isCheckRemNode(IsamFile *h, const std::uint8_t *node) {
    if (ld_int(node + kMagicOffset) != kMagic || dataEnd(node) < kDataStart ||
        dataEnd(node) > roomEnd(h, slots(node)) || freeBytes(node) > kFreshFree || bucket(node) > kLastBucket)
        isFail(h, ISERR_CORRUPT);
}

PieceBytes isRemPiece(IsamFile *h, const std::uint8_t *node, int slot) {
    if (slot >= slots(node)) isFail(h, ISERR_CORRUPT);
    const std::uint8_t *at = slotAt(node, h->nodeSize, slot);
    const int offset = pieceOffset(at), length = pieceLength(at);
    if (offset < kDataStart || length < 1 || offset + length > dataEnd(node)) isFail(h, ISERR_CORRUPT);
    return {node + offset, length};
}

int slotCount(const IsamFile *h, const std::uint8_t *node) {
    int count = 0;
    for (int i = 0; i < slots(node); ++i)
        if (pieceOffset(slotAt(node, h->nodeSize, i)) != 0) ++count;
    return count;
}

int toRemNode(IsamFile *h, std::uint8_t *node, const void *piece, int length) {
    if (slots(node) == 0) startFresh(h, node);
    const int slot = takeSlot(h, node), offset = dataEnd(node);
    if (freeBytes(node) < length || offset + length > roomEnd(h, slots(node))) isFail(h, ISERR_CORRUPT);
    std::memcpy(node + offset, piece, static_cast<std::size_t>(length));
    setPiece(slotAt(node, h->nodeSize, slot), length, offset);
    setFreeBytes(node, freeBytes(node) - length);
    setDataEnd(node, offset + length);
    return slot;
}

void rmRemSlot(IsamFile *h, std::uint8_t *node, int slot) {
    const int length = isRemPiece(h, node, slot).length;
    std::uint8_t *at = slotAt(node, h->nodeSize, slot);
    const int offset = pieceOffset(at), end = dataEnd(node) - length;
    std::memmove(node + offset, node + offset + length, static_cast<std::size_t>(end - offset));
    std::memset(node + end, 0, static_cast<std::size_t>(length));
    setPiece(at, 0, 0);
    for (int i = 0; i < slots(node); ++i) {
        std::uint8_t *other = slotAt(node, h->nodeSize, i);
        const int above = pieceOffset(other);
        if (above <= offset) continue;
        if (above < offset + length) isFail(h, ISERR_CORRUPT);
        setPiece(other, pieceLength(other), above - length);
    }
    if (freeBytes(node) + length > kFreshFree) isFail(h, ISERR_CORRUPT);
    setFreeBytes(node, freeBytes(node) + length);
    setDataEnd(node, end);
}
