// Reading and positioning.
#pragma once

#include "base/isfile.h"

int isRead(IsamFile *h, char *record, int mode);
int isStart(IsamFile *h, const KeyDesc *key, int length, const char *record, int mode);
int isIndex(IsamFile *h, int index);
int isGoto(IsamFile *h, long recnum);
int isData(IsamFile *h, char *record, long recnum);
int isPush(IsamFile *h, int *index, long *recnum);
int isPop(IsamFile *h, int index, long recnum);
