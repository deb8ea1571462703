// Keys: built from records, put back into them, ordered and tested.
//
// A key is the bytes of its parts, in part order, nothing between them, in the
// form they have in the record. Only the part that holds the first differing
// byte decides an order.
#pragma once

#include "keys/ispathdef.h"

// Is the description acceptable for a file with this record length (0: any)?
// One without parts always is.
bool isTestIndex(const IsamFile *h, const KeyDesc *key);

// Sum of the part lengths.
int isKeyLength(const KeyDesc *key);

// Sets what keys/isorder needs of the path; it has its description.
void isKeyOrder(IndexPath *path);

// Builds the key of a record. The text of a STRINGTYPE part ends at its NUL.
void isKeyMake(const IndexPath *path, std::uint8_t *key, const void *record);

// Puts the parts of key, or of the position's key where it is null, into a
// record.
void isKeyLoad(const IndexPath *path, void *record, const std::uint8_t *key);

// Below, equal to or above 0 as a sorts before, with or after b over the
// search length.
int isKeyCmp(const IndexPath *path, const std::uint8_t *a, const std::uint8_t *b);

// Are a and b identical over the search length? A null b is the key of the
// path's current entry.
bool isKeyMatch(const IndexPath *path, const std::uint8_t *a, const std::uint8_t *b);

// Is the key made of the parts' null bytes, in an index that skips such keys?
bool isKeyNull(const IndexPath *path, const std::uint8_t *key);

// Index of the first differing byte, n when there is none.
int findoff(const std::uint8_t *a, const std::uint8_t *b, int n);
