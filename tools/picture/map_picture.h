// An index file as a picture: a cell for each node, in the order of their numbers, coloured by what the node is.
#pragma once

#include "index/survey.h"

#include <string>
#include <vector>

namespace tool {

// What a node is, as the map tells it apart: the kind, and of a tree the index.
struct MapKind {
    NodeKind kind = NodeKind::kLost;
    std::uint8_t index = 0;
    bool shared = false;

    bool operator==(const MapKind &) const = default;
};

MapKind mapKind(const NodeUse &use);
// "leaf of index 2", "free"
std::string mapKindInWords(const MapKind &kind);

struct MapCount {
    MapKind kind;
    std::uint64_t nodes;
};
// What there is, in the order of a legend.
std::vector<MapCount> mapCounts(const Survey &survey);

// Nodes from first to last that are the same.
struct MapRun {
    MapKind kind;
    std::uint64_t first, last;
};
std::vector<MapRun> mapRuns(const Survey &survey);

void drawMap(const Survey &survey, int node_size, const std::string &title, const std::string &path);

}  // namespace tool
