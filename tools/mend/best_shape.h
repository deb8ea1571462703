// What a set is made of, from what is left of it: the index file as far as it can be read, the layout beside it, and
// the data file itself, whose slots show their length by their status bytes and their keys by the old indexes.
#pragma once

#include "index/shape.h"
#include "layout/layout.h"

#include <optional>
#include <string>
#include <vector>

namespace tool {

struct BestShape {
    Shape shape;                    // complete: lengths and indexes are there
    bool settings = false;          // the header's other numbers may be believed
    bool longestKnown = true;       // the longest record's length, and whether tails are compressed
    std::vector<std::string> said;  // where it was taken from, where that is not the index file alone
};

// Throws Failure where nothing tells.
BestShape findShape(const FileView &view, const Shape &read, const std::optional<Layout> &layout);

// Numbers of the records that the old indexes lead to by the keys that the records have; of those that are asked for.
std::vector<bool> confirmRecords(const FileView &view, const Shape &shape, const std::vector<std::uint64_t> &numbers);

}  // namespace tool
