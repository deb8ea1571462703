// Descriptors that recovery has closed: what their handles stood for.
//
// A log record means the handle that was open for its descriptor and process
// when it was written. When that handle has been closed, undoing must not take a
// later one for it, and a closing must not be missed.
#pragma once

#include <cstdint>

// A handle for the pair has been closed that stood for the log from offset
// `since` on; early: before the log's own record of the closing.
void isNoteClosed(int fd, int process, std::int64_t since, bool early);

// Since when the handle closed last for the pair stood, 0 for an unknown one.
std::int64_t isClosedSince(int fd, int process);

// Was the pair's handle closed early? Then its closing has been met now.
bool isClosedEarly(int fd, int process);

void isFreeClosed();
