// Transactions and recovery: runs record operations backwards or again, by the
// log. Results are 1, or 0 with the code in errno.
#pragma once

// Begins a transaction of the caller, unless it has one.
int isBegin();

// Ends the caller's transaction, keeping or undoing what it changed. It has
// ended even when the result is 0, unless there was none.
int isCommit();
int isRollBack();

// Does the log again from its beginning, see isrecover.
int isRecover();
