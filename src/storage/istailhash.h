// The hash of remnant nodes by free bytes: five buckets, their heads in the
// header, each a list of nodes linked both ways with the one filed last in
// front.
//
// Always true between operations:
//   (1) a node with more than 200 free bytes is in the bucket that they give,
//       one with less is in none and keeps whatever links it had last;
//   (2) the head's link towards the head is 0.
// A process that died within a change may have left neither true, and links that
// lead to what is no neighbour any more. So a neighbour is looked at before its
// link is set. The hash is for finding room only: a link that was lost costs room
// at the worst, one set in a node of a tree would cost records.
#pragma once

#include "storage/isremstage.h"

// Takes the heads from the header copy if they are stale, and puts them back.
void isLoadHeads(IsamFile *h);
void isStoreHeads(IsamFile *h);

// Finds a node with room for a piece of need bytes and a slot, and loads it into
// the stage. Returns its number, 0 when there is none. Only the head of the
// first bucket that can hold such a node is looked at: a choice in constant
// time, and the one that existing files were filled by.
std::uint32_t findSpace(IsamFile *h, RemStage *stage, int need);

// Files the staged node by its free bytes. Links are staged; heads and node are
// the caller's to write.
void upHashTab(IsamFile *h, RemStage *stage, std::uint32_t number);
