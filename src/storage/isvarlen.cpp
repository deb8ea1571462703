#include "storage/isvarlen.h"

#include <algorithm>
#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "storage/header_layout.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/isidxio.h"
#include "storage/isremnant.h"
#include "storage/issquash.h"
#include "storage/istailhash.h"
#include "storage/remnant_layout.h"
#include "txn/isaudit.h"

using namespace remnant;

// A piece found on the way along a tail.
struct TailPiece {
    Place place;
    bool alone;  // its node holds nothing else
    int free;    // free bytes of its node
};

struct VarlenState {
    std::uint8_t *node;    // the remnant node at work
    std::uint32_t loaded;  // its number while the buffer equals the file, else 0
    TailPiece *pieces;     // of the tail fetched last
    int count, room;
    int length;  // of that tail, bytes as stored
};

namespace {

constexpr int kPieceGrowth = 40;  // more than the longest tail has
constexpr int kRawHead = 3;       // what coding can add to a tail
constexpr int kMaxPieces = ISMAXVARLEN / kMaxPiece + 2;

bool isCompressed(const IsamFile *h) { return (h->mode & ISCOMPRESS) != 0; }
int tailMaximum(const IsamFile *h) { return h->varlenInfo - h->recordLength; }

std::uint8_t *pointerAt(IsamFile *h) { return h->recordBuffer + h->recordLength + slot::kStatusSize; }

// Length of the tail in the slot buffer, as stored; 105 for one that cannot be.
int storedLength(IsamFile *h) {
    const int length = ld_int(pointerAt(h));
    if (length > tailMaximum(h) + (isCompressed(h) ? kRawHead : 0)) isFail(h, ISERR_CORRUPT);
    return length;
}

void setPointer(IsamFile *h, int length, Place first) {
    st_int(static_cast<std::uint32_t>(length), pointerAt(h));
    setPlace(pointerAt(h) + 2, first);
}

void readRemnant(IsamFile *h, std::uint32_t number) {
    isCheckNodeNumber(h, number);
    h->varlenState->loaded = 0;
    isGetNode(h, h->varlenState->node, number);
    isCheckRemNode(h, h->varlenState->node);
    h->varlenState->loaded = number;
}

// The node that is looked at last is mostly the one that changes first.
void needRemnant(IsamFile *h, std::uint32_t number) {
    if (h->varlenState->loaded != number) readRemnant(h, number);
    h->varlenState->loaded = 0;
}

void clearNode(IsamFile *h) {
    h->varlenState->loaded = 0;
    std::memset(h->varlenState->node, 0, static_cast<std::size_t>(h->nodeSize));
}

void note(VarlenState *state, TailPiece piece) {
    if (state->count == state->room) {
        const int room = state->room + kPieceGrowth;
        state->pieces = static_cast<TailPiece *>(is_realloc(state->pieces,
                                                            sizeof(TailPiece) * static_cast<std::size_t>(state->room),
                                                            sizeof(TailPiece) * static_cast<std::size_t>(room)));
        state->room = room;
    }
    state->pieces[state->count++] = piece;
}

// Collects a tail of length bytes from its pieces. A piece has at least a byte,
// which bounds the walk; with noting, the pieces are remembered.
void rdVarData(IsamFile *h, std::uint8_t *out, int length, bool noting) {
    VarlenState *state = h->varlenState;
    Place at = place(pointerAt(h) + 2);
    state->count = 0;
    for (int got = 0;;) {
        readRemnant(h, at.node);
        const PieceBytes piece = isRemPiece(h, state->node, at.slot);
        if (piece.length > length - got) isFail(h, ISERR_CORRUPT);
        std::memcpy(out + got, piece.data, static_cast<std::size_t>(piece.length));
        got += piece.length;
        if (noting) note(state, {at, slotCount(h, state->node) == 1, freeBytes(state->node)});
        if (got == length) {
            if (goesOn(state->node)) isFail(h, ISERR_CORRUPT);
            return;
        }
        if (!goesOn(state->node)) isFail(h, ISERR_CORRUPT);
        at = onward(state->node);
    }
}

// Takes the nodes for a tail, so that whatever can be refused is refused before
// anything is written. places[0] is for the piece that shares a node, if there
// is one; its node is in the buffer.
void takeNodes(IsamFile *h, int shared, int whole, std::uint32_t *numbers) {
    VarlenState *state = h->varlenState;
    int taken = 0;
    if (shared != 0) {
        state->loaded = 0;
        numbers[0] = findSpace(h, state->node, shared);
        if (numbers[0] == 0) {
            clearNode(h);
            numbers[0] = isGetFree(h, ISKIND_INDEX);
        }
        taken = 1;
    }
    for (int i = 0; i < whole; ++i)
        numbers[taken++] = isGetFree(h, ISKIND_INDEX);
    if (std::any_of(numbers, numbers + taken, [](std::uint32_t n) { return n > kMaxNode; })) isFail(h, ISERR_DISKSPACE);
}

// Stores the tail from its end to its beginning, each piece pointing to the one
// written before it. Returns where the tail begins.
Place wrVarData(IsamFile *h, const std::uint8_t *tail, int length) {
    VarlenState *state = h->varlenState;
    const int shared = length % kMaxPiece, whole = length / kMaxPiece;
    std::uint32_t numbers[kMaxPieces];
    takeNodes(h, shared, whole, numbers);
    const std::uint32_t *number = numbers;

    Place last = {0, 0};
    if (shared != 0) {
        last = {*number++, toRemNode(h, state->node, tail + length - shared, shared)};
        upHashTab(h, state->node, last.node);
        isPutNode(h, state->node, last.node);
        isStoreHeads(h);
    }
    for (int i = whole - 1; i >= 0; --i) {
        clearNode(h);
        const int slot = toRemNode(h, state->node, tail + i * kMaxPiece, kMaxPiece);
        if (last.node != 0) {
            setPlace(state->node + kOnwardSlotOffset, last);
            state->node[kOnwardFlagOffset] = 1;
        }
        last = {*number++, slot};
        isPutNode(h, state->node, last.node);
    }
    return last;
}

// A node that comes up twice would be given back twice.
void checkDistinct(IsamFile *h) {
    const VarlenState *state = h->varlenState;
    for (int i = 1; i < state->count; ++i)
        for (int k = 0; k < i; ++k)
            if (state->pieces[k].place.node == state->pieces[i].place.node) isFail(h, ISERR_CORRUPT);
}

// Gives a node back. Where it is filed it leaves the hash; it is not written.
void giveBack(IsamFile *h, const TailPiece &piece) {
    VarlenState *state = h->varlenState;
    if (piece.free != 0) {
        needRemnant(h, piece.place.node);
        setFreeBytes(state->node, 0);
        upHashTab(h, state->node, piece.place.node);
    }
    isPutFree(h, ISKIND_INDEX, piece.place.node);
}

// Removes the pieces that were noted.
void rmVarData(IsamFile *h) {
    VarlenState *state = h->varlenState;
    isLoadHeads(h);
    for (int i = 0; i < state->count; ++i) {
        const TailPiece &piece = state->pieces[i];
        if (piece.alone) {
            giveBack(h, piece);
            continue;
        }
        needRemnant(h, piece.place.node);
        rmRemSlot(h, state->node, piece.place.slot);
        upHashTab(h, state->node, piece.place.node);
        isPutNode(h, state->node, piece.place.node);
    }
    isStoreHeads(h);
}

// The record's image in the audit trail, before anything is written.
void auditRecord(IsamFile *h, const void *fixed, const std::uint8_t *tail, int length) {
    isAudVLen(h, h->recordLength + length);
    isAudBody(h, fixed, h->recordLength);
    isAudBody(h, tail, length);
    isAudWrite(h);
}

}  // namespace

