// The catalogue: a file's indexes, in the chain of key-description nodes and in
// the handle's table of search paths.
#pragma once

#include "keys/ispathdef.h"

// Builds the handle's table from the chain. 103 for a description that
// isTestIndex refuses, 105 for a damaged chain.
void isLoadIndexes(IsamFile *h);

// Does the chain, by the header copy, still have what the table was built from? 105
// for a damaged chain.
bool isSameIndexes(IsamFile *h);

// Do the file's nodes have room for entries of this index? Those that the
// library builds always do.
bool isNodeHolds(const IsamFile *h, const KeyDesc *key);

// Number of the index with these parts, keyCount for a description without
// parts, -1 for none. The flags for duplicates and compression do not count.
int isFindIndex(const IsamFile *h, const KeyDesc *key);

// Where a new index's description goes.
struct DescPlace {
    std::uint32_t last;   // last description node, 0 in an empty chain
    std::uint32_t added;  // description node taken for it, 0 where the last one has room
    std::uint32_t root;   // the index's root, 0 for a description without parts
};

// Makes a new index: takes its nodes (the description node first), writes an
// empty root and adds the path to the table. The chain does not know it yet.
DescPlace isReserveIndex(IsamFile *h, const KeyDesc *key);

// Writes the new index's description. The header stays as it is on disk.
void isEnterIndex(IsamFile *h, const KeyDesc *key, const DescPlace &place);

// Both at once: makes a new index and enters it.
void isMakeIndex(IsamFile *h, const KeyDesc *key);

// Takes a description node out of the chain; it is not given to the free list.
void isUnlinkDesc(IsamFile *h, std::uint32_t number);

// Removes the description of index n from the chain; its node stays.
void isDropIndex(IsamFile *h, int n);

// Removes index n from the table, or all of them for keyCount.
void isFreeIndex(IsamFile *h, int n);

// A second path through index n, outside of the table, for work on the whole index
// that must leave the first one, and the place where it stands, alone. It starts
// with nothing cached. A handle has one at a time.
IndexPath *isTwinPath(IsamFile *h, int n);
void isFreeTwin(IsamFile *h);

// Reads every node of the index's tree, so that damage shows before anything is
// given up.
void isSurveyIdx(IsamFile *h, int n);

// Gives every node of the index's tree to the free list, children first and the
// root last. The path must not be used again before its root is made anew.
void isWipeIdx(IsamFile *h, int n);
