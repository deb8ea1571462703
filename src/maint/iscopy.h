// Copies of whole files: an empty one of the same shape, and all records into
// another.
#pragma once

#include "base/isfile.h"

// Makes an empty file set like h under the name and opens it. Null on failure,
// with the error in h.
IsamFile *isClone(IsamFile *h, const char *name);

// Copies all records of one file into another, in the order of an index (null:
// the current one). 0 with the error in `to`; what was copied before stays, unless
// nobody knows that file yet: it is to be given up then.
int isCopy(IsamFile *to, IsamFile *from, const KeyDesc *key, bool apart);
