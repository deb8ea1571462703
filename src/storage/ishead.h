// The header node: made at build, written by every change, loaded again under
// every lock. Its change counter is how processes notice each other's work.
#pragma once

#include "base/isfile.h"

// Makes the header copy of a new file. Nothing reaches the disk.
void isMakeHead(IsamFile *h);

// Loads the header: on the first call of a handle the node size and the fields
// that never change, on every call the free lists, counters and the flags that
// other handles may change.
void isLoadHead(IsamFile *h);

// The same for a handle that has its header: what goes with the change counter is
// not read again while that stands still.
void isLookAtHead(IsamFile *h);

// Takes those that other handles may change from the header copy.
void isHeadTake(IsamFile *h);

// 105 when a counter that isLoadHead took is beyond what the file can hold.
void isCheckHead(IsamFile *h);

// Stores the handle's fields, isHeadKdsc's among them, in the header copy; all
// but the change counter.
void isHeadStore(IsamFile *h);

// The same, and writes the header, its change counter raised by one.
void isHeadWrite(IsamFile *h);

// Where a change has added nodes: writes the highest number alone. Should the
// change end here, whatever leads to them is right, and nobody takes their numbers.
// The change counter waits for the header: who reads without locks would not see
// the rest of the change.
void isHeadCountNodes(IsamFile *h);

// Stores the catalogue's fields in the header copy alone.
void isHeadKdsc(IsamFile *h);

// Highest node number by the header copy: until they are counted, the nodes that a
// change has added to the file lie beyond it.
std::uint32_t isHeadLastNode(const IsamFile *h);

// The same for records.
std::uint32_t isHeadLastRecord(const IsamFile *h);

// First key-description node by the header copy.
std::uint32_t isHeadKeyDescs(const IsamFile *h);

// First nodes of the lists of free nodes and of free records by the header copy.
std::uint32_t isHeadIndexFree(const IsamFile *h);
std::uint32_t isHeadDataFree(const IsamFile *h);

// Record length of the file open as indexFd, read past any handle state.
int getdatlen(IsamFile *h);

// The application's ten bytes in the header copy.
std::uint8_t *isHeadUser(IsamFile *h);
