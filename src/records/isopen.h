// Opening and closing file sets, and the switches of an open handle.
#pragma once

#include "base/isfile.h"

// Opens a file set. Null on failure: the code is in errno, the secondary code
// in iserrio, and nothing that was taken is kept.
IsamFile *isOpen(const char *name, int mode);

// Closes a handle, or parks it inside a transaction. The handle is gone even
// when the result is 0 because a lock could not be released.
int isClose(IsamFile *h);

// Closes every handle, from the highest descriptor down, and empties the table.
int isCleanUp();

int isSetMode(IsamFile *h, int mode);
int isLockCheck(IsamFile *h, int on);

// A new handle, not yet registered, with a copy of the name.
IsamFile *isNewHandle(const char *name, int mode);

// Frees a handle and everything it owns, its slot and its files included. The
// handle's error goes into errno and iserrio.
void isAbandon(IsamFile *h);
