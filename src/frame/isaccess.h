// Record and whole-file locks on the caller's demand.
#pragma once

#include "base/isfile.h"

int isLock(IsamFile *h);
int isUnLock(IsamFile *h);
int isRelease(IsamFile *h);
int isRelRec(IsamFile *h, long recnum);
int isRelCurr(IsamFile *h);
int isThreaded();
