#include "tail_text.h"

#include <algorithm>
#include <cstring>

namespace model {

namespace {

constexpr std::uint8_t kFills[] = {0x00, 0x20, 0x30};

// A byte that run-length coding never takes for a run.
std::uint8_t literal(Random *random) { return static_cast<std::uint8_t>(random->between('A', 'Z')); }

std::uint8_t anyFill(Random *random) { return kFills[random->below(3)]; }

// Lengths at which a count of the coding is full, and others.
int stretch(Random *random) {
    return random->percent(50) ? random->between(1, 6) : random->between(0, 3) * 63 + random->between(1, 64);
}

void mixed(Random *random, std::uint8_t *tail, int length) {
    for (int at = 0; at < length;) {
        int count = std::min(length - at, stretch(random));
        if (random->percent(50)) {
            std::memset(tail + at, anyFill(random), static_cast<std::size_t>(count));
        } else {
            for (int i = 0; i < count; ++i)
                tail[at + i] = random->percent(20) ? anyFill(random) : literal(random);
        }
        at += count;
    }
}

// A run, then literals up to the end, whose last count may come out as 62 to 66.
void endsInLiterals(Random *random, std::uint8_t *tail, int length) {
    int literals = std::min(length, 63 * random->between(0, 2) + random->between(62, 66));
    std::memset(tail, anyFill(random), static_cast<std::size_t>(length - literals));
    for (int i = length - literals; i < length; ++i)
        tail[i] = literal(random);
}

void text(Random *random, std::uint8_t *tail, int length) {
    for (int i = 0; i < length; ++i)
        tail[i] = random->percent(15) ? ' ' : static_cast<std::uint8_t>(random->between('a', 'z'));
    int blank = random->below(length + 1);  // filled up, as a text field is
    std::memset(tail + length - blank, ' ', static_cast<std::size_t>(blank));
}

}  // namespace

void fillTail(Random *random, std::uint8_t *tail, int length) {
    if (length <= 0) return;
    switch (random->below(8)) {
    case 0: std::memset(tail, anyFill(random), static_cast<std::size_t>(length)); break;
    case 1:
        for (int i = 0; i < length; ++i)
            tail[i] = static_cast<std::uint8_t>(random->below(256));
        break;
    case 2:
    case 3: text(random, tail, length); break;
    case 4: endsInLiterals(random, tail, length); break;
    case 5:
        for (int i = 0; i < length; ++i)
            tail[i] = anyFill(random);
        break;
    default: mixed(random, tail, length); break;
    }
}

int makeTail(Random *random, const Shape &shape, std::uint8_t *record) {
    auto favourite = static_cast<std::size_t>(random->below(static_cast<int>(shape.tailLengths.size())));
    int length = shape.tailLengths[favourite];
    if (random->percent(50)) length = random->below(shape.maximumLength - shape.recordLength + 1);
    fillTail(random, record + shape.recordLength, length);
    if (random->percent(97)) return shape.recordLength + length;
    const int odd[] = {0, -1, shape.recordLength - 1, shape.maximumLength + 1, 70000};
    return odd[random->below(5)];
}

}  // namespace model
