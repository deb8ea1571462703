// Resolving a read mode: against the current index, or in record-number order.
//
// A miss is an answer here, not a failure; the caller chooses the error.
#pragma once

#include "keys/ispathdef.h"

// Goes where mode (ISFIRST..ISGTEQ) leads and remembers the place; the handle's
// recnum becomes the record's number. False when nothing is there: the position
// is then as before, but for the key of a failed ISEQUAL, ISGREAT or ISGTEQ,
// which has replaced the remembered one. 102 for those modes without a record.
bool isLocate(IsamFile *h, const char *record, int mode);

// Number of the record at the current position, 0 for none.
std::uint32_t isCurrent(const IsamFile *h);

// First or last entry, relative move, search by key in one index; none of them
// remembers the place.
void isEdge(IsamFile *h, IndexPath *path, int mode);
bool isWalk(IsamFile *h, IndexPath *path, int mode);
bool isFind(IsamFile *h, IndexPath *path, const std::uint8_t *key, int mode);

// Positions the current order on record recnum; false if it has no such record.
bool locrec(IsamFile *h, long recnum);
