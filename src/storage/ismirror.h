// The data file's slots, as far as they have been read, in memory: for a file that has
// room there beside the index nodes, read often and changed by nobody else.
//
// What is here stands in the file as well, for as long as the header's change counter
// is what it was: isMirrorForget when it is not, isMirrorPatch when this handle itself
// has written. It reaches to the highest record number: isMirrorForget when that
// changes by anything but a record that is written.
#pragma once

#include "base/isfile.h"

// The slot's bytes, or null where they are not known.
const std::uint8_t *isMirrorSlot(const IsamFile *h, std::uint32_t recnum);

// Reads it, with others around it; null where it is to be read alone. Nothing fails
// here: a read that does will fail again when the slot is read.
const std::uint8_t *isMirrorRead(IsamFile *h, std::uint32_t recnum);

// Bytes that have been written to the slot, at offset in it.
void isMirrorPatch(IsamFile *h, std::uint32_t recnum, int offset, const void *bytes, int length);

void isMirrorForget(IsamFile *h);
void isMirrorFree(IsamFile *h);

// Frees those of all handles: index nodes need the room.
void isMirrorsFree();
