// Writing the many new nodes of an index that has grown in memory.
#pragma once

#include "keys/ispathdef.h"

// Writes those changed nodes of the path that the header on disk does not count yet,
// in the order of their numbers and many in one piece. Nothing leads to them so far.
void isRunsWrite(IsamFile *h, IndexPath *path);
