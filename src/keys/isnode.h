// Nodes of a B-tree: their buffers, and the search and walk inside one node.
//
// A node holds its used length (2 bytes) and entries packed in key order. A
// flat entry is the key, the duplicate serial (dupWidth bytes, in an index with
// duplicates) and the pointer (4 bytes); its layout and that of a compressed
// entry are isflat's and iscomp's. A pointer's low 31 bits are a record number
// in a leaf and a child's node number above; its top bit belongs to iscomp.
//
// An entry above the leaves carries the highest key of its child when it was
// made. A key above every entry of such a node belongs under the last one,
// whose key is therefore only a lower bound.
#pragma once

#include "keys/ispathdef.h"

// Directions of isNodeWalk.
enum WalkDirection : int { kWalkFirst = 0, kWalkLast = 1, kWalkNext = 2, kWalkPrev = 3 };

// A zeroed node buffer in state ISBUF_EMPTY.
NodeBuf *isMakeNode(IsamFile *h, IndexPath *path);

// Frees a node that is not cached. A null, split or dirty one is a fatal stop:
// changes are never dropped silently.
void isFreeNode(NodeBuf *n);

// Loads the node if it is not loaded, and makes sure that it is a sound node
// of this index: 105 where it is not. expectedLevel -1 is any, for a root.
void isRefNode(IsamFile *h, const IndexPath *path, NodeBuf *n, int expectedLevel);

// Writes the node if it is dirty. A null or split node is a fatal stop.
void isUpdNode(IsamFile *h, NodeBuf *n);

// Positions the path's top node on its first entry with a key not below key
// and returns true, or on its last entry and returns false.
bool isNodeMatch(const IndexPath *path, const std::uint8_t *key);

// The same for the first entry with a key above key.
bool isNodeGreat(const IndexPath *path, const std::uint8_t *key);

// Moves the top node's position; false, and no move, when there is no entry.
bool isNodeWalk(const IndexPath *path, int direction);

// Stores the used length, in the buffer and its copy, zeroes what lies behind
// it up to oldUsed, and marks the node dirty and without position.
void isNodeResize(NodeBuf *n, int used, int oldUsed);
