// Opening and closing the two files behind a handle. Handles of one process
// with the same name share one pair of system descriptors and one open lock;
// names are compared as strings.
#pragma once

#include "base/isfile.h"

// Registers the handle, opens its files or takes those of another handle of
// the same name, and takes the open lock. 113 when that is refused, or when
// one of the two handles is exclusive. Returns the descriptor.
int isAdmOpen(IsamFile *h);

// Unregisters the handle; the last one on its files releases the open lock and
// closes them. Never fails. Returns the descriptor.
int isAdmClose(IsamFile *h);
