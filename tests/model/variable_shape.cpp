// Shapes with variable-length records.
#include "shape.h"

#include <algorithm>

namespace model {

namespace {

// The sorts of tails that a shape has, by its number.
enum Tails { kShort, kShared, kNodeEdges, kSeveralNodes, kLong, kBucketEdges, kTails };

constexpr int kPiece = 994;  // the longest piece of a tail

// A record of a few bytes that are all key.
void makeTiny(Shape *shape, Random *random) {
    int length = random->between(1, 3);
    shape->recordLength = length == 3 ? 3 : 1;
    shape->fields.assign(1, Field{});
    Field &field = shape->fields[0];
    field.length = shape->recordLength;
    field.domain = shape->recordLength == 1 ? 8 : 300;
    KeyDesc key{};
    key.nparts = 1;
    key.parts[0].length = static_cast<short>(shape->recordLength);
    key.flags = shape->recordLength == 3 && random->percent(60) ? ISNODUPS : ISDUPS;
    shape->candidates.assign(1, key);
    shape->candidates[0].parts[0].length = 1;
    shape->candidates[0].parts[0].type = ISDESC;
    shape->candidates[0].flags = ISDUPS | ISDUPCOMP;
    shape->indexes.assign(1, key);
    if (random->percent(40)) shape->indexes.insert(shape->indexes.begin(), KeyDesc{});
    shape->masked = false;
}

void makeTails(Shape *shape, Random *random) {
    std::vector<int> &lengths = shape->tailLengths;
    int room = 0;
    lengths = {0, 1};
    switch (shape->number % kTails) {
    case kShort: room = shape->number % 4 == 0 ? 1 : random->between(2, 12); break;
    case kShared:
        room = random->between(150, 320);
        for (int i = 0; i < 3; ++i)
            lengths.push_back(random->between(2, room));
        break;
    case kNodeEdges:
        room = random->between(1990, 2100);
        lengths.insert(lengths.end(), {kPiece - 1, kPiece, kPiece + 1, 2 * kPiece - 1, 2 * kPiece, 2 * kPiece + 1});
        break;
    case kSeveralNodes:
        room = random->between(4 * kPiece + 1, 6000);
        lengths.insert(lengths.end(), {kPiece, 2 * kPiece, 3 * kPiece, 4 * kPiece - 1, 4 * kPiece + 1});
        break;
    case kLong:
        room = ISMAXVARLEN - shape->recordLength;
        lengths.insert(lengths.end(), {32000, 32 * kPiece, 31 * kPiece + 1, kPiece - 1, kPiece});
        break;
    default:  // what is left in a node of one, two or more of them lies about the borders of the buckets
        room = random->between(800, 990);
        for (int left = 196; left <= 796; left += 200)
            lengths.push_back(random->between(kPiece - left - 6, std::min(room, kPiece - left)));
        lengths.insert(lengths.end(), {197, 198, 396, 397});
        break;
    }
    shape->maximumLength = shape->recordLength + room;
    lengths.push_back(room);
    lengths.erase(std::remove_if(lengths.begin(), lengths.end(), [&](int n) { return n > room; }), lengths.end());
}

}  // namespace

Shape makeVariableShape(int number, std::uint64_t seed) {
    // Keys and modes of a shape with records of one length, each sort of tails with other ones.
    int like = number + number / kTails;
    if (like % 9 == 7) ++like;  // keys alone have no tails
    Shape shape = makeShape(like, seed);
    Random random(seed ^ 0x7a11ULL);
    shape.number = number;
    if (number % 5 == 1) makeTiny(&shape, &random);
    makeTails(&shape, &random);
    shape.compressed = number / kTails % 2 == 1;
    shape.audited = number % 7 == 2 || number % 7 == 4;
    shape.bufferLength = shape.maximumLength + 16;  // the library must leave the rest of the buffer alone
    const int most[kTails] = {1000, 250, 120, 60, 16, 250};
    shape.target = std::min(shape.target, most[number % kTails]);
    if (number % kTails == kLong && shape.mix == Mix::kNoDelete) shape.mix = Mix::kEven;
    shape.maskBits = static_cast<int>(shape.indexes.size());
    return shape;
}

}  // namespace model
