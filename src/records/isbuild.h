// Making file sets, alone or after the model of another, and the precious mode that keeps record numbers from being
// used again.
#pragma once

#include "base/isfile.h"

// Makes a file set and opens it. maxLength counts with ISVARLEN only. Null on
// failure, as isOpen; files made before the failure stay.
IsamFile *isBuild(const char *name, int minLength, int maxLength, const KeyDesc *key, int mode);

// Makes an empty file set like one that is open, with its lengths, indexes and
// mode, and opens it. Null on failure: no file is left then.
IsamFile *isBuildLike(const IsamFile *model, const char *name);

// Closes a file set that has just been made and removes its files again. Its
// error goes into errno and iserrio.
void isUnbuild(IsamFile *h);

int isPrecious(IsamFile *h, int on);
