#include "tree/islocate.h"

#include <cstring>

#include "base/isfail.h"
#include "keys/iskey.h"
#include "storage/isdatio.h"
#include "tree/ispath.h"
#include "tree/istree.h"

namespace {

IndexPath *currentPath(const IsamFile *h) { return h->indexes[h->currentIndex]; }

// The path's current entry becomes the remembered position.
void remember(IsamFile *h, IndexPath *path) {
    const NodeBuf *n = path->top;
    std::memcpy(path->positionKey, n->key, static_cast<std::size_t>(keyLength(path)));
    path->positionRecord = n->pointer;
    path->positionSerial = n->serial;
    h->recnum = static_cast<long>(n->pointer);
}

bool indexed(IsamFile *h, const char *record, int mode) {
    IndexPath *path = currentPath(h);
    const bool byKey = mode == ISEQUAL || mode == ISGREAT || mode == ISGTEQ;
    if (byKey && record == nullptr) isFail(h, ISERR_ARGUMENT);
    if (isPathEmpty(h, path)) return false;

    bool found = true;
    if (mode == ISFIRST || mode == ISLAST) {
        isEdge(h, path, mode);
    } else if (byKey) {
        isKeyMake(path, path->positionKey, record);
        found = isFind(h, path, path->positionKey, mode);
    } else {
        found = isWalk(h, path, mode);
    }
    if (found) remember(h, path);
    return found;
}

struct Route {
    std::int64_t start;
    int step;
};

Route naturalRoute(const IsamFile *h, int mode) {
    const std::int64_t position = h->lastNumber;
    switch (mode) {
    case ISFIRST: return {1, 1};
    case ISLAST: return {h->dataFree.last, -1};
    case ISNEXT:
    case ISGREAT: return {position + 1, 1};
    case ISPREV: return {position - 1, -1};
    case ISCURR:
    case ISGTEQ: return {position, 1};
    default: return {h->recnum, 0};
    }
}

// The record's slot is in the slot buffer when this succeeds.
bool natural(IsamFile *h, int mode) {
    const Route route = naturalRoute(h, mode);
    const std::int64_t highest = hasData(h) ? h->dataFree.last : 0;
    std::int64_t number = route.start;
    if (number < 1 || number > highest) return false;
    isGetData(h, static_cast<long>(number));
    if (slot::status(h) == slot::kDeleted) {
        if (route.step == 0) return false;
        do {
            number += route.step;
            if (number < 1 || number > highest) return false;
        } while (isDelCheck(h, static_cast<long>(number)));
        isGetData(h, static_cast<long>(number));
    }
    h->lastNumber = static_cast<std::uint32_t>(number);
    h->recnum = static_cast<long>(number);
    return true;
}

}  // namespace

std::uint32_t isCurrent(const IsamFile *h) { return inRecordOrder(h) ? h->lastNumber : currentPath(h)->positionRecord; }

void isEdge(IsamFile *h, IndexPath *path, int mode) {
    if (mode == ISFIRST)
        isTreeFirst(h, path);
    else
        isTreeLast(h, path);
}

bool isWalk(IsamFile *h, IndexPath *path, int mode) {
    if (hasData(h) && path->positionRecord == 0) return false;
    const bool somewhere = isTreeCurr(h, path);
    const bool exact = somewhere && isTreeExact(h, path);
    switch (mode) {
    case ISNEXT:
        if (!somewhere) return false;
        return !exact || isTreeNext(h, path);
    case ISPREV:
        if (somewhere) return isTreePrev(h, path);
        // Everything lies before the remembered place.
        isTreeLast(h, path);
        return true;
    default: return somewhere;
    }
}

bool isFind(IsamFile *h, IndexPath *path, const std::uint8_t *key, int mode) {
    if (mode == ISGREAT) return isTreeGreat(h, path, key);
    return isTreeMatch(h, path, key) && (mode != ISEQUAL || isKeyMatch(path, key, nullptr));
}

bool isLocate(IsamFile *h, const char *record, int mode) {
    return inRecordOrder(h) ? natural(h, mode) : indexed(h, record, mode);
}

bool locrec(IsamFile *h, long recnum) {
    if (!isSlotNumber(h, recnum)) return false;
    if (inRecordOrder(h)) {
        h->recnum = recnum;
        return natural(h, ISEQUAL);
    }
    IndexPath *path = currentPath(h);
    std::uint8_t key[ISMAXKEYLEN];
    isGetData(h, recnum);
    isKeyMake(path, key, h->recordBuffer);
    // A partial start must not blur which record is meant.
    const int asked = path->searchLength;
    path->searchLength = keyLength(path);
    const bool found = isTreeMatch(h, path, key) && isTreeSeek(h, path, key, static_cast<std::uint32_t>(recnum));
    path->searchLength = asked;
    if (!found) return false;
    remember(h, path);
    return true;
}
