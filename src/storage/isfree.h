// Free lists: the free nodes of the index file (ISKIND_INDEX) and the free
// record numbers of the data file (ISKIND_DATA).
//
// Both lists are chains of list nodes in the index file, worked on through a
// one-node cache in the handle. Numbers come back last freed first. A list node
// of the index list is itself a free node and is handed out when it is spent;
// one of the data list goes to the index list then.
//
// Always true between operations:
//   (1) a number is in its list or in use, never both;
//   (2) only the head node of a list can have room;
//   (3) the cached head node equals the disk.
#pragma once

#include "base/isfile.h"

// Takes a free number: from the list, or the one after the highest. 131 when
// there is none.
std::uint32_t isGetFree(IsamFile *h, int kind);

// Gives a number back. Record numbers of a precious file are forgotten.
void isPutFree(IsamFile *h, int kind, std::uint32_t number);

using FreeVisit = void (*)(const std::uint8_t *node, void *context);

// Numbers in the list's nodes, list nodes not counted; visit sees each node.
// A dirty cache is a fatal stop.
std::uint32_t isFreeCount(IsamFile *h, int kind, FreeVisit visit, void *context);

// Makes sure that the index list can take numbers: 105 where its head is damaged.
void isFreeLoad(IsamFile *h);

// Drops cached state: all of it for ISCLASS_READ, unwritten changes otherwise.
void isFreeClear(IsamFile *h, int entryClass);

// Writes the cached nodes that changed, index list first.
void isFreeWrite(IsamFile *h);

// The end of every change: index list, header, data list. Both lists' nodes look
// alike. The data list takes nodes from the index list; one that the old header
// still calls the index list's must not hold record numbers. Should the data list's
// writing be cut short, it can be made anew from the slots.
void isEndChange(IsamFile *h);

// Parts of isFreeWrite, to come before what is in use is overwritten: head nodes that the
// index file is not long enough for yet, and those that only had numbers taken.
// A number that two own is the worst of what a change cut short can leave.
void isFreeWriteNew(IsamFile *h);
void isFreeWriteTaken(IsamFile *h);

// Is there anything left for isFreeWrite?
bool isFreeDirty(const IsamFile *h);

// Frees the buffers. A dirty cache is a fatal stop.
void isFreeFree(IsamFile *h);

// Data list only (else 102): hands its nodes to the index list, leaves it
// empty and takes the highest record number from the data file's length.
void isFreeDrop(IsamFile *h, int kind);

// The same with the data list's first nodes, which are sound; what comes behind
// them is left alone.
void isFreeSalvage(IsamFile *h, std::uint32_t nodes);

inline constexpr int kNumberSize = 4;  // of a number in a list node

// Are these the bytes of a list node?
bool isListNode(const IsamFile *h, const std::uint8_t *bytes);
