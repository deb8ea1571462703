// How much a single call of the library may take, and what happens when it takes more.
#ifndef TESTS_FUZZ_LIMITS_H
#define TESTS_FUZZ_LIMITS_H

#include <cstddef>

namespace fuzz {

constexpr long kMaxSystemCalls = 200000;
constexpr std::size_t kMaxBlock = std::size_t{64} << 20;  // bytes of one piece of memory
constexpr std::size_t kMaxMemory = std::size_t{128} << 20;
constexpr double kMaxSeconds = 1;  // of the processor

// Ends the process with a message that tells the input's place and the call.
[[noreturn]] void misbehaves(const char *what);

}  // namespace fuzz

#endif
