// The highest record number of a file.
#pragma once

#include "base/isfile.h"

int isGetLastRec(IsamFile *h, long *recnum);
int isSetLastRec(IsamFile *h, long recnum);
int isLastRec(IsamFile *h, long *recnum);
