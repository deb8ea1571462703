// What the library may ask for while bits are turned.
#include "memory/files.h"

#include <climits>
#include <cstdlib>

namespace memory_files {

int Rules::judgePath(const char *) { return 0; }
// A call without end is ended by the sweep.
long Rules::mostCalls() { return LONG_MAX; }
void Rules::misbehaves(const char *) { std::abort(); }

}  // namespace memory_files

namespace {

constexpr std::size_t kMostMemory = 16 << 20;  // no small file set is worth more, whatever its numbers say

// A request beyond all reason ends the process: it is what a damaged number must not lead to.
std::size_t within(std::size_t size) {
    if (size > kMostMemory) std::abort();
    return size;
}

}  // namespace

// The names of ../shim/calls.txt.
extern "C" {

void *shim_malloc(std::size_t size) { return malloc(within(size)); }
void *shim_calloc(std::size_t count, std::size_t size) { return calloc(count, within(size)); }
void *shim_realloc(void *memory, std::size_t size) { return realloc(memory, within(size)); }
void shim_free(void *memory) { free(memory); }
}
