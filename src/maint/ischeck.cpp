// Checks of the data file and of an index.

#include "maint/ischeck.h"

#include <cstring>

#include "base/isfail.h"
#include "keys/isindex.h"
#include "keys/iskey.h"
#include "maint/ischecking.h"
#include "storage/isdatio.h"
#include "storage/isfree.h"
#include "storage/node_layout.h"
#include "tree/isscan.h"

namespace {

// Every number of the list must be that of a slot without record, and be there
// once.
void crossOff(const std::uint8_t *bytes, void *context) {
    auto *h = static_cast<IsamFile *>(context);
    for (int at = node::kListStart; at < node::used(bytes); at += kNumberSize)
        if (!isNumbersTake(h, ld_long(bytes + at))) isFound(h, ISCHK_FREELIST);
}

void checkFreeList(IsamFile *h, std::uint32_t expected) {
    std::uint32_t count = 0;
    const bool counted = isUndamaged(h, [h, &count] { count = isFreeCount(h, ISKIND_DATA, crossOff, h); });
    if (!counted || count != expected) isFound(h, ISCHK_FREELIST);
}

// The key of the record that the entry leads to is the entry's.
void checkEntry(IsamFile *h, const IndexPath *path) {
    std::uint8_t key[ISMAXKEYLEN];
    isGetData(h, static_cast<long>(path->top->pointer));
    isKeyMake(path, key, h->recordBuffer);
    if (!isKeyMatch(path, key, nullptr)) isFound(h, ISCHK_MISMATCH);
}

// Returns the number of entries.
std::uint64_t checkEntries(IsamFile *h, IndexPath *path) {
    std::uint8_t before[ISMAXKEYLEN];
    std::uint64_t keys = 0;
    TreeScan scan;
    for (bool more = isScanFirst(h, &scan, path); more; more = isScanNext(h, &scan)) {
        if (keys++ != 0 && isKeyCmp(path, before, path->top->key) > 0) isFound(h, ISCHK_KEYORDER);
        std::memcpy(before, path->top->key, static_cast<std::size_t>(keyLength(path)));
        if (hasData(h)) checkEntry(h, path);
    }
    return keys;
}

// Has every record an entry in the index, and is there a list of those that are
// none?
bool isCountable(const IsamFile *h, const IndexPath *path) {
    return hasData(h) && !isPreciousFile(h) && !hasMasks(h) && !skipsNulls(path);
}

}  // namespace

int isCheckData(IsamFile *h) {
    return isChecking(h, ISCHK_DATAREAD, [h] {
        if (!hasData(h)) isFail(h, ISERR_ARGUMENT);
        const std::uint32_t last = h->dataFree.last;
        const bool keepsList = !isPreciousFile(h);
        std::uint32_t live = 0;
        for (std::uint32_t number = last; number > 0; --number) {
            isGetData(h, static_cast<long>(number));
            // Made once it is known that the file has so many slots.
            if (number == last && keepsList) isNumbersMake(h, last);
            const std::uint8_t status = slot::status(h);
            if (status == slot::kPresent) {
                ++live;
                continue;
            }
            if (status != slot::kDeleted) isFound(h, ISCHK_RECORD);
            if (keepsList) isNumbersAdd(h, number);
        }
        if (keepsList) checkFreeList(h, last - live);
    });
}

int isCheckIndex(IsamFile *h, int index) {
    return isChecking(h, ISCHK_INDEXREAD, [h, index] {
        if (index < 1 || index > h->keyCount) isFail(h, ISERR_ARGUMENT);
        IndexPath *path = isTwinPath(h, index - 1);
        const std::uint64_t keys = checkEntries(h, path);
        if (isCountable(h, path) && isFreeCount(h, ISKIND_DATA, nullptr, nullptr) + keys != h->dataFree.last)
            isFound(h, ISCHK_KEYCOUNT);
    });
}
