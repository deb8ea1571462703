#include "base/ismemory.h"

#include <cstdlib>
#include <cstring>

#include "base/isfail.h"

namespace {
constexpr const char *kModule = "ismemory";
}

void *is_malloc(std::size_t size) {
    void *block = std::calloc(1, size != 0 ? size : 1);
    if (block == nullptr) isBroken(kModule, __LINE__);
    return block;
}

void *is_realloc(void *block, std::size_t oldSize, std::size_t newSize) {
    void *grown = oldSize == 0 ? std::malloc(newSize) : std::realloc(block, newSize);
    if (grown == nullptr && newSize != 0) isBroken(kModule, __LINE__);
    if (newSize > oldSize) std::memset(static_cast<char *>(grown) + oldSize, 0, newSize - oldSize);
    return grown;
}

std::nullptr_t is_free(void *block) {
    std::free(block);
    return nullptr;
}
