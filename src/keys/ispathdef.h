// The search path of one index, and the node buffers it is made of.
//
// A path owns the chain of nodes from the root to the node being worked on,
// and a cache of nodes that were on it lately. It also remembers the index's
// position, from which navigation finds its place again after the tree has
// changed.
#pragma once

#include <cstdint>

#include "base/isfile.h"

// One node in memory.
//
// Always true while position is not 0: next, pointer, serial and key describe
// the entry at position; in a compressed node the key area holds its whole key.
struct NodeBuf {
    NodeBuf *chain;         // next one of its bucket in the cache
    std::uint32_t number;   // node number, 0 until assigned
    std::uint32_t age;      // the path's when it was loaded: an older one is unloaded
    std::uint8_t state;     // BufferState
    bool fresh;             // its number was taken by the change under way
    bool chained;           // in a bucket, where its number finds it
    bool inner;             // in the table of nodes above the leaves
    bool cached;            // and not on the path
    bool asked;             // taken from there since the pool last came by
    bool inRow;             // in the row of dirty nodes of the cache
    bool slab;              // its memory comes from base/isslab
    int used;               // copy of the used length
    int level;              // copy of the level byte, 0 for a leaf
    int position;           // offset of the current entry, 0 = none
    int next;               // offset just past it
    std::uint32_t pointer;  // its record or child node number
    NodeBuf *parent;        // one level up on the path, null at the root
    std::uint64_t serial;   // the current entry's duplicate serial
    std::uint8_t *key;      // its key: in buffer, or the key area of a compressed node
    std::uint8_t *buffer;   // nodeSize bytes
    std::uint32_t marked;   // the marks of a compressed node that are set, see keys/iscompmark
    NodeBuf *sibling;       // left half of a split, not yet in the cache
    IndexPath *path;        // whose it is
    NodeBuf *olderDirty, *newerDirty;
    std::uint32_t frame;  // its place in the pool
    std::uint32_t size;   // bytes, buffer and key area included
};

// An entry taken out of a node to be put back elsewhere in its level.
struct LooseEntry {
    std::uint8_t key[ISMAXKEYLEN];
    std::uint64_t serial;
    std::uint32_t pointer;
};

// Where a key was found to belong in a node above the leaves, for whoever looks for it
// again. It is never believed unseen.
struct NodeHint {
    std::uint32_t number;  // of the node
    int offset;            // of the entry
};
inline constexpr int kHintLevels = 4;

// Nodes that are or were on a path, by their numbers. The few above the leaves have a
// table of their own, which stays near the processor.
struct NodeTable {
    NodeBuf **buckets;
    std::uint32_t bucketCount;  // a power of two, or 0
    std::uint32_t count;        // nodes in them
};

struct IndexPath {
    KeyDesc keyDesc;
    NodeBuf *top;  // deepest node; its parents lead to the root
    NodeTable leaves, inner;
    std::uint32_t cachedCount;  // nodes in them that are not on the path
    std::uint32_t age;          // how often its nodes were forgotten
    NodeBuf *newestDirty;       // the dirty ones among them, dropped last first
    int entrySize;              // bytes of a flat entry, most bytes of a compressed one
    int dupWidth;               // bytes of a duplicate serial, 0 = unique
    int startLength;            // key bytes given to the last start
    int searchLength;           // key bytes that comparisons look at
    bool compressed;            // entries are compressed
    int markCount, markWidth;   // marks of a compressed node, and bytes of the node for each
    bool byteOrder;             // keys are ordered by bytes, see keys/isorder
    std::uint8_t turns[ISMAXKEYLEN];
    NodeHint hints[kHintLevels];  // of the levels from 1 on
    std::uint32_t wayNode;        // above the leaf that wayKey belongs into, 0: not known
    std::uint8_t wayKey[ISMAXKEYLEN];
    std::uint8_t positionKey[ISMAXKEYLEN];
    std::uint32_t positionRecord;  // 0 = no position
    std::uint64_t positionSerial;
    LooseEntry *loose;  // entries being moved to make room
    int looseCount, looseRoom;
};

inline constexpr int kPointerSize = 4;
inline constexpr std::uint32_t kPointerMask = 0x7fffffff;
inline constexpr std::uint8_t kShareBit = 0x80;  // in a pointer's first byte
inline constexpr unsigned kCompressFlags = ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP;

inline int keyLength(const IndexPath *path) { return path->keyDesc.keyLength; }
inline bool isUnique(const IndexPath *path) { return path->dupWidth == 0; }
inline bool skipsNulls(const IndexPath *path) { return (path->keyDesc.flags & ISNULLKEY) != 0; }
inline bool hasCurrent(const NodeBuf *n) { return n->state != ISBUF_EMPTY && n->position != 0; }
