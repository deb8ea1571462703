// Marks in a compressed node: entries on the way through it with their whole keys,
// from which decoding can start again, instead of from the front, for as long as the
// node does not change before them.
//
// Each mark has a stretch of the node to itself and is the entry that starts first in
// it, of those that have been decoded. NodeBuf::marked tells which are set.
#pragma once

#include "keys/ispathdef.h"

struct CompMark {
    std::uint16_t start, end;  // the entry's offset, and that behind it
};
inline const std::uint8_t *markedKey(const CompMark *mark) { return reinterpret_cast<const std::uint8_t *>(mark + 1); }

// How many marks a node of the path has, and where.
void isMarkSpacing(const IsamFile *h, IndexPath *path);
std::size_t isMarkBytes(const IndexPath *path);

// The entry from start to end, whose key is in the node's key area, was decoded.
void isMarkEntry(const IndexPath *path, NodeBuf *n, int start, int end);

// The last mark whose entry ends at or before offset, or null.
const CompMark *isMarkBefore(const IndexPath *path, const NodeBuf *n, int offset);

// The last mark in order before key, or with above the last not above it.
// REQUIRES: path->byteOrder.
const CompMark *isMarkBehind(const IndexPath *path, const NodeBuf *n, const std::uint8_t *key, bool above);

// NodeBuf::marked as it is when the node has changed from offset on.
std::uint32_t isMarksBefore(const IndexPath *path, const NodeBuf *n, int offset);
