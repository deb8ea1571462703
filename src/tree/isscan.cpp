#include "tree/isscan.h"

#include "base/isfail.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"
#include "tree/ispath.h"
#include "tree/istree.h"

bool isScanFirst(IsamFile *h, TreeScan *scan, IndexPath *path) {
    *scan = {path, isNodeLimit(h)};
    if (isPathRoot(h, path)->used <= node::kTreeStart) return false;
    isTreeFirst(h, path);
    return true;
}

bool isScanNext(IsamFile *h, TreeScan *scan) {
    if (!isTreeNext(h, scan->path)) return false;
    if (scan->path->top->position == node::kTreeStart && scan->leaves-- == 0) isFail(h, ISERR_CORRUPT);
    return true;
}
