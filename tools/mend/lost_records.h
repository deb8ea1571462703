// Records that indexes lead to, and whose slots do not hold one any more.
#pragma once

#include "index/file_view.h"
#include "index/shape.h"

namespace tool {

struct LostRecords {
    std::uint64_t gone = 0;  // the slot is marked deleted and does not hold the key: zeros in its place, or others
    std::uint64_t deleted =
        0;  // it is marked deleted, all else is there: a deletion that was cut off, or the mark alone
};

// Looks for them in all leaves that can be read. Numbers in the list of free ones are none: those were deleted in full.
LostRecords findLostRecords(const FileView &view, const Shape &shape);

}  // namespace tool
