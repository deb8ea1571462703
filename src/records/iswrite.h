// Changing records: each call keeps the data file and every index in step.
//
// Order of a write: record number, keys into all indexes in memory, audit,
// slot, index nodes, free lists, header, log. A duplicate stops it before
// anything reached a file. What else an operation can foresee to fail it checks
// before its first change.
#pragma once

#include "base/isfile.h"

int isWrite(IsamFile *h, const char *record);
int isWrLock(IsamFile *h, const char *record);
int isWrCurr(IsamFile *h, const char *record);

int isRewrite(IsamFile *h, const char *record);
int isRewCurr(IsamFile *h, const char *record);
int isRewRec(IsamFile *h, long recnum, const char *record);
int isRewNxt(IsamFile *h, const char *record);

int isDelete(IsamFile *h, const char *record);
int isDelCurr(IsamFile *h);
int isDelRec(IsamFile *h, long recnum);

int isSetUnique(IsamFile *h, long value);
int isUniqueId(IsamFile *h, long *id);
