// Variable tails of records.
//
// This version keeps records of fixed length only: building or opening a
// variable-length file is refused with 102, so no handle has ISVARLEN and the
// calls that move tails are never reached.
#pragma once

#include "base/isfile.h"

// At build and open of a variable-length file.
void isVLinit(IsamFile *h);
void isVLdone(IsamFile *h);

// Reads, stores and removes the tail of the record in the slot buffer.
void isVLread(IsamFile *h, char *record);
void isVLwrite(IsamFile *h, const char *record);
void isVLdel(IsamFile *h);

// 132 when the length that the caller gave is above the maximum.
void isVLfits(IsamFile *h);
