// Compressed nodes: entries that leave out what the entry before them or a
// fill byte can tell.
//
//   entry: leading count (1 byte, ISLEADCOMP): bytes shared with the key before
//          trailing count (1 byte, ISTRAILCOMP): fill bytes at the key's end
//          the key bytes between the two
//          serial (dupWidth), pointer (4)
//
// With ISDUPCOMP an entry that repeats the key before it is keyless: serial and
// pointer alone, announced by the share bit of the pointer before it. The first
// entry of a node is always whole. Entries can be decoded only front to back.
#pragma once

#include "keys/ispathdef.h"

// Most bytes of an encoded key: both counts and the key itself.
inline constexpr int kMaxEncoded = 2 + ISMAXKEYLEN;

// Do the entries end where the used length says? A count beyond the key is a
// fatal stop, or with stops false just another no.
bool compsound(const IndexPath *path, const NodeBuf *n, bool stops);

bool compmatch(const IndexPath *path, NodeBuf *n, const std::uint8_t *key);
bool compgreat(const IndexPath *path, NodeBuf *n, const std::uint8_t *key);
bool compwalk(const IndexPath *path, NodeBuf *n, int direction);

// Encodes key against previous (null: none): counts and key bytes into out,
// their number as the result, 0 for a keyless entry.
int isCompKey(const IndexPath *path, std::uint8_t *out, const std::uint8_t *previous, const std::uint8_t *key);

// Decodes the entry at offset into keyArea, which holds the key before it, and
// returns the offset just past the entry. Bad offsets and counts are fatal
// stops.
int isCompNext(const IndexPath *path, const std::uint8_t *buffer, int used, std::uint8_t *keyArea, int offset);

// Passes entries from offset from until one ends at or past to; keyOut holds
// the key before from and receives that of the last entry passed. Returns the
// offset where it stopped.
int isCompScan(const IndexPath *path, const NodeBuf *n, std::uint8_t *keyOut, int from, int to);

// The key of the last entry that ends at or before offset, a border of entries behind
// the first one. keyOut has room for the longest key.
void isCompBefore(const IndexPath *path, const NodeBuf *n, std::uint8_t *keyOut, int offset);
