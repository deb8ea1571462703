// Flat nodes: entries of one length, found by halving.
//
//   entry: key (keyLength), serial (dupWidth), pointer (4)
//   entry i (from 0) starts at 2 + i * entrySize
#pragma once

#include "keys/ispathdef.h"

bool flatsound(const IndexPath *path, const NodeBuf *n);
bool flatmatch(const IndexPath *path, NodeBuf *n, const std::uint8_t *key);
bool flatgreat(const IndexPath *path, NodeBuf *n, const std::uint8_t *key);
bool flatwalk(const IndexPath *path, NodeBuf *n, int direction);

// The child of a node above the leaves where a key belongs, which is noted as a hint;
// nothing moves. REQUIRES: path->byteOrder.
std::uint32_t flatchild(IndexPath *path, const NodeBuf *n, const std::uint8_t *key);

// Makes the entry at offset the current one.
void flatval(const IndexPath *path, NodeBuf *n, int offset);
