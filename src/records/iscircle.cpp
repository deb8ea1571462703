#include "records/iscircle.h"

#include <cstring>

#include "keys/ispathdef.h"
#include "tree/islocate.h"

namespace {

void notePosition(const IsamFile *h, ScanPosition *position) {
    *position = {h->currentIndex, isCurrent(h), 0, {}};
    if (inRecordOrder(h)) return;
    const IndexPath *path = h->indexes[h->currentIndex];
    position->serial = path->positionSerial;
    std::memcpy(position->key, path->positionKey, static_cast<std::size_t>(keyLength(path)));
}

bool isSame(const ScanPosition &a, const ScanPosition &b) {
    return a.record == b.record && a.index == b.index && a.serial == b.serial &&
           std::memcmp(a.key, b.key, sizeof a.key) == 0;
}

}  // namespace

void isScanStep(const IsamFile *h, ScanWatch *watch) { notePosition(h, &watch->here); }

bool isScanCircle(const IsamFile *h, ScanWatch *watch) {
    ScanPosition now;
    notePosition(h, &now);
    if (watch->stamp != h->headerStamp || !isSame(now, watch->here)) {
        watch->stamp = h->headerStamp;
        watch->renewal = 0;
        return false;
    }
    if (watch->renewal != 0 && isSame(now, watch->mark)) return true;
    if (++watch->steps < watch->renewal) return false;
    watch->renewal = 2 * watch->renewal + 1;
    watch->steps = 0;
    watch->mark = now;
    return false;
}
