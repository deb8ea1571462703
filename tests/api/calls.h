// Calls on an open file with harmless arguments, for tests that go through all of them. They are rows of the table of
// all exported calls, see table.h.
#ifndef TESTS_API_CALLS_H
#define TESTS_API_CALLS_H

#include <vector>

namespace api {

enum class Access { kAny, kRead, kWrite };

struct Call {
    const char *name;
    Access access;
    long (*run)(int fd);
};

// Calls that go through the descriptor's checks, are completed on its handle, and return 0.
const std::vector<Call> &allCalls();

// The same calls with a null pointer where a name, record or result is needed, or a key description.
struct NullCall {
    const char *name;
    int code;
    long (*run)(int fd);
};

const std::vector<NullCall> &nullCalls();

}  // namespace api

#endif
