// Memory for many pieces of few sizes, cut out of blocks of two megabytes: those the
// system can back with one large page each. Pieces that are looked at all over the
// place otherwise cost more for finding their pages than for themselves.
#pragma once

#include <cstddef>

// A piece of size bytes, not cleared. Exhausted memory is a fatal stop.
void *isSlabTake(std::size_t size);

// Gives a piece back, and its block when it was the last one in it.
void isSlabGive(void *piece);

// Whether it is worth while: not where addresses are scarce, nor where a sanitizer
// watches over each piece of the heap.
inline constexpr bool kSlabs =
#if defined(__SANITIZE_ADDRESS__)
    false;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
    false;
#else
    sizeof(void *) == 8;
#endif
#else
    sizeof(void *) == 8;
#endif
