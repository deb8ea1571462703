// Run-length coding of variable tails, in the handle's work buffer.
//
// A coded string is either
//   00, length (2 bytes), the bytes themselves
// or a header of control bytes that ends with 00, and after it the body: the
// literal bytes, one after the other. A control byte is a fill code (its upper
// two bits) and a count of 1..63:
//   0  the next count bytes of the body
//   1  count bytes 0x00
//   2  count bytes 0x20, blanks
//   3  count bytes 0x30, the digit 0
#pragma once

#include <cstdint>

#include "base/isfile.h"

// What coding adds to a tail at the most.
inline constexpr int kSquashHead = 1 + 2;

// Makes sure that the handle's work buffer holds n bytes of tail in any form,
// and returns it.
std::uint8_t *isDbuffer(IsamFile *h, int n);

// Codes n bytes (1 or more) into the work buffer, which isDbuffer(n) has
// provided. Returns the coded length, n + 3 at the most.
//
// Existing files fix the stream to the byte. That includes a loss: where 63
// literals are pending when the last byte is reached as a literal, the count
// overflows into the fill code and those 64 bytes do not come back.
int isDsquash(IsamFile *h, const void *source, int n);

// Expands the length coded bytes in the work buffer to destination, which has
// room bytes. Returns the expanded length. 105 for bytes that are no coded
// string or expand to more than room.
int isDexpand(IsamFile *h, void *destination, int length, int room);
