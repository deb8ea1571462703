// Every node of an index file and what has it: the trees walked from their roots, the lists from their heads, the rest
// by what it looks like. No node is walked twice, so that every walk ends, whatever the file holds.
#pragma once

#include "index/entries.h"
#include "index/shape.h"

#include <functional>
#include <string>
#include <vector>

namespace tool {

enum class NodeKind : std::uint8_t {
    kLost,  // nobody has it
    kHeader,
    kDescription,
    kAudit,
    kInner,       // of a tree, above the leaves
    kLeaf,        // of a tree
    kFree,        // in the list of free nodes
    kRecordList,  // holds free record numbers
    kTail,        // holds pieces of records' tails
    kRuined,      // of a tree, and no node of it
};

struct NodeUse {
    NodeKind kind = NodeKind::kLost;
    std::uint8_t index = 0;  // of a tree: counted from 0
    bool shared = false;     // something else leads here as well
};

// A node of a tree, in its level.
struct TreeNode {
    std::uint32_t number;
    std::uint16_t used;
    std::uint16_t entries;
};

struct Tree {
    KeyDesc key = {};
    int serialWidth = 0;
    // The leaves first, the root last; each from left to right.
    std::vector<std::vector<TreeNode>> levels;
    std::uint64_t keys = 0;       // entries of the leaves
    std::uint64_t entries = 0;    // and of the nodes above
    std::uint64_t bytesUsed = 0;  // by entries, in all nodes
    bool whole = true;            // nothing was in the way of the walk

    std::uint64_t nodes() const;
    // Parts of all nodes' room that entries take.
    double fill(int node_size) const;
    // Parts of the entries' bytes that compression leaves out.
    double saved() const;
};

enum class Severity { kNote, kDamage };

struct NodeFinding {
    Severity severity;
    std::string text;
};

struct Survey {
    std::vector<NodeUse> nodes;  // node n at [n - 1]
    std::vector<Tree> trees;
    std::uint64_t freeNodes = 0;
    std::uint64_t freeRecords = 0;
    std::uint64_t tailNodes = 0;
    std::uint64_t tailFreeBytes = 0;
    std::uint64_t lostNodes = 0;
    std::uint64_t bytesBehind = 0;  // of the file, behind its last whole node
    bool nodeListWhole = true;
    bool recordListWhole = true;
    bool treesWhole = true;
    std::vector<NodeFinding> findings;

    bool damaged() const;
    std::uint64_t count(NodeKind kind) const;
};

// step is called with numbers of nodes as they are done, about nodesInFile altogether.
Survey surveyNodes(const FileView &view, const Shape &shape, const std::function<void(std::uint64_t)> &step);

// "header", "leaf", ..
const char *kindInWords(NodeKind kind);

}  // namespace tool
