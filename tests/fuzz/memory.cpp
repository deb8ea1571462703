#include "memory.h"

#include "limits.h"

#include <cstdlib>
#include <cstring>
#include <unordered_map>

// There where the address sanitizer is.
extern "C" __attribute__((weak)) void __asan_describe_address(void *address);

namespace fuzz {

namespace {

std::unordered_map<void *, std::size_t> &pieces() {
    static auto *const held = new std::unordered_map<void *, std::size_t>;
    return *held;
}
std::size_t total = 0;

void admit(std::size_t size) {
    if (size > kMaxBlock) misbehaves("one piece of memory has no bound");
    if (total + size > kMaxMemory) misbehaves("memory has no bound");
}

void *note(void *piece, std::size_t size) {
    if (piece == nullptr) misbehaves("out of memory");
    pieces()[piece] = size;
    total += size;
    return piece;
}

void forget(void *piece) {
    const auto found = pieces().find(piece);
    if (found == pieces().end()) misbehaves("a piece of memory is freed that is not allocated");
    total -= found->second;
    pieces().erase(found);
}

}  // namespace

std::size_t heldPieces() { return pieces().size(); }
bool isHeld(const void *piece) { return pieces().count(const_cast<void *>(piece)) != 0; }

void describeHeld() {
    if (__asan_describe_address == nullptr) return;
    for (const auto &[piece, size] : pieces())
        __asan_describe_address(piece);
}

void freeAll() {
    for (const auto &[piece, size] : pieces())
        std::free(piece);
    pieces().clear();
    total = 0;
}

}  // namespace fuzz

using namespace fuzz;

// The names of ../shim/calls.txt.
extern "C" {

void *shim_malloc(std::size_t size) {
    admit(size);
    return note(std::malloc(size), size);
}

void *shim_calloc(std::size_t count, std::size_t size) {
    admit(count * size);
    return note(std::calloc(count, size), count * size);
}

void *shim_realloc(void *memory, std::size_t size) {
    admit(size);
    if (memory != nullptr) forget(memory);
    return note(std::realloc(memory, size), size);
}

void shim_free(void *memory) {
    if (memory == nullptr) return;
    forget(memory);
    std::free(memory);
}
}
