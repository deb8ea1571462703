// A new set of files, made from all that can be read of an old one.
#pragma once

#include "mend/best_shape.h"

#include <string>
#include <vector>

namespace tool {

struct Saved {
    std::uint64_t records = 0;         // or keys, where there are no records
    std::uint64_t tailsLost = 0;       // records that have kept their fixed part alone
    std::uint64_t rejected = 0;        // records that a unique index has already
    std::uint64_t unsure = 0;          // slots of which nothing tells whether they are records
    std::uint64_t statusMended = 0;    // records that have got back the mark that they are some
    std::uint64_t slotsMissing = 0;    // the data file ends before them
    std::vector<std::string> notKept;  // settings
};

// Reads the old set and counts what would become of it; makes nothing.
Saved countSaved(const FileView &view, BestShape &best);

// Makes the set at `place`, whose files must not be there. Records that cannot go into it are appended to the file
// `rejects`, which is made when there is one. Throws Failure.
Saved makeNewSet(const FileView &view, BestShape &best, const std::string &place, const std::string &rejects);

}  // namespace tool
