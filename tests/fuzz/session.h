// What a program that works with the files has: descriptors and buffers. Nothing of it needs a destructor: a fatal stop
// leaves by a jump.
#ifndef TESTS_FUZZ_SESSION_H
#define TESTS_FUZZ_SESSION_H

#include "input.h"
#include "kinds.h"

namespace fuzz {

constexpr int kPlaces = 4;         // descriptors that an input can name
constexpr int kBuffers = 64;       // of the descriptors that the library hands out
constexpr int kLooseSize = 65536;  // a buffer for anything

struct Session {
    const Kind *kind = nullptr;
    int places[kPlaces] = {-1, -1, -1, -1};
    // Of each descriptor, exactly as large as the caller must have it, so that a byte too many is noticed.
    char *records[kBuffers] = {};
    int sizes[kBuffers] = {};
    bool filtered = false;  // a filter may set any error
    int pushedIndex = 0;
    long pushedRecord = 0;
};

Session &session();

// Starts anew.
void beginSession(const Kind &kind);
void endSession();

// The descriptor that an operation names, mostly an open one.
int descriptorFor(const Operation &operation);
// A record buffer of the descriptor, record n in it. isreclen is set to its length.
char *recordFor(int fd, unsigned n, const Operation &operation);
// Takes note of a descriptor that a call has returned.
void opened(int fd, const Operation &operation);

}  // namespace fuzz

#endif
