// Removing and renaming file sets by name. The set is open exclusively while
// that happens. 1 on success; 0 with the code in errno and iserrio.
#pragma once

int isErase(const char *name);
int isRename(const char *from, const char *to);
