// What a file tells about itself, and the application's area in its header.
#pragma once

#include "base/isfile.h"

int isIndexInfo(IsamFile *h, void *buffer, int index);
int isIsamInfo(IsamFile *h, DictInfo *info);
int isUserInfo(IsamFile *h, int direction, void *buffer);

// isErrno, isErrio, isRecnum and isReclen: what the last call left in the handle.
