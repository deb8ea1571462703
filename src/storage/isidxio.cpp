#include "storage/isidxio.h"

#include "base/isfail.h"
#include "base/ismemory.h"
#include "base/issystem.h"
#include "storage/node_layout.h"

namespace {

std::int64_t nodeOffset(const IsamFile *h, std::uint32_t number) {
    return (static_cast<std::int64_t>(number) - 1) * h->nodeSize;
}

}  // namespace

void isGetNode(IsamFile *h, std::uint8_t *buffer, std::uint32_t number) {
    if (h->damageFails)
        isGetLinked(h, buffer, number);
    else
        is_read(h, ISKIND_INDEX, buffer, h->nodeSize, nodeOffset(h, number));
}

void isGetLinked(IsamFile *h, std::uint8_t *buffer, std::uint32_t number) {
    isGetLinkedPart(h, buffer, h->nodeSize, number);
}

void isGetLinkedPart(IsamFile *h, std::uint8_t *bytes, int length, std::uint32_t number) {
    if (!is_read_within(h, ISKIND_INDEX, bytes, length, nodeOffset(h, number))) isFail(h, ISERR_CORRUPT);
}

void isPutNode(IsamFile *h, const std::uint8_t *buffer, std::uint32_t number) { isPutNodes(h, buffer, 1, number); }

void isPutNodes(IsamFile *h, const std::uint8_t *bytes, int count, std::uint32_t first) {
    is_write(h, ISKIND_INDEX, bytes, count * h->nodeSize, nodeOffset(h, first));
}

void isGetNodePart(IsamFile *h, std::uint8_t *bytes, int length, std::uint32_t number, int offset) {
    is_read(h, ISKIND_INDEX, bytes, length, nodeOffset(h, number) + offset);
}

void isPutNodePart(IsamFile *h, const std::uint8_t *bytes, int length, std::uint32_t number, int offset) {
    is_write(h, ISKIND_INDEX, bytes, length, nodeOffset(h, number) + offset);
}

void isPutWhole(IsamFile *h, const std::uint8_t *bytes, int length, std::uint32_t number, int offset) {
    is_write_whole(h, ISKIND_INDEX, bytes, length, nodeOffset(h, number) + offset);
}

std::uint8_t *isScratchNode(IsamFile *h) {
    if (h->nodeScratch == nullptr) h->nodeScratch = is_new<std::uint8_t>(static_cast<std::size_t>(h->nodeSize));
    return h->nodeScratch;
}

void isMarkNode(IsamFile *h, std::uint8_t *buffer, int mark, int level) {
    buffer[h->nodeSize - node::kMarkBack] = static_cast<std::uint8_t>(mark);
    buffer[h->nodeSize - node::kLevelBack] = static_cast<std::uint8_t>(level);
}

// By the file's size: the header's own count may be damaged as well.
std::uint32_t isNodeLimit(IsamFile *h) {
    const std::int64_t nodes = is_size(h, ISKIND_INDEX) / h->nodeSize;
    return nodes < h->indexFree.last ? static_cast<std::uint32_t>(nodes) : h->indexFree.last;
}

void isCheckNodeNumber(IsamFile *h, std::uint32_t number) {
    if (number < 2 || number > h->indexFree.last) isFail(h, ISERR_CORRUPT);
}
