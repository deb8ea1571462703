// Where the node buffers of all indexes come from, and where the idle ones wait.
//
// A buffer is on a path, or it is cached: its path finds it again by its number. One
// that was cached before stays in its bucket while it is on the path.
// All of the process's buffers together stay within isProcess.cacheLimit bytes, as
// far as cached ones can be taken: the one that nobody has asked for longest goes
// first, whichever file it is of, so that a handle at rest makes room for one at
// work. A dirty buffer is never taken.
#pragma once

#include "keys/ispathdef.h"

// A zeroed buffer for the path: a new one, or a cached one that has had its time.
NodeBuf *isPoolTake(IsamFile *h, IndexPath *path);

// Is there more in use than there should be, so that dirty buffers had better be
// written?
bool isPoolFull();

// Takes cached ones until the bound is kept: it may have become lower.
void isPoolTrim();

// Frees a buffer, wherever it is.
void isPoolFree(NodeBuf *n);

// Puts a buffer of the path into its cache.
void isCachePut(IndexPath *path, NodeBuf *n);

// The cached buffer with that node number, of a node of that level, for the path, or
// null. What stands in one from before the path's nodes were forgotten is forgotten
// here.
NodeBuf *isCacheTake(IndexPath *path, std::uint32_t number, int level);

// The loaded one with that number, left where it is, cached or not, or null.
// isCacheGuess does not look at what it finds: as a rule it is the one.
const NodeBuf *isCachePeek(const IndexPath *path, std::uint32_t number, int level);
const NodeBuf *isCacheGuess(const IndexPath *path, std::uint32_t number, int level);

// Gives a cached buffer another node number.
void isCacheRename(IndexPath *path, NodeBuf *n, std::uint32_t number);

// Frees everything that the path has cached.
void isCacheFree(IndexPath *path);

// The dirty buffer that came into the path's cache last, or before n; null at the
// end. One that is on the path again is still in the row; one that is not dirty any
// more leaves it by isCacheSettle. isCacheDirtyOf is the one with that number, or null.
inline NodeBuf *isCacheDirty(const IndexPath *path) { return path->newestDirty; }
inline NodeBuf *isCacheDirtyBefore(const NodeBuf *n) { return n->olderDirty; }
NodeBuf *isCacheDirtyOf(const IndexPath *path, std::uint32_t number);
void isCacheSettle(IndexPath *path, NodeBuf *n);

// Fetches a node into the processor's cache, all at once: a search would wait for one
// place after the other.
inline void isNodeFetch(const NodeBuf *n, std::uint32_t size) {
    constexpr std::uint32_t kLine = 64;
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(n);
    for (std::uint32_t at = 0; at < size; at += kLine)
        __builtin_prefetch(bytes + at);
}
