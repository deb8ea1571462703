// Which nodes of the index file belong to whom, as far as what stands there can
// tell: what a rebuild must keep its hands off.
#pragma once

#include "keys/ispathdef.h"

// Makes the handle's set of numbers that of the nodes that are not a tree's:
// header, descriptions, audit settings, and the free list of nodes, which must be
// sound (else 105).
void isOwnNodes(IsamFile *h);

// Adds the nodes of the data free list, as far as it can be read, and those of
// all indexes, but of one (-1: of none) its root alone, which must be nobody
// else's (else 105). False when something could not be read to its end.
bool isOwnLists(IsamFile *h);
bool isOwnTrees(IsamFile *h, int except);

// Gives the nodes that nobody has to the free list, but for those of tails. Only
// when the set has everything else. Nothing when a tail leads to a node that is
// none of a tail: it would be lost for good.
void isFreeLost(IsamFile *h);

// Visits the tree below the path's top node, children first and that node last,
// and adds the nodes to the set. With giveUp they go to the free list. Passes
// over children that belong to somebody else, and over those that are no sound
// nodes of this tree; false when there were any.
bool isOwnTree(IsamFile *h, IndexPath *path, bool giveUp);
