// Variable tails of records: what a record has beyond the fixed part.
//
// The tail lies in the index file, in pieces in remnant nodes; the slot points
// to the first piece, right behind the status byte:
//
//   offset  size  meaning
//        0     2  length of the tail as stored
//        2     1  slot of the first piece
//        3     3  node of the first piece
//
// or six zeros for a record without tail. All pieces but the last have 994
// bytes and a node to themselves; the last one, of the remaining 1 to 993
// bytes, shares a node with others. Under ISCOMPRESS the tail is stored coded.
//
// The calls work on the tail of the record in the slot buffer.
#pragma once

#include "base/isfile.h"

// At build and open of a variable-length file: allocates, and sets the current
// length to the maximum. 105 for lengths or a node size that cannot be.
void isVLinit(IsamFile *h);

// Frees what isVLinit allocated.
void isVLdone(IsamFile *h);

// Reads the tail into the record, behind the fixed part; the current length
// becomes that of the whole record. 105 when the pieces do not make the tail.
void isVLread(IsamFile *h, char *record);

// A tail as it stands in the file, coded under ISCOMPRESS.
struct StoredTail {
    const std::uint8_t *bytes;
    int length;  // 0 = the record has none
};

// A change of a tail begins with one of these two. isVLforget: there is no old
// tail. isVLfetch: reads the old one and notes its pieces, for isVLimage and
// isVLdel; what is wrong with it shows (105) before anything changes.
void isVLforget(IsamFile *h);
StoredTail isVLfetch(IsamFile *h);

// The whole record with the fetched tail, expanded, to record, which has room
// for the maximum. Returns its length. The current length stays.
int isVLimage(IsamFile *h, char *record);

// Makes the tail of a record of the current length ready for isVLplace; the
// record must stay until then. The bytes fetched may be gone. 132 above the
// maximum length.
StoredTail isVLcode(IsamFile *h, const char *record);

// Removes the fetched tail, if there is one, in memory.
void isVLdel(IsamFile *h);

// Lays out the tail made ready, and points the slot buffer to it; in memory. 131 when
// no node number is left.
void isVLplace(IsamFile *h);

// Writes those of its nodes that make the file longer: a full disk shows while the
// old tail is still there.
void isVLwrite(IsamFile *h);

// Writes everything else that isVLdel and isVLplace have changed; the header copy
// gets the hash. Must follow them.
void isVLput(IsamFile *h);

// 132 when the current length is above the maximum.
void isVLfits(IsamFile *h);
