// What a child made by fork does with what it takes over. Byte-range locks are not
// inherited: a handle that simply went on would believe in locks that the child
// does not have. So each is made the child's own before its first call there: no
// record is locked, the open lock is taken anew, whatever was read is read again.
// Positions, the log and what the application has set stay. The parent's
// transactions are not the child's.
#pragma once

#include "base/isfile.h"

// To be called before a handle is made, and before anything is done with
// transactions: settles what came with a fork. Nothing of it reaches the files or
// the parent's locks.
void isLeaveParent();

// Makes an inherited handle the child's own. 0, the error in the handle: 113 where
// the open lock is refused, as while the parent has the file exclusively, 101
// where the name means another file now or indexes have been added or dropped. It
// may be tried again.
int isAdopt(IsamFile *h);
