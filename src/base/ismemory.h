// Heap memory: zero-filled, and never null.
#pragma once

#include <cstddef>

// size zeroed bytes. Exhausted memory is a fatal stop.
void *is_malloc(std::size_t size);

// Resizes a block of oldSize bytes (0: there is none yet); growth is zeroed.
// Exhausted memory is a fatal stop.
void *is_realloc(void *block, std::size_t oldSize, std::size_t newSize);

// Frees block if there is one. Always null, so that the owner can clear its
// pointer with the result.
std::nullptr_t is_free(void *block);

template <typename T> T *is_new(std::size_t count = 1) { return static_cast<T *>(is_malloc(sizeof(T) * count)); }
