// Rewriting a file in the order of an index.
#pragma once

#include "base/isfile.h"

// Rewrites the file, which is open exclusively, and opens it again. Returns the
// new handle, and h is gone. Null on failure, the error in errno and iserrio: h is
// as before then, unless the new file could not be given its name.
IsamFile *isCluster(IsamFile *h, const KeyDesc *key);
