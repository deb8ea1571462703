// Reading the log in larger pieces: chains are followed back from record to record,
// recovery goes on from one to the next, and what has been written stays.
#pragma once

#include <cstdint>

// length bytes of the log at offset, or null where they are to be read alone. Valid
// until the next call.
const std::uint8_t *isLogAhead(int log, std::int64_t offset, int length);

// What was read may be of another log, or taken back since.
void isLogAheadForget();
void isLogAheadFree();
