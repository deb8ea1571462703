// Changes of records, at random.
#include "txn_work.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace process_testing {

namespace {

constexpr int kOwnKeys = 16;  // in each file
constexpr int kGroups = 5;
constexpr int kTexts = 7;
constexpr int kPiece = 994;  // the most of a tail that a node takes

}  // namespace

int TxnWork::anyKey() { return random_.below(kOwnKeys * share_.processes); }

int TxnWork::ownKey() { return random_.below(kOwnKeys) * share_.processes + share_.process; }

// A record with a key, in record_, and its length, in isreclen.
void TxnWork::compose(const TxnFile &file, int key) {
    char head[64];
    std::snprintf(head, sizeof head, "%08d%04dtext %d of %d", key, random_.below(kGroups), random_.below(kTexts),
                  kTexts);
    std::memset(record_, ' ', sizeof record_);
    std::memcpy(record_, head, std::strlen(head));
    const int length = file.variable() ? file.minimum + tailLength(file.maximum - file.minimum) : file.minimum;
    fill(kTxnMinimum, length);
    isreclen = length;
}

int TxnWork::tailLength(int most) {
    switch (random_.below(6)) {
    case 0: return 0;
    case 1: return random_.between(1, 4) * kPiece + random_.between(-1, 1);
    case 2: return random_.below(most + 1);
    default: return random_.between(1, 300);
    }
}

void TxnWork::fill(int from, int to) {
    while (from < to) {
        const int end = std::min(to, from + random_.between(1, 130));
        const int kind = random_.below(5);
        for (; from < end; ++from)
            record_[from] = kind < 3 ? " 0"[kind] : static_cast<char>('a' + random_.below(26));
    }
}

bool TxnWork::change(Place *place) {
    if (place->fd < 0 && !open(place)) return false;
    ++counts_.changes;
    const int kind = random_.below(100);
    if (kind < 40) return insert(*place);
    if (kind < 65) return rewrite(*place);
    if (kind < 75) return rename(*place);
    return kind < 96 ? remove(*place) : uniqueId(*place);
}

bool TxnWork::insert(const Place &place) {
    const int key = ownKey();
    compose(place.file, key);
    switch (random_.below(4)) {
    case 0: return good(iswrcurr(place.fd, record_), "iswrcurr", {ISERR_DUPLICATE});
    case 1: return good(iswrlock(place.fd, record_), "iswrlock", {ISERR_DUPLICATE});
    default: return good(iswrite(place.fd, record_), "iswrite", {ISERR_DUPLICATE});
    }
}

// Reads a record and keeps it from others, so that it is still there for the next call.
bool TxnWork::readLocked(const Place &place, int key, bool *found) {
    compose(place.file, key);
    const int result = isread(place.fd, record_, ISEQUAL | ISLOCK);
    *found = result == 0;
    return good(result, "isread", {ISERR_NOTFOUND, ISERR_LOCKED});
}

bool TxnWork::rewrite(const Place &place) {
    const int key = anyKey();
    if (random_.percent(50)) {
        compose(place.file, key);
        return good(isrewrite(place.fd, record_), "isrewrite", {ISERR_NOTFOUND, ISERR_LOCKED});
    }
    bool found = false;
    if (!readLocked(place, key, &found)) return false;
    if (!found) return true;
    compose(place.file, key);
    return good(isrewcurr(place.fd, record_), "isrewcurr");
}

// Gives a record another key.
bool TxnWork::rename(const Place &place) {
    const int key = ownKey(), other = ownKey();
    bool found = false;
    if (!readLocked(place, key, &found)) return false;
    if (!found) return true;
    compose(place.file, other);
    return good(isrewrec(place.fd, isrecnum, record_), "isrewrec", {ISERR_DUPLICATE});
}

bool TxnWork::remove(const Place &place) {
    const int key = ownKey();
    if (random_.percent(50)) {
        compose(place.file, key);
        return good(isdelete(place.fd, record_), "isdelete", {ISERR_NOTFOUND, ISERR_LOCKED});
    }
    bool found = false;
    if (!readLocked(place, key, &found)) return false;
    if (!found) return true;
    if (random_.percent(50)) return good(isdelcurr(place.fd), "isdelcurr");
    return good(isdelrec(place.fd, isrecnum), "isdelrec");
}

bool TxnWork::uniqueId(const Place &place) {
    long id = 0;
    if (random_.percent(60)) return good(isuniqueid(place.fd, &id), "isuniqueid");
    return good(issetunique(place.fd, random_.below(1000)), "issetunique");
}

}  // namespace process_testing
