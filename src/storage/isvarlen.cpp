#include "storage/isvarlen.h"

#include <cstring>

#include "base/isfail.h"
#include "base/ismemory.h"
#include "storage/header_layout.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/ishead.h"
#include "storage/isidxio.h"
#include "storage/isremnant.h"
#include "storage/issquash.h"
#include "storage/istailhash.h"
#include "storage/remnant_layout.h"

using namespace remnant;

// A piece found on the way along a tail.
struct TailPiece {
    Place place;
    bool alone;  // its node holds nothing else
    int free;    // free bytes of its node
};

// A tail being stored: its whole pieces and what they point to.
struct NewTail {
    const std::uint8_t *bytes;
    int whole;                          // pieces of 994 bytes
    std::uint32_t numbers[kMaxPieces];  // their nodes, that of the last piece first
    Place shared;                       // the piece behind them, node 0 = none
    std::uint32_t counted;              // highest node number that the header counted
};

struct VarlenState {
    RemStage stage;
    NewTail tail;
    TailPiece *pieces;  // of the tail fetched last
    int count, room;
    int length;        // of that tail, bytes as stored
    StoredTail coded;  // the tail that isVLcode has made ready
};

namespace {

constexpr int kPieceGrowth = 40;  // more than the longest tail has

bool isCompressed(const IsamFile *h) { return (h->mode & ISCOMPRESS) != 0; }
int tailMaximum(const IsamFile *h) { return h->varlenInfo - h->recordLength; }

// Length of the tail in the slot buffer, as stored; 105 for one that cannot be.
int storedLength(IsamFile *h) {
    const int length = ld_int(slot::tailPointer(h));
    if (length > tailMaximum(h) + (isCompressed(h) ? kSquashHead : 0)) isFail(h, ISERR_CORRUPT);
    return length;
}

void setPointer(IsamFile *h, int length, Place first) {
    st_int(static_cast<std::uint32_t>(length), slot::tailPointer(h));
    setPlace(slot::tailPointer(h) + 2, first);
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
    Place at = place(slot::tailPointer(h) + 2);
    isStageClear(&state->stage);
    for (int got = 0;;) {
        const std::uint8_t *node = isStageLoad(h, &state->stage, at.node);
        const PieceBytes piece = isRemPiece(h, node, at.slot);
        if (piece.length > length - got) isFail(h, ISERR_CORRUPT);
        std::memcpy(out + got, piece.data, static_cast<std::size_t>(piece.length));
        got += piece.length;
        if (noting) note(state, {at, slotCount(h, node) == 1, freeBytes(node)});
        if (goesOn(node) != (got < length)) isFail(h, ISERR_CORRUPT);
        if (got == length) return;
        at = onward(node);
    }
}

// Pieces of which another than the last shares its node were not made here:
// giving them back would take other records' room. None came twice: it would
// have led on the second time as well.
void checkPieces(IsamFile *h) {
    const VarlenState *state = h->varlenState;
    for (int i = 0; i < state->count - 1; ++i)
        if (!state->pieces[i].alone) isFail(h, ISERR_CORRUPT);
}

// Gives a node back. Where it is filed it leaves the hash; it is not written.
void giveBack(IsamFile *h, const TailPiece &piece) {
    RemStage *stage = &h->varlenState->stage;
    if (piece.free != 0) {
        setFreeBytes(isStageLoad(h, stage, piece.place.node), 0);
        upHashTab(h, stage, piece.place.node);
    }
    isStageDrop(stage, piece.place.node);
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
        rmRemSlot(h, isStageLoad(h, &state->stage, piece.place.node), piece.place.slot);
        isStageDirty(&state->stage, piece.place.node);
        upHashTab(h, &state->stage, piece.place.node);
    }
}

// Adds the last bytes of a tail to a node that has room.
Place putShared(IsamFile *h, const std::uint8_t *bytes, int length) {
    RemStage *stage = &h->varlenState->stage;
    std::uint32_t number = findSpace(h, stage, length);
    if (number == 0) {
        number = isGetFree(h, ISKIND_INDEX);
        isStageFresh(h, stage, number);
    }
    const int slot = toRemNode(h, isStageLoad(h, stage, number), bytes, length);
    isStageDirty(stage, number);
    upHashTab(h, stage, number);
    return {number, slot};
}

