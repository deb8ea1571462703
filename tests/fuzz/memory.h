// The memory that the library holds.
#ifndef TESTS_FUZZ_MEMORY_H
#define TESTS_FUZZ_MEMORY_H

#include <cstddef>

namespace fuzz {

// Pieces that the library has allocated and not freed.
std::size_t heldPieces();

// Is it one of them?
bool isHeld(const void *piece);

// Prints where they were allocated, if that is known.
void describeHeld();

// Frees them all, as the end of a process does.
void freeAll();

}  // namespace fuzz

#endif
