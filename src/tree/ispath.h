// Moving along a search path: pushing and popping nodes, the node cache, and
// writing changed nodes back or throwing their changes away.
//
// Changes are made in node buffers alone; nothing reaches the file before
// isPathWrite at the end of the operation. A dirty node is never dropped: the
// cache grows instead for as long as it must.
//
// Between operations a path is its root and its cache. The root may stand
// there unloaded after a failure or a foreign change; isPathRoot loads it.
#pragma once

#include "keys/ispathdef.h"

// Makes node number (0: not yet numbered) the whole path. A path of more than
// one node is a fatal stop; a single node there goes into the cache.
void isPathIns(IsamFile *h, IndexPath *path, std::uint32_t number);

// Gives the top node an empty left half with a node number of its own, of the
// same level, and returns it. A second one is a fatal stop.
NodeBuf *isPathSplit(IsamFile *h, IndexPath *path);

// Pushes a child of the top node. Number 0 is a fatal stop.
void isPathAdd(IsamFile *h, IndexPath *path, std::uint32_t number);

// Pops the top node, false when it is the root. A node that became empty is
// given to the free list, any other goes into the cache.
bool isPathDown(IsamFile *h, IndexPath *path);

// Pops to the root, loads it if need be, and returns it.
NodeBuf *isPathRoot(IsamFile *h, IndexPath *path);

// Is the index without entries? Pops nothing.
bool isPathEmpty(IsamFile *h, IndexPath *path);

// Forgets the nodes of all paths for ISCLASS_READ, unwritten changes otherwise.
void isPathClear(IsamFile *h, int entryClass);
void isPathClear1(IndexPath *path, int entryClass);

// Writes the changed nodes of path i, or of all paths, last one first, for
// keyCount or more: those whose number is new, then from the root down.
void isPathWrite(IsamFile *h, int i);

// The same for the paths with changed nodes; the others stay where they stand, so that
// the next step goes on from there.
void isPathWriteChanged(IsamFile *h);

// Writes those changed nodes of all paths that the index file is not long enough
// for yet, by the header copy: a full disk shows before anything is overwritten.
void isPathWriteNew(IsamFile *h);

// Frees all nodes of a path. A dirty one is a fatal stop.
void isPathFree(IsamFile *h, IndexPath *path);
