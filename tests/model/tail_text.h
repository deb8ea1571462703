// Contents of tails.
#ifndef TESTS_MODEL_TAIL_TEXT_H
#define TESTS_MODEL_TAIL_TEXT_H

#include "random.h"
#include "shape.h"

#include <cstdint>

namespace model {

// Fills length bytes in one of many ways: one fill byte, text, runs and literals of all lengths, chance.
void fillTail(Random *random, std::uint8_t *tail, int length);

// Gives a record of the shape a tail, mostly of one of the lengths that it is about. Returns the length of the whole,
// now and then one below the minimum or above the maximum.
int makeTail(Random *random, const Shape &shape, std::uint8_t *record);

}  // namespace model

#endif
