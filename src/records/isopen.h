// Opening and closing file sets, and the switches of an open handle.
#pragma once

#include "base/isfile.h"

// Opens a file set. Null on failure: the code is in errno, the secondary code
// in iserrio, and nothing that was taken is kept.
IsamFile *isOpen(const char *name, int mode);

// Opens the files of a handle that has them to itself anew, as those of a name
// that they have been given since; locks and files are never let go of. The handle
// is gone in any case. Null on failure, as isOpen.
IsamFile *isOpenAs(const char *name, IsamFile *from);

// Closes a handle, or parks it inside a transaction. A handle that is not parked
// is gone even when the result is 0 because a lock could not be released or the
// log could not be written.
int isClose(IsamFile *h);

// Closes a handle, parked or not. The log gets its closing.
int isCloseNow(IsamFile *h);

// Closes every handle, from the highest descriptor down, parked ones too, and
// empties the table.
int isCleanUp();

int isSetMode(IsamFile *h, int mode);
int isLockCheck(IsamFile *h, int on);

// A new handle, not yet registered, with a copy of the name.
IsamFile *isNewHandle(const char *name, int mode);

// Frees a handle and everything it owns; its files go with the last handle that
// shares them.
void isDispose(IsamFile *h);

// The same, and the handle's error goes into errno and iserrio.
void isAbandon(IsamFile *h);
