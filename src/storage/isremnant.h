// Pieces in a remnant node, in memory: nothing here reads or writes the file.
#pragma once

#include "base/isfile.h"

// 105 unless the buffer holds a remnant node whose counts and borders fit.
void isCheckRemNode(IsamFile *h, const std::uint8_t *node);

// A piece's bytes in a checked node; 105 unless the slot holds one.
struct PieceBytes {
    const std::uint8_t *data;
    int length;
};
PieceBytes isRemPiece(IsamFile *h, const std::uint8_t *node, int slot);

// Slots that hold a piece.
int slotCount(const IsamFile *h, const std::uint8_t *node);

// Adds a piece, to a node without slots (which becomes a fresh one) or to a
// checked node. Returns its slot: the highest free one, or a new one. 105 when
// there is no room although the node's count of free bytes says so.
int toRemNode(IsamFile *h, std::uint8_t *node, const void *piece, int length);

// Cuts a piece out. Its slot stays, free for another piece.
void rmRemSlot(IsamFile *h, std::uint8_t *node, int slot);
