// Navigation: moving a path through the entries of one index.
//
// Every move leaves the path on an entry of a leaf, its parents positioned on
// the entries that lead there; in an empty index on none.
#pragma once

#include "keys/ispathdef.h"

void isTreeFirst(IsamFile *h, IndexPath *path);
void isTreeLast(IsamFile *h, IndexPath *path);

// One entry on or back. At the end (beginning) the path stays on the last
// (first) entry and the result is false.
bool isTreeNext(IsamFile *h, IndexPath *path);
bool isTreePrev(IsamFile *h, IndexPath *path);

// First entry with a key not below (above) key, over the search length.
bool isTreeMatch(IsamFile *h, IndexPath *path, const std::uint8_t *key);
bool isTreeGreat(IsamFile *h, IndexPath *path, const std::uint8_t *key);

// Descends to the given level along key and serial: the path's top is the node
// of that level where such an entry stands or belongs. True, and positioned,
// when it holds one not below key and serial.
bool isTreePlace(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint64_t serial, int level);

// Makes sure that the path stands on the remembered entry, or on the one that
// now follows its place; false if nothing follows.
bool isTreeCurr(IsamFile *h, IndexPath *path);

// Steps from entry to entry with key, starting at the current one, to that of
// record recnum; false if there is none. 105 when there are more of them than
// the file has records.
bool isTreeSeek(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t recnum);

// Is the path's current entry the remembered one?
bool isTreeExact(const IsamFile *h, const IndexPath *path);
