// Every exported call, with arguments from an operation.
#ifndef TESTS_FUZZ_CALLS_H
#define TESTS_FUZZ_CALLS_H

#include "input.h"

namespace fuzz {

// How a call tells of a failure.
enum class Tells {
    Error,      // a result below 0, and iserrno; 0 in iserrno otherwise
    Failure,    // the same, but a success leaves iserrno
    FileError,  // the result 0, and isErrno
    Nothing,
};

struct Call {
    const char *name;
    Tells tells;
    long (*make)(const Operation &operation);
};

// Transactions that a program tells apart at the most.
constexpr std::uint32_t kIdentities = 3;

std::size_t callCount();
const Call &callAt(std::size_t code);
// The code of an operation that makes the call.
std::uint8_t codeFor(const char *name);

}  // namespace fuzz

#endif
