// What reading and starting share.
#pragma once

#include "base/isfile.h"

// Gives the caller the record just located: in record-number order from the
// slot buffer, else the slot isrecnum names, in a file without records the key
// at the first index's position. Sets reclen, and the mask in a file that has
// them.
void isDeliver(IsamFile *h, char *record);

// The same for what is in the slot buffer.
void isCopyOut(IsamFile *h, char *record);

// ISCURR for the ISNEXT or ISPREV that returns the record at the position, the
// mode itself otherwise.
int isTurnMode(const IsamFile *h, int mode);

// The error that a miss in this mode is.
int isMissCode(int mode);
