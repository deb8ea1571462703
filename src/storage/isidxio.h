// Reading and writing whole nodes of the index file.
#pragma once

#include "base/isfile.h"

// Behind the file's end a read fails with EIO, or with 105 where damage is looked
// for.
void isGetNode(IsamFile *h, std::uint8_t *buffer, std::uint32_t number);
void isPutNode(IsamFile *h, const std::uint8_t *buffer, std::uint32_t number);

// Writes count nodes that stand one behind the other, from number first on.
void isPutNodes(IsamFile *h, const std::uint8_t *bytes, int count, std::uint32_t first);

// Reads a node that a link leads to: 105 where the file ends before it, which a
// checked number does not rule out.
void isGetLinked(IsamFile *h, std::uint8_t *buffer, std::uint32_t number);
void isGetLinkedPart(IsamFile *h, std::uint8_t *bytes, int length, std::uint32_t number);  // its first bytes

// Reads and writes length bytes of a node in place, at offset.
void isGetNodePart(IsamFile *h, std::uint8_t *bytes, int length, std::uint32_t number, int offset);
void isPutNodePart(IsamFile *h, const std::uint8_t *bytes, int length, std::uint32_t number, int offset);

// Writes as isPutNodePart, in one act even where the file is mapped.
void isPutWhole(IsamFile *h, const std::uint8_t *bytes, int length, std::uint32_t number, int offset);

// The handle's buffer of one node, for work that no cache is for. It holds what
// whoever had it last left there.
std::uint8_t *isScratchNode(IsamFile *h);

// Stores the mark and level bytes at the node's end.
void isMarkNode(IsamFile *h, std::uint8_t *buffer, int mark, int level);

// Nodes that the index file has room for: the bound of every walk along links.
std::uint32_t isNodeLimit(IsamFile *h);

// 105 unless number is that of a node behind the header.
void isCheckNodeNumber(IsamFile *h, std::uint32_t number);
