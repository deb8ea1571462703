// Reading and writing whole nodes of the index file.
#pragma once

#include "base/isfile.h"

void isGetNode(IsamFile *h, std::uint8_t *buffer, std::uint32_t number);
void isPutNode(IsamFile *h, const std::uint8_t *buffer, std::uint32_t number);

// Stores the mark and level bytes at the node's end.
void isMarkNode(IsamFile *h, std::uint8_t *buffer, int mark, int level);

// Nodes that the index file has room for: the bound of every walk along links.
std::uint32_t isNodeLimit(IsamFile *h);

// 105 unless number is that of a node behind the header.
void isCheckNodeNumber(IsamFile *h, std::uint32_t number);
