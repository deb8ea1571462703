// The model's reading and positioning calls.
#include "file_model.h"

#include <algorithm>

namespace model {

using testing_support::compareKeys;
using testing_support::makeKey;

FileModel::Standing FileModel::standing(const Index &index, const Position &at, bool viaPath) const {
    Standing out;
    if (viaPath) {
        for (std::size_t i = 0; i < index.entries.size(); ++i)
            if (index.entries[i].rec == at.rec && index.entries[i].serial == at.serial)
                return {pure() && index.entries[i].key != at.key ? 2 : 1, i};
    }
    std::size_t i = lower(index, at.key, index.spec.keyLength);
    if (index.spec.duplicates())
        while (i < index.entries.size() && index.entries[i].key == at.key && index.entries[i].serial < at.serial)
            ++i;
    if (i == index.entries.size()) return out;
    const Entry &entry = index.entries[i];
    bool same = entry.serial == at.serial && (pure() ? entry.key == at.key : entry.rec == at.rec);
    return {same ? 1 : 2, i};
}

bool FileModel::walk(const Index &index, const Position &at, int mode, bool viaPath, std::size_t *entry) const {
    if (!pure() && at.rec == 0) return false;
    Standing now = standing(index, at, viaPath);
    std::size_t count = index.entries.size();
    switch (mode) {
    case ISNEXT:
        if (now.kind == 0) return false;
        *entry = now.kind == 1 ? now.entry + 1 : now.entry;
        return *entry < count;
    case ISPREV:
        if (now.kind == 0) {
            *entry = count - 1;
            return true;
        }
        *entry = now.entry - 1;
        return now.entry > 0;
    default: *entry = now.entry; return now.kind != 0;
    }
}

void FileModel::remember(Handle &h, Outcome &o, const Entry &entry) const {
    Position &at = h.positions[h.current];
    at.key = entry.key;
    at.rec = entry.rec;
    at.serial = entry.serial;
    o.recnum = entry.rec;
}

bool FileModel::locateIndexed(Handle &h, Outcome &o, int mode, int length, bool viaPath) const {
    const Index &index = indexes_[h.current];
    Position &at = h.positions[h.current];
    if (index.entries.empty()) return false;
    std::size_t i = 0;
    switch (mode) {
    case ISFIRST: break;
    case ISLAST: i = index.entries.size() - 1; break;
    case ISNEXT:
    case ISPREV:
    case ISCURR:
        if (!walk(index, at, mode, viaPath, &i)) return false;
        break;
    default:
        at.key = makeKey(index.spec, o.record.data());  // stays, also when nothing is found
        i = mode == ISGREAT ? upper(index, at.key, length) : lower(index, at.key, length);
        if (i == index.entries.size()) return false;
        if (mode == ISEQUAL && compareKeys(index.spec, index.entries[i].key, at.key, length) != 0) return false;
        break;
    }
    remember(h, o, index.entries[i]);
    return true;
}

bool FileModel::locateNatural(Handle &h, Outcome &o, int mode) const {
    long start = 0;
    long step = 1;
    switch (mode) {
    case ISFIRST: start = 1; break;
    case ISLAST:
        start = last();
        step = -1;
        break;
    case ISNEXT:
    case ISGREAT: start = h.natural + 1; break;
    case ISPREV:
        start = h.natural - 1;
        step = -1;
        break;
    case ISCURR:
    case ISGTEQ: start = h.natural; break;
    default:
        start = o.recnum;
        step = 0;
        break;
    }
    if (start < 1 || start > last()) return false;
    h.slot = record(start);
    while (!record(start).live) {
        start += step;
        if (step == 0 || start < 1 || start > last()) return false;
    }
    h.slot = record(start);
    h.natural = start;
    o.recnum = start;
    return true;
}

bool FileModel::locate(Handle &h, Outcome &o, int mode, int length, bool viaPath) const {
    return indexed(h) ? locateIndexed(h, o, mode, length, viaPath) : locateNatural(h, o, mode);
}

bool FileModel::locateRecord(Handle &h, Outcome &o, long rec) const {
    if (rec < 1 || rec > last()) return false;
    if (!indexed(h)) {
        o.recnum = rec;
        return locateNatural(h, o, ISEQUAL);
    }
    const Index &index = indexes_[h.current];
    h.slot = record(rec);
    std::optional<std::size_t> at = findEntry(index, makeKey(index.spec, record(rec).bytes.data()), rec);
    if (at) remember(h, o, index.entries[*at]);
    return at.has_value();
}

int FileModel::adjusted(const Handle &h, int mode, bool substitute) const {
    bool stays = (mode == ISNEXT && (h.state & kNextStays) != 0) || (mode == ISPREV && (h.state & kPrevStays) != 0);
    if (!stays) return mode;
    if (substitute && currentRecord(h) == 0) return mode == ISNEXT ? ISFIRST : ISLAST;
    return ISCURR;
}

Outcome FileModel::read(Handle &h, Outcome o, int mode, bool viaPath) const {
    int low = mode & 0xff;
    int flags = mode & ~0xff;
    if (pure() && flags != 0) return o.fail(102);
    if (indexed(h)) {
        Position &at = h.positions[h.current];
        at.searchLength = low < ISEQUAL ? indexes_[h.current].spec.keyLength : at.startLength;
    }
    if (low <= ISGTEQ) {
        int length = indexed(h) ? h.positions[h.current].searchLength : 0;
        if (!locate(h, o, adjusted(h, low, true), length, viaPath)) {
            if (low == ISNEXT) h.state |= kPrevStays;
            if (low == ISPREV) h.state |= kNextStays;
            return o.fail(low <= ISPREV ? 110 : low == ISCURR ? 112 : 111);
        }
    }
    bool refused = flags != 0 && lockedByOther(h, o.recnum);
    if (flags != 0 && !refused) {
        if ((flags & ISLOCK) != 0)
            h.locks.insert(o.recnum);
        else
            h.locks.erase(o.recnum);
    }
    h.state &= ~(kNextStays | kPrevStays | kNoCurrent);
    if (pure()) {
        testing_support::scatterKey(indexes_[0].spec, h.positions[0].key, o.record.data());
    } else {
        if (indexed(h)) {
            if (o.recnum < 1 || o.recnum > last()) return o.fail(112);
            h.slot = record(o.recnum);
        }
        std::copy(h.slot.bytes.begin(), h.slot.bytes.end(), o.record.begin());
        if (masked()) h.mask = h.slot.mask;
    }
    o.reclen = pure() ? 0 : static_cast<int>(h.slot.bytes.size());
    return refused ? o.fail(107) : o;
}

Outcome FileModel::start(Handle &h, Outcome o, const KeyDesc *key, int length, int mode, bool viaPath) const {
    if (mode > ISGTEQ) return o.fail(102);
    if (key != nullptr) {
        int found = find(*key);
        if (found < 0) return o.fail(103);
        auto number = static_cast<std::size_t>(found);
        h.current = static_cast<std::uint32_t>(found);
        if (number < indexes_.size()) {
            int full = indexes_[number].spec.keyLength;
            if (length > full) return o.fail(102);
            Position &at = h.positions[number];
            at.startLength = at.searchLength = length == 0 ? full : length;
        }
        if (mode == ISNEXT || mode == ISPREV || mode == ISCURR) locateRecord(h, o, o.recnum);
    }
    int searchLength = indexed(h) ? h.positions[h.current].searchLength : 0;
    bool found = locate(h, o, adjusted(h, mode, false), searchLength, viaPath);
    if (!found && mode != ISFIRST && mode != ISLAST) return o.fail(mode <= ISPREV ? 110 : mode == ISCURR ? 112 : 111);
    h.state &= ~(kNextStays | kPrevStays | kNoCurrent);
    if (mode != ISNEXT) h.state |= kNextStays;
    if (mode == ISLAST) h.state |= kPrevStays;
    if (mode == ISFIRST || mode == ISLAST) h.state |= kNoCurrent;
    return o;
}

Outcome FileModel::index(Handle &h, Outcome o, int number, int reposition) const {
    if (number < 0 || number > static_cast<int>(indexes_.size())) return o.fail(103);
    h.current = static_cast<std::uint32_t>(number == 0 ? indexes_.size() : static_cast<std::size_t>(number - 1));
    return reposition != 0 ? gotoRecord(h, o, o.recnum) : o;
}

Outcome FileModel::gotoRecord(Handle &h, Outcome o, long rec) const {
    if (!locateRecord(h, o, rec)) {
        o.recnumKnown = false;
        return o.fail(111);
    }
    return o;
}

Outcome FileModel::data(Handle &h, Outcome o, long rec) const {
    if (rec < 1 || rec > last()) return o.fail(102);
    h.slot = record(rec);
    if (!record(rec).live) {
        o.recordKnown = false;
        return o.fail(111);
    }
    std::copy(h.slot.bytes.begin(), h.slot.bytes.end(), o.record.begin());
    o.reclen = static_cast<int>(h.slot.bytes.size());
    if (masked()) h.mask = h.slot.mask;
    return o;
}

Outcome FileModel::push(const Handle &h, Outcome o, int *number, long *rec) const {
    *number = indexed(h) ? static_cast<int>(h.current) + 1 : 0;
    *rec = currentRecord(h);
    return o;
}

Outcome FileModel::pop(Handle &h, Outcome o, int number, long rec) const {
    o = index(h, o, number, 0);
    return o.ok() && rec != 0 ? gotoRecord(h, o, rec) : o;
}

}  // namespace model