// Writes the whole pieces, those that make the file longer or the others.
void putWhole(IsamFile *h, const NewTail &tail, bool longer) {
    std::uint8_t *node = isScratchNode(h);
    for (int i = 0; i < tail.whole; ++i) {
        if ((tail.numbers[i] > tail.counted) != longer) continue;
        std::memset(node, 0, static_cast<std::size_t>(h->nodeSize));
        toRemNode(h, node, tail.bytes + (tail.whole - 1 - i) * kMaxPiece, kMaxPiece);
        const Place onward = i > 0 ? Place{tail.numbers[i - 1], 0} : tail.shared;
        if (onward.node != 0) {
            setPlace(node + kOnwardSlotOffset, onward);
            node[kOnwardFlagOffset] = 1;
        }
        isPutNode(h, node, tail.numbers[i]);
    }
}

// Lays a tail out: its remainder in a shared node, then, from the end to the
// beginning, whole pieces in nodes of their own. Returns where it begins.
Place wrVarData(IsamFile *h, const std::uint8_t *bytes, int length) {
    const int remainder = length % kMaxPiece;
    NewTail &tail = h->varlenState->tail;
    tail.bytes = bytes;
    tail.counted = isHeadLastNode(h);
    if (remainder != 0) tail.shared = putShared(h, bytes + length - remainder, remainder);
    bool tooHigh = tail.shared.node > kMaxNode;
    for (; tail.whole < length / kMaxPiece; ++tail.whole) {
        tail.numbers[tail.whole] = isGetFree(h, ISKIND_INDEX);
        tooHigh = tooHigh || tail.numbers[tail.whole] > kMaxNode;
    }
    if (tooHigh) isFail(h, ISERR_DISKSPACE);
    return tail.whole > 0 ? Place{tail.numbers[tail.whole - 1], 0} : tail.shared;
}

}  // namespace

void isVLinit(IsamFile *h) {
    if (h->varlenInfo > ISMAXVARLEN || h->varlenInfo <= h->recordLength || !hasData(h) || h->nodeSize < kMinNodeSize)
        isFail(h, ISERR_CORRUPT);
    h->varlenState = is_new<VarlenState>();
    h->hashHeads = is_new<std::uint32_t>(header::kHashHeadCount);
    h->hashStale = 1;
    h->reclen = h->varlenInfo;
}

void isVLdone(IsamFile *h) {
    if (VarlenState *state = h->varlenState) {
        for (const StagedNode &node : state->stage.nodes)
            is_free(node.bytes);
        is_free(state->stage.links);
        is_free(state->pieces);
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

StoredTail isVLcode(IsamFile *h, const char *record) {
    isVLfits(h);
    const int length = h->reclen - h->recordLength;
    const auto *tail = reinterpret_cast<const std::uint8_t *>(record) + h->recordLength;
    StoredTail &coded = h->varlenState->coded;
    coded = {tail, length > 0 ? length : 0};
    if (length > 0 && isCompressed(h)) {
        isDbuffer(h, tailMaximum(h));
        coded.length = isDsquash(h, tail, length);
        coded.bytes = h->tailBuffer;
    }
    return coded;
}

void isVLplace(IsamFile *h) {
    const StoredTail &coded = h->varlenState->coded;
    setPointer(h, coded.length, coded.length > 0 ? wrVarData(h, coded.bytes, coded.length) : Place{0, 0});
}

void isVLwrite(IsamFile *h) {
    VarlenState *state = h->varlenState;
    putWhole(h, state->tail, true);
    isStagePutNew(h, &state->stage);
}

void isVLput(IsamFile *h) {
    VarlenState *state = h->varlenState;
    putWhole(h, state->tail, false);
    isStagePut(h, &state->stage);
    if (h->hashStale == 0) isStoreHeads(h);
}

void isVLforget(IsamFile *h) {
    VarlenState *state = h->varlenState;
    isStageClear(&state->stage);
    state->tail.whole = state->count = state->length = 0;
    state->tail.shared = {0, 0};
}

StoredTail isVLfetch(IsamFile *h) {
    VarlenState *state = h->varlenState;
    isVLforget(h);
    state->length = storedLength(h);
    if (state->length == 0) return {h->tailBuffer, 0};
    rdVarData(h, isDbuffer(h, tailMaximum(h)), state->length, true);
    checkPieces(h);
    return {h->tailBuffer, state->length};
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
    if (h->varlenState->length != 0) rmVarData(h);
}

void isVLfits(IsamFile *h) {
    if (h->reclen > h->varlenInfo) isFail(h, ISERR_ROWSIZE);
}
