// Mending what the checks name, and reading everything that was not itself damaged.
#pragma once

#include "flips/layout_map.h"
#include "flips/scenes.h"

#include <vector>

namespace flips {

// A file set before it was damaged.
struct Whole {
    explicit Whole(const FlipKind &kind);

    const FlipKind *kind;
    FileSet set;
    LayoutMap map;
    std::vector<std::vector<char>> records;  // by number, as they are read; empty where there is none
};

// One bit turned.
struct Flip {
    bool data = false;  // of the data file
    std::size_t offset = 0;
    int bit = 0;
};

// Returns whether a rebuild was called for.
bool playMending(Session &session, const Stage &stage, const Whole &whole, const Flip &flip);

}  // namespace flips
