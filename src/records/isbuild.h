// Making file sets, and the precious mode that keeps record numbers from being
// used again.
#pragma once

#include "base/isfile.h"

// Makes a file set and opens it. maxLength counts with ISVARLEN only. Null on
// failure, as isOpen; files made before the failure stay.
IsamFile *isBuild(const char *name, int minLength, int maxLength, const KeyDesc *key, int mode);

int isPrecious(IsamFile *h, int on);
