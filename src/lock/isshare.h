// Opening and closing the two files behind a handle. Handles of one process
// with the same name share one pair of system descriptors, but for those that came
// with a fork; names are compared as strings.
//
// One file under two names ("a" and "./a", a link) has a pair for each, but the
// system knows only the process: closing any descriptor of a file would drop the
// locks of all handles on it. Such a descriptor is kept open until the last
// handle of the process on that file is closed.
#pragma once

#include "base/isfile.h"

// Has another handle of the process on the file taken the open lock? Handles without
// locks, and those of a parent process, have not.
bool isOpenLocked(const IsamFile *h);

// Registers the handle, opens its files or takes those of another handle of
// the same name, and takes the open lock. 113 when that is refused, or when
// one of two handles of the process on the file is exclusive. Returns the
// descriptor.
int isAdmOpen(IsamFile *h);

// Unregisters the handle; the last one on its files releases the open lock and
// closes them. Never fails. Returns the descriptor.
int isAdmClose(IsamFile *h);
