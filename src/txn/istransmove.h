// Records that came back while a transaction is undone, perhaps under another number.
//
// A deleted record is written anew and takes the number that is free then. What
// the transaction did to it before, which is undone after, goes by its old one.
#pragma once

#include <cstdint>

#include "base/issystem.h"

struct TxnMove {
    FileIdentity file;
    std::uint32_t from, to;
};

struct TxnMoves {
    TxnMove *list;
    int count, room;
};

// The record number that `number` of the log has become.
std::uint32_t isMovedTo(const TxnMoves *moves, IsamFile *h, std::uint32_t number);

// Has the record gone and come back?
bool isBack(const TxnMoves *moves, IsamFile *h, std::uint32_t number);

// The record has come back as `to`; or it has gone for good.
void isNoteMove(TxnMoves *moves, IsamFile *h, std::uint32_t from, std::uint32_t to);
void isEndMove(TxnMoves *moves, IsamFile *h, std::uint32_t from);

void isFreeMoves(TxnMoves *moves);
