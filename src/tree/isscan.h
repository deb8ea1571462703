// Every entry of one index, in order, for work on a whole file. The remembered
// position stays.
#pragma once

#include "keys/ispathdef.h"

struct TreeScan {
    IndexPath *path;
    std::uint32_t leaves;  // that may still come
};

// Goes to the first entry, and on to the next; false when there is none. 105 in
// a tree that has more leaves than the file has nodes: one that leads to a node
// twice would never end.
bool isScanFirst(IsamFile *h, TreeScan *scan, IndexPath *path);
bool isScanNext(IsamFile *h, TreeScan *scan);
