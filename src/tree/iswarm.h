// Fetching the nodes on the way to a key into the processor's cache, while something
// else is still to be done: in a big tree that waiting is most of what a search costs.
#pragma once

#include "keys/ispathdef.h"

// Changes nothing but the path's hints and reads no file: what is not in memory is left
// alone.
void isTreeWarm(IndexPath *path, const std::uint8_t *key);

// The same for the key of a record, in trees that are worth it, in two steps: what the
// second one looks at comes while something else is done after the first.
enum class WarmStep { kWay, kLeaf };
void isRecordWarm(IndexPath *path, const void *record, WarmStep step);
