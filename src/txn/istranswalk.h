// Walking a transaction's chain of log records, from its last one back to its
// beginning.
#pragma once

#include <cstdint>

enum class TxnWalk {
    kMark,     // mark the handles that changes are about to be undone through
    kRelease,  // release the locks of inserted and updated records
    kUndo,     // undo every change
};

// Walks from the record at offset. 0 with the code in errno when a record
// cannot be read (118), is damaged (119), or cannot be undone: the walk ends
// there. A lock that cannot be released ends nothing. *refused tells whether the
// walk ended at a change that could not be undone.
int txnprocess(int log, std::int64_t offset, TxnWalk mode, bool *refused);
