#include "storage/istailhash.h"

#include "base/isfail.h"
#include "storage/header_layout.h"
#include "storage/isidxio.h"
#include "storage/isremnant.h"
#include "storage/remnant_layout.h"

using namespace remnant;

namespace {

std::uint8_t *headAt(IsamFile *h, int i) { return h->header + header::kHashHeadsOffset + 4 * i; }

void putLink(IsamFile *h, std::uint32_t number, int offset, std::uint32_t link) {
    isCheckNodeNumber(h, number);
    std::uint8_t raw[kLinkSize];
    st_long(link, raw);
    isPutNodePart(h, raw, sizeof raw, number, offset);
}

void unlink(IsamFile *h, std::uint8_t *node, std::uint32_t number) {
    const std::uint32_t older = next(node), newer = previous(node);
    std::uint32_t &head = h->hashHeads[bucket(node)];
    // The head is known by the header: a link towards it that a dead process
    // left behind means nothing.
    const bool atHead = head == number;
    if (older != 0) putLink(h, older, kPreviousOffset, atHead ? 0 : newer);
    if (atHead)
        head = older;
    else if (newer != 0)
        putLink(h, newer, kNextOffset, older);
}

void linkInFront(IsamFile *h, std::uint8_t *node, std::uint32_t number, int into) {
    std::uint32_t &head = h->hashHeads[into];
    if (head != 0) putLink(h, head, kPreviousOffset, number);
    st_long(head, node + kNextOffset);
    st_long(0, node + kPreviousOffset);
    head = number;
}

}  // namespace

void isLoadHeads(IsamFile *h) {
    if (h->hashStale == 0) return;
    for (int i = 0; i < header::kHashHeadCount; ++i)
        h->hashHeads[i] = ld_long(headAt(h, i));
    h->hashStale = 0;
}

void isStoreHeads(IsamFile *h) {
    for (int i = 0; i < header::kHashHeadCount; ++i)
        st_long(h->hashHeads[i], headAt(h, i));
}

std::uint32_t findSpace(IsamFile *h, std::uint8_t *node, int need) {
    isLoadHeads(h);
    int b = (need + kSlotSize - 1) / kBucketWidth + 1;
    while (b <= kLastBucket && h->hashHeads[b] == 0)
        ++b;
    if (b > kLastBucket) return 0;
    std::uint32_t steps = 0, limit = 0;
    for (std::uint32_t number = h->hashHeads[b]; number != 0; number = previous(node)) {
        if (steps == 1) limit = isNodeLimit(h);
        if (++steps > 1 && steps > limit) isFail(h, ISERR_CORRUPT);
        isCheckNodeNumber(h, number);
        isGetNode(h, node, number);
        isCheckRemNode(h, node);
        // Misfiled, or without slots: it could be neither refiled nor added to.
        if (bucket(node) != b || slots(node) == 0) isFail(h, ISERR_CORRUPT);
        if (freeBytes(node) >= need + kSlotSize) return number;
    }
    return 0;
}

void upHashTab(IsamFile *h, std::uint8_t *node, std::uint32_t number) {
    const int from = bucket(node), into = bucketOf(freeBytes(node));
    if (from == into) return;
    if (from != 0) unlink(h, node, number);
    if (into != 0) linkInFront(h, node, number, into);
    node[kBucketOffset] = static_cast<std::uint8_t>(into);
}
