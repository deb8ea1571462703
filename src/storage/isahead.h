// Slots read ahead, for whoever goes through a file slot by slot.
//
// What is here stands in the file as well, for as long as the header's change counter
// is what it was: isAheadForget when it is not, isAheadPatch when this handle itself
// has written.
#pragma once

#include "base/isfile.h"

// The slot's bytes, or null where it is to be read alone. Nothing fails here: a read
// that does will fail again when the slot is read.
const std::uint8_t *isAheadSlot(IsamFile *h, std::uint32_t recnum);

// Bytes that have been written to the slot, at offset in it.
void isAheadPatch(IsamFile *h, std::uint32_t recnum, int offset, const void *bytes, int length);

void isAheadForget(IsamFile *h);

// The room for them, for another use that ends before the next slot is read.
inline constexpr int kAheadRoom = 64 * 1024;  // bytes
std::uint8_t *isAheadLend(IsamFile *h);

void isAheadFree(IsamFile *h);
