// Whole file sets by name.

#include "api/stdwrap.h"
#include "isam.h"
#include "maint/iserase.h"

int iserase(const char *name) { return isWrapRet(isErase(name)); }
int isrename(const char *from, const char *to) { return isWrapRet(isRename(from, to)); }
