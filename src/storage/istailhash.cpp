#include "storage/istailhash.h"

#include "base/isfail.h"
#include "storage/header_layout.h"
#include "storage/isidxio.h"
#include "storage/remnant_layout.h"

using namespace remnant;

namespace {

// Whether a link leads to a node of the same bucket. One that a change which was
// cut short left behind may lead anywhere by now: to a node of another bucket, of
// a tree or of a list.
bool isFiled(IsamFile *h, RemStage *stage, std::uint32_t number, int in, std::uint8_t *head) {
    if (number == 0) return false;
    isStagePeek(h, stage, number, head);
    return ld_int(head + kMagicOffset) == kMagic && bucket(head) == in;
}

void unlink(IsamFile *h, RemStage *stage, const std::uint8_t *node, std::uint32_t number) {
    const int from = bucket(node);
    std::uint32_t older = remnant::next(node), newer = previous(node), &head = h->hashHeads[from];
    std::uint8_t neighbour[kDataStart];
    // The head is known by the header: a link towards it that a dead process
    // left behind means nothing.
    if (head == number) newer = 0;
    // A neighbour that does not point back is none.
    if (!isFiled(h, stage, older, from, neighbour) || previous(neighbour) != number) older = 0;
    if (!isFiled(h, stage, newer, from, neighbour) || remnant::next(neighbour) != number) newer = 0;
    if (older != 0) isStageLink(h, stage, older, kPreviousOffset, newer);
    if (newer != 0) isStageLink(h, stage, newer, kNextOffset, older);
    if (head == number) head = older;
}

// A bucket that has the node in front although the node is filed elsewhere: the
// header behind the refiling was never written. What came behind the node there
// is not to be found any more.
void forgetElsewhere(IsamFile *h, std::uint32_t number, int filed) {
    for (int i = 1; i <= kLastBucket; ++i)
        if (i != filed && h->hashHeads[i] == number) h->hashHeads[i] = 0;
}

void linkInFront(IsamFile *h, RemStage *stage, std::uint8_t *node, std::uint32_t number, int into) {
    std::uint32_t &head = h->hashHeads[into];
    std::uint8_t older[kDataStart];
    if (!isFiled(h, stage, head, into, older)) head = 0;
    if (head != 0) isStageLink(h, stage, head, kPreviousOffset, number);
    st_long(head, node + kNextOffset);
    st_long(0, node + kPreviousOffset);
    head = number;
}

}  // namespace

void isLoadHeads(IsamFile *h) {
    if (h->hashStale == 0) return;
    for (int i = 0; i < header::kHashHeadCount; ++i)
        h->hashHeads[i] = header::hashHead(h->header, i);
    h->hashStale = 0;
}

void isStoreHeads(IsamFile *h) {
    for (int i = 0; i < header::kHashHeadCount; ++i)
        st_long(h->hashHeads[i], h->header + header::kHashHeadsOffset + 4 * i);
}

std::uint32_t findSpace(IsamFile *h, RemStage *stage, int need) {
    isLoadHeads(h);
    int b = (need + kSlotSize - 1) / kBucketWidth + 1;
    while (b <= kLastBucket && h->hashHeads[b] == 0)
        ++b;
    if (b > kLastBucket) return 0;
    // A head's link back is 0: the walk goes on in damaged files alone.
    std::uint32_t number = h->hashHeads[b];
    for (std::uint32_t steps = 0; number != 0; ++steps) {
        if (steps > 0 && steps >= isNodeLimit(h)) isFail(h, ISERR_CORRUPT);
        const std::uint8_t *node = isStageLoad(h, stage, number);
        // Damage: without slots the node would be started afresh, in its bucket.
        if (slots(node) == 0) isFail(h, ISERR_CORRUPT);
        if (freeBytes(node) >= need + kSlotSize) return number;
        number = previous(node);
    }
    return 0;
}

void upHashTab(IsamFile *h, RemStage *stage, std::uint32_t number) {
    std::uint8_t *node = isStageLoad(h, stage, number);
    const int from = bucket(node), into = bucketOf(freeBytes(node));
    forgetElsewhere(h, number, from);
    if (from == into) return;
    if (from != 0) unlink(h, stage, node, number);
    if (into != 0) linkInFront(h, stage, node, number, into);
    node[kBucketOffset] = static_cast<std::uint8_t>(into);
}
