// The run-length coding of variable tails, by its description alone.
#ifndef TESTS_SUPPORT_SQUASH_H
#define TESTS_SUPPORT_SQUASH_H

#include "bytes.h"

namespace testing_support {

// The bytes that a file with compression stores for a tail.
Bytes squash(const Bytes &tail);

// Appends what a stored tail stands for. False when it is not one whole coded tail.
bool expand(const Bytes &stored, Bytes *out);

// What reading gives for a tail that was written with compression: not always the same, since 64 literals at the end
// of a coded tail are lost.
Bytes throughCompression(const Bytes &tail);

}  // namespace testing_support

#endif
