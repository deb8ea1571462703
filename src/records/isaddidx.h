// Adding an index to a file that holds records, and dropping one. Nobody else,
// not even another handle of the process, may have the file open meanwhile.
#pragma once

#include "base/isfile.h"

int isAddIndex(IsamFile *h, const KeyDesc *key);
int isDelIndex(IsamFile *h, const KeyDesc *key);

// Inserts the keys of records 1..last into index n, which is empty, but for those
// whose mask has bit maskBit (modulo 32). 100 at the first duplicate in a unique
// index. With entered the file has the index in its list already. The tree grows in
// memory and is written when there is no more room for it, and at the end.
void isFillIdx(IsamFile *h, int n, int maskBit, std::uint32_t last, bool entered);

// After a failure of it: is what is in memory a sound tree, as far as it came? Then
// isWriteFilled can write it.
bool isFilledSound(IsamFile *h, int code);
void isWriteFilled(IsamFile *h, int n, bool entered);
