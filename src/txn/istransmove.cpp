#include "txn/istransmove.h"

#include <cstring>

#include "base/ismemory.h"

namespace {

constexpr int kGrowth = 16;

int find(const TxnMoves *moves, IsamFile *h, std::uint32_t number) {
    for (int i = moves->count - 1; i >= 0; --i)
        if (moves->list[i].from == number && moves->list[i].file == h->indexFile) return i;
    return -1;
}

}  // namespace

std::uint32_t isMovedTo(const TxnMoves *moves, IsamFile *h, std::uint32_t number) {
    const int i = find(moves, h, number);
    return i >= 0 ? moves->list[i].to : number;
}

bool isBack(const TxnMoves *moves, IsamFile *h, std::uint32_t number) { return find(moves, h, number) >= 0; }

void isNoteMove(TxnMoves *moves, IsamFile *h, std::uint32_t from, std::uint32_t to) {
    if (moves->count == moves->room) {
        const auto size = sizeof(TxnMove) * static_cast<std::size_t>(moves->room);
        moves->list = static_cast<TxnMove *>(is_realloc(moves->list, size, size + sizeof(TxnMove) * kGrowth));
        moves->room += kGrowth;
    }
    moves->list[moves->count++] = {h->indexFile, from, to};
}

void isEndMove(TxnMoves *moves, IsamFile *h, std::uint32_t from) {
    for (int i = find(moves, h, from); i >= 0; i = find(moves, h, from)) {
        // The order stays: the newest entry of a number is the one that counts.
        --moves->count;
        std::memmove(moves->list + i, moves->list + i + 1,
                     sizeof(TxnMove) * static_cast<std::size_t>(moves->count - i));
    }
}

void isFreeMoves(TxnMoves *moves) { moves->list = static_cast<TxnMove *>(is_free(moves->list)); }
