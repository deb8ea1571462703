// Inserting an entry into an index, and the splits that follow.
//
// A node without room is split into a new left half and itself; the left
// half's highest entry goes up as the separator, before the entry that leads
// to the split node. A root that splits becomes an ordinary node under a new
// root, which keeps the index's fixed root number. Keys appended in order leave
// full left halves.
//
// Everything happens in node buffers; isPathWrite makes it real.
#pragma once

#include "keys/ispathdef.h"

// Where a new entry goes in the path's top node.
enum InsertWhere : int { kIntoEmpty = 0, kAppend = 1, kBeforeCurrent = 4 };

// Inserts key with a record number. In an index with duplicates it goes behind
// all equal keys, with a serial one above theirs; in a unique index an equal
// key is error 100. The handle's metEqual becomes true where there are equal keys.
// REQUIRES: the search length is the full key length.
void isTreeInsert(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t record);

// 100 if a unique index holds the key already.
void isTreeUnique(IsamFile *h, IndexPath *path, const std::uint8_t *key);

// Inserts an entry at the path's position and splits as needed. serial: null
// for the rule of new keys, else the one to keep.
void flatgrow(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t pointer, int where);
void compgrow(IsamFile *h, IndexPath *path, const std::uint8_t *key, std::uint32_t pointer, int where,
              const std::uint64_t *serial);

// Helpers of the two.

// Offset that where names in node n.
int insertOffset(const NodeBuf *n, int where);

// Serial for a key at the very start of the top leaf: one above that of the
// entry before in the parent, keys not compared.
std::uint64_t nextdup(const IndexPath *path);

// Serial of the entry that ends at offset.
std::uint64_t serialBefore(const IndexPath *path, const NodeBuf *n, int offset);

// Puts a new empty root above the top node, which is the old one, and leaves
// the index's fixed root number to it. The old one takes a number of its own.
NodeBuf *growRoot(IsamFile *h, IndexPath *path);
void numberOldRoot(IsamFile *h, IndexPath *path, NodeBuf *n);

// Writes serial and pointer at p.
void putTail(const IndexPath *path, std::uint8_t *p, std::uint64_t serial, std::uint32_t pointer);
