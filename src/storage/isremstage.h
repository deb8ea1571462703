// Changes of remnant nodes, held back until all of a change is known.
//
// A tail's change touches few nodes: the one that the old tail shares, the one
// that the new tail is going to share, and the links of their neighbours in the
// hash. They are kept here, so that damage and lack of room show before anything
// is written, and so that new room is asked of the system before old bytes are
// overwritten.
//
// Always true: a link set for a staged node is in its buffer as well.
#pragma once

#include "base/isfile.h"

struct StagedNode {
    std::uint8_t *bytes;   // nodeSize of them
    std::uint32_t number;  // 0 = empty
    bool dirty;            // to be written; at most two nodes are
};

struct LinkWrite {
    std::uint32_t number;  // of the node whose link changes
    int offset;            // of the link in it
    std::uint32_t value;
};

struct RemStage {
    StagedNode nodes[2];
    LinkWrite *links;
    int linkCount, linkRoom;
};

// Forgets everything staged.
void isStageClear(RemStage *stage);

// The buffer of a node as it is going to be, read and checked if it is not there
// yet. Valid until another node is loaded, unless it is dirty.
std::uint8_t *isStageLoad(IsamFile *h, RemStage *stage, std::uint32_t number);

// The bytes in front of a node's pieces as they are going to be, in head. Nothing
// is checked but that the file has them; whatever the node is, it is not loaded.
void isStagePeek(IsamFile *h, RemStage *stage, std::uint32_t number, std::uint8_t *head);

// A zeroed buffer for a new node, which is dirty.
std::uint8_t *isStageFresh(IsamFile *h, RemStage *stage, std::uint32_t number);

// The node is to be written; or it is not a remnant node any more.
void isStageDirty(RemStage *stage, std::uint32_t number);
void isStageDrop(RemStage *stage, std::uint32_t number);

// Sets a link of a node, 4 bytes at offset. 105 for a number that is no node's.
void isStageLink(IsamFile *h, RemStage *stage, std::uint32_t number, int offset, std::uint32_t value);

// Writes the dirty nodes that the file is not long enough for yet.
void isStagePutNew(IsamFile *h, RemStage *stage);

// Writes the rest: the other dirty nodes, then the links.
void isStagePut(IsamFile *h, RemStage *stage);
