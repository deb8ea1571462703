// Deleting an entry from an index. Nodes are never merged: an entry is cut out
// of its leaf, and a node that becomes empty is cut out of its parent in turn
// and given to the free list when the path leaves it. An emptied root becomes
// an empty leaf.
#pragma once

#include "keys/ispathdef.h"

// Deletes the entry with this key and record number (111 if there is none), or
// in a file without records the one the path stands on. False if the index is
// empty.
bool isTreeDelete(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t recnum);

// Cuts the current entry out of the path's top node. Where the encoding of the
// entries behind it leaves no room, some are put back through compgrow.
void flatsquash(IndexPath *path, NodeBuf *n);
void compsquash(IsamFile *h, IndexPath *path, NodeBuf *n);
