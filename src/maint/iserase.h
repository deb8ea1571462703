// Removing and renaming file sets by name. The set is open exclusively while
// that happens. 1 on success; 0 with the code in errno and iserrio.
#pragma once

#include "base/isfile.h"

// Bodies, for a file set that the handle has to itself. What cannot be renamed as
// a whole keeps its old name.
void isRemoveFiles(IsamFile *h, const char *name);
void isRenameFiles(IsamFile *h, const char *from, const char *to);

int isErase(const char *name);
int isRename(const char *from, const char *to);
