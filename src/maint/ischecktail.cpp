// Check of the tails of variable-length records, and of the lists of nodes that
// have room for more. It follows what the nodes say by itself: reading a tail
// would end at the first thing wrong with it.

#include <algorithm>

#include "base/isfail.h"
#include "maint/ischeck.h"
#include "maint/ischecking.h"
#include "storage/header_layout.h"
#include "storage/isdatio.h"
#include "storage/isidxio.h"
#include "storage/remnant_layout.h"

using namespace remnant;

namespace {

// Places in the statistics.
enum Count : int { kFiled = 0, kUnfiled = 2, kReached = 4, kCounts = 6 };

void tally(long *stats, Count what, const std::uint8_t *node) {
    ++stats[what];
    stats[what + 1] += freeBytes(node);
}

const std::uint8_t *loadNode(IsamFile *h, std::uint32_t number) {
    std::uint8_t *node = isScratchNode(h);
    isCheckNodeNumber(h, number);
    isGetLinked(h, node, number);
    if (ld_int(node + kMagicOffset) != kMagic) isFound(h, ISCHK_MAGIC);
    return node;
}

void checkBucket(IsamFile *h, int bucket, long *stats) {
    const int least = bucket * kBucketWidth;
    std::uint32_t visited = 0;
    isNumbersMake(h, isNodeLimit(h));
    for (std::uint32_t number = header::hashHead(h->header, bucket); number != 0;) {
        const std::uint8_t *node = loadNode(h, number);
        if (!isNumbersAdd(h, number)) {
            // Round in a circle.
            isFound(h, ISCHK_LINK);
            return;
        }
        if (freeBytes(node) < least || freeBytes(node) > least + kBucketWidth) isFound(h, ISCHK_MISFILED);
        if (previous(node) != visited) isFound(h, ISCHK_LINK);
        tally(stats, kFiled, node);
        visited = number;
        number = next(node);
    }
}

// Would reading take a piece from the node? It looks at all these. Free bytes of a
// node that is filed are judged there.
bool isReadable(const IsamFile *h, const std::uint8_t *node) {
    return dataEnd(node) <= h->nodeSize - kMarkBack - kSlotSize * slots(node) && bucket(node) <= kLastBucket &&
           (bucket(node) != 0 || freeBytes(node) <= kFreshFree);
}

// A slot's piece; length 0 where there is none.
struct Piece {
    int offset, length;
};

Piece pieceAt(const IsamFile *h, const std::uint8_t *node, int slot) {
    if (slot >= slots(node) || !isReadable(h, node)) return {0, 0};
    const std::uint8_t *at = slotAt(node, h->nodeSize, slot);
    const Piece piece = {pieceOffset(at), pieceLength(at)};
    return piece.offset >= kDataStart && piece.offset + piece.length <= dataEnd(node) ? piece : Piece{0, 0};
}

// Adds up the pieces of the tail of the record in the slot buffer.
void checkTail(IsamFile *h, long *stats) {
    const std::uint8_t *pointer = slot::tailPointer(h);
    const int length = ld_int(pointer);
    if (length == 0) return;
    Place at = place(pointer + 2);
    int sum = 0;
    for (int pieces = 1;; ++pieces) {
        const std::uint8_t *node = loadNode(h, at.node);
        const Piece piece = pieceAt(h, node, at.slot);
        if (piece.length == 0 || pieces > kMaxPieces) {
            isFound(h, ISCHK_LENGTH);
            return;
        }
        // One piece of each node lies there, so each is counted once.
        if (piece.offset == kDataStart) {
            tally(stats, kReached, node);
            if (bucket(node) == 0) tally(stats, kUnfiled, node);
        }
        sum += piece.length;
        if (!goesOn(node)) break;
        at = onward(node);
    }
    if (sum != length) isFound(h, ISCHK_LENGTH);
}

void checkTails(IsamFile *h, long *stats) {
    for (std::uint32_t number = h->dataFree.last; number > 0; --number) {
        isGetData(h, static_cast<long>(number));
        if (slot::status(h) == slot::kPresent) checkTail(h, stats);
    }
}

}  // namespace

int isCheckVarlen(IsamFile *h, long *stats) {
    long own[kCounts];
    long *counts = stats != nullptr ? stats : own;
    std::fill_n(counts, static_cast<int>(kCounts), 0L);
    return isChecking(h, ISCHK_INDEXREAD, [h, stats, counts] {
        if (header::hashHead(h->header, 0) != 0) isFound(h, ISCHK_BUCKET0);
        for (int bucket = 1; bucket <= kLastBucket; ++bucket)
            checkBucket(h, bucket, counts);
        if (hasTails(h)) checkTails(h, counts);
        if (stats != nullptr && counts[kReached] != counts[kFiled] + counts[kUnfiled]) isFound(h, ISCHK_LOST);
    });
}
