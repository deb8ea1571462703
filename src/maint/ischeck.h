// Checks of a file. They read it under the shared phase lock, change nothing and
// return a mask: bit i stands for the message isCheckMsg[i], 0 for a sound file.
//
// Whatever is wrong ends up in the mask. Damage that would stop the process
// elsewhere fails here, and a failure becomes the bit of the check's kind.
#pragma once

#include "base/isfile.h"

int isCheckData(IsamFile *h);

// index: 1 for the first.
int isCheckIndex(IsamFile *h, int index);

// stats: null, or the six numbers of ischeckvarlen.
int isCheckVarlen(IsamFile *h, long *stats);