void isVLinit(IsamFile *h) {
    if (h->varlenInfo > ISMAXVARLEN || h->varlenInfo <= h->recordLength || !hasData(h) || h->nodeSize < kMinNodeSize)
        isFail(h, ISERR_CORRUPT);
    h->varlenState = is_new<VarlenState>();
    h->varlenState->node = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
    h->hashHeads = is_new<std::uint32_t>(header::kHashHeadCount);
    h->hashStale = 1;
    h->reclen = h->varlenInfo;
}

void isVLdone(IsamFile *h) {
    if (h->varlenState != nullptr) {
        is_free(h->varlenState->node);
        is_free(h->varlenState->pieces);
    }
    h->varlenState = static_cast<VarlenState *>(is_free(h->varlenState));
    h->hashHeads = static_cast<std::uint32_t *>(is_free(h->hashHeads));
}

void isVLread(IsamFile *h, char *record) {
    const int length = storedLength(h);
    auto *out = reinterpret_cast<std::uint8_t *>(record) + h->recordLength;
    h->reclen = h->recordLength;
    if (length == 0) return;
    if (!isCompressed(h)) {
        rdVarData(h, out, length, false);
        h->reclen += length;
        return;
    }
    rdVarData(h, isDbuffer(h, tailMaximum(h)), length, false);
    h->reclen += isDexpand(h, out, length, tailMaximum(h));
}

void isVLwrite(IsamFile *h, const char *record) {
    isVLfits(h);
    int length = h->reclen - h->recordLength;
    if (length <= 0) {
        setPointer(h, 0, {0, 0});
        return;
    }
    const auto *tail = reinterpret_cast<const std::uint8_t *>(record) + h->recordLength;
    if (isCompressed(h)) {
        isDbuffer(h, tailMaximum(h));
        length = isDsquash(h, tail, length);
        tail = h->tailBuffer;
    }
    auditRecord(h, record, tail, length);
    setPointer(h, length, wrVarData(h, tail, length));
}

void isVLfetch(IsamFile *h) {
    VarlenState *state = h->varlenState;
    state->count = 0;
    state->length = storedLength(h);
    if (state->length == 0) return;
    rdVarData(h, isDbuffer(h, tailMaximum(h)), state->length, true);
    checkDistinct(h);
}

int isVLimage(IsamFile *h, char *record) {
    const int length = h->varlenState->length, fixed = h->recordLength;
    std::memcpy(record, h->recordBuffer, static_cast<std::size_t>(fixed));
    if (length == 0) return fixed;
    if (isCompressed(h)) return fixed + isDexpand(h, record + fixed, length, tailMaximum(h));
    std::memcpy(record + fixed, h->tailBuffer, static_cast<std::size_t>(length));
    return fixed + length;
}

void isVLdel(IsamFile *h) {
    const int length = h->varlenState->length;
    if (length == 0) return;
    auditRecord(h, h->recordBuffer, h->tailBuffer, length);
    rmVarData(h);
}

void isVLfits(IsamFile *h) {
    if (h->reclen > h->varlenInfo) isFail(h, ISERR_ROWSIZE);
}
