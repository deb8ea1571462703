// What the changing operations share: checking the record to be changed,
// finding it, and each index's keys.
#pragma once

#include "keys/ispathdef.h"
#include "storage/isvarlen.h"
#include "tree/iswarm.h"

// Leaves record n in the slot buffer for a change: 112 when lock checking asks
// for a lock that this handle does not have, when there is no such record or it
// is deleted; 107 when somebody else holds it.
void isFetchForChange(IsamFile *h, long recnum);

// Writes what makes the index file longer, tails left out: a full disk shows before
// anything is overwritten.
void isWriteNewNodes(IsamFile *h);

// Writes the change of the index of a file without records.
void isEndPure(IsamFile *h);

// A record for the log: its bytes, the tail expanded.
struct OldImage {
    const void *bytes;
    int length;
};

// The record fetched for a change, with the tail that isVLfetch has fetched.
OldImage isOldImage(IsamFile *h);

// An audit entry of this type for a record: its fixed part, and the tail that
// goes with it in a file that has tails.
void isAuditRecord(IsamFile *h, const char *type, long recnum, const void *fixed, StoredTail tail);

// Bytes that the log takes of the record given.
int isImageLength(const IsamFile *h);

// 102 in a file without records.
void isNeedData(IsamFile *h);

// Finds the entry whose key in the first index equals that of record and
// returns its record number. 127 unless that index is unique, 111 for no entry.
long isFindPrimary(IsamFile *h, const char *record);

// Inserts the record's keys into all indexes that the handle's mask does not keep
// it out of, in memory; null keys are left out. 100 where a unique index has the
// key.
void isInsertKeys(IsamFile *h, const char *record, std::uint32_t number);

// Fetches what all keys of a whole record are going to be searched in.
void isWarmKeys(const IsamFile *h, const char *record, WarmStep step);

// The path of index i at full search length.
IndexPath *isWholePath(IsamFile *h, int i);

// Is a record with this mask left out of index i? Bits are counted modulo 32.
inline constexpr int kMaskBits = 32;
bool isMasked(const IsamFile *h, std::uint32_t mask, int i);

// In a file without records: the record number that the caller gave, 102 when
// it is none.
std::uint32_t isGivenNumber(IsamFile *h);

// In a file without records: makes sure that the first index stands on the
// entry it remembers; 112 if that is gone.
IndexPath *isNeedEntry(IsamFile *h);
