#include "base/isslab.h"

#include <sys/mman.h>

#include <cstdint>
#include <cstdlib>
#include <new>

#include "base/isfail.h"
#include "base/isglobal.h"

struct Freed {
    Freed *next;
};

// At the beginning of its block.
struct Slab {
    Slab *next, *previous;  // of those that have room
    std::size_t size;       // of a piece, bytes
    std::uint32_t used;     // pieces taken
    std::uint32_t fresh;    // pieces that have been taken at least once
    std::uint32_t most;     // pieces
    Freed *freed;
};

namespace {

constexpr const char *kModule = "isslab";
constexpr std::size_t kBlock = std::size_t{2} << 20;
constexpr std::size_t kHead = 64;  // a processor's line

static_assert(sizeof(Slab) <= kHead);

Slab *slabOf(void *piece) { return reinterpret_cast<Slab *>(reinterpret_cast<std::uintptr_t>(piece) & ~(kBlock - 1)); }

void enlist(Slab *slab) {
    slab->previous = nullptr;
    slab->next = isProcess.slabs;
    if (slab->next != nullptr) slab->next->previous = slab;
    isProcess.slabs = slab;
}

void delist(Slab *slab) {
    if (slab->previous != nullptr)
        slab->previous->next = slab->next;
    else
        isProcess.slabs = slab->next;
    if (slab->next != nullptr) slab->next->previous = slab->previous;
}

Slab *newSlab(std::size_t size) {
    void *block = std::aligned_alloc(kBlock, kBlock);
    if (block == nullptr) isBroken(kModule, __LINE__);
    madvise(block, kBlock, MADV_HUGEPAGE);  // a wish
    auto *slab =
        new (block) Slab{nullptr, nullptr, size, 0, 0, static_cast<std::uint32_t>((kBlock - kHead) / size), nullptr};
    enlist(slab);
    return slab;
}

}  // namespace

void *isSlabTake(std::size_t size) {
    Slab *slab = isProcess.slabs;
    while (slab != nullptr && slab->size != size)
        slab = slab->next;
    if (slab == nullptr) slab = newSlab(size);
    void *piece = slab->freed;
    if (slab->freed != nullptr)
        slab->freed = slab->freed->next;
    else
        piece = reinterpret_cast<std::uint8_t *>(slab) + kHead + slab->fresh++ * size;
    if (++slab->used == slab->most) delist(slab);
    return piece;
}

void isSlabGive(void *piece) {
    Slab *slab = slabOf(piece);
    if (slab->used-- == slab->most) enlist(slab);
    if (slab->used == 0) {
        delist(slab);
        std::free(slab);
        return;
    }
    slab->freed = new (piece) Freed{slab->freed};
}
