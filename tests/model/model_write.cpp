// The model's changing calls.
#include "file_model.h"

#include "support/squash.h"

#include <algorithm>

namespace model {

using testing_support::makeKey;

namespace {

constexpr int kLongestLogRecord = 65535;
constexpr int kOneImage = 18 + 2 + 4 + 2 + 2;  // of a log record, what is not image
constexpr int kTwoImages = kOneImage + 2;

// True for a description that an index can be made from.
bool acceptable(const KeyDesc &key, int recordLength) {
    if (key.nparts < 0 || key.nparts > ISMAXPARTS || (key.flags & 0xffc0) != 0) return false;
    int total = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        int code = part.type & 0x3f;
        if (part.start < 0 || part.length < 0 || code > STRINGTYPE || part.length % testing_support::unitOf(code) != 0)
            return false;
        if (recordLength != 0 && part.start + part.length > recordLength) return false;
        total += part.length;
    }
    return total <= ISMAXKEYLEN;
}

}  // namespace

void FileModel::insert(std::size_t index, const Key &key, long rec) {
    Index &in = indexes_[index];
    std::size_t at = upper(in, key, in.spec.keyLength);
    Entry entry{key, rec, 0};
    if (in.spec.duplicates()) {
        if (at > 0 && in.entries[at - 1].key == key) entry.serial = in.entries[at - 1].serial + 1;
        newEntries_.push_back({index, key, rec});
    }
    in.entries.insert(in.entries.begin() + static_cast<std::ptrdiff_t>(at), entry);
}

void FileModel::erase(std::size_t index, const Key &key, long rec) {
    Index &in = indexes_[index];
    if (std::optional<std::size_t> at = findEntry(in, key, rec))
        in.entries.erase(in.entries.begin() + static_cast<std::ptrdiff_t>(*at));
}

int FileModel::imageLength(const Outcome &o) const {
    return variable() ? std::max(o.reclen, recordLength()) : recordLength();
}

Record FileModel::kept(const Outcome &o, std::uint32_t mask) {
    auto fixed = o.record.begin() + recordLength();
    Record out;
    out.bytes.assign(o.record.begin(), fixed);
    out.mask = mask;
    out.live = true;
    out.stamp = ++stamps_;
    if (!variable() || o.reclen <= recordLength()) return out;
    Buffer tail(fixed, o.record.begin() + o.reclen);
    out.stored = format_.compressed ? testing_support::squash(tail) : tail;
    if (format_.compressed)
        testing_support::expand(out.stored, &out.bytes);
    else
        out.bytes.insert(out.bytes.end(), tail.begin(), tail.end());
    return out;
}

Outcome FileModel::write(Handle &h, Outcome o, Write how) {
    if (pure()) {
        if (how != Write::kPlain) return o.fail(102);
        Key key = makeKey(indexes_[0].spec, o.record.data());
        if (!indexes_[0].spec.duplicates() && holdsKey(0, key)) return o.fail(100);
        insert(0, key, o.recnum);
        return o;
    }
    std::uint32_t mask = masked() ? h.mask : 0;
    std::vector<std::optional<Key>> keys(indexes_.size());
    for (std::size_t i = 0; i < indexes_.size(); ++i) {
        Key key = makeKey(indexes_[i].spec, o.record.data());
        if (!inIndex(i, key, mask)) continue;
        if (!indexes_[i].spec.duplicates() && holdsKey(i, key)) return o.fail(100);
        keys[i] = key;
    }
    if (variable() && o.reclen > format_.maximumLength) return o.fail(132);
    if (h.logged && kOneImage + imageLength(o) > kLongestLogRecord) return o.fail(121);
    long rec = nextRecord();
    if (!precious_ && !free_.empty()) {
        free_.pop_back();
    } else {
        records_.emplace_back();
    }
    record(rec) = kept(o, mask);
    note("aa", rec);
    for (std::size_t i = 0; i < indexes_.size(); ++i)
        if (keys[i]) insert(i, *keys[i], rec);
    h.slot = record(rec);
    o.recnum = rec;
    if (how == Write::kLock || h.keepsLocks) h.locks.insert(rec);
    if (how == Write::kCurrent && !locateRecord(h, o, rec)) {
        o.recnumKnown = false;
        return o.fail(111);
    }
    return o;
}

Outcome FileModel::refused(const Handle &h, Outcome o, long rec) const {
    if (rec < 1 || rec > last()) return o.fail(112);
    if (h.lockCheck && h.locks.count(rec) == 0) return o.fail(112);
    if (lockedByOther(h, rec)) return o.fail(107);
    if (!live(rec)) return o.fail(112);
    return o;
}

Outcome FileModel::changeRecord(Handle &h, Outcome o, long rec) {
    Outcome check = refused(h, o, rec);
    if (check.err != 107 && rec >= 1 && rec <= last() && !(h.lockCheck && h.locks.count(rec) == 0))
        h.slot = record(rec);
    if (!check.ok()) return check;
    std::uint32_t mask = masked() ? h.mask : 0;
    struct Change {
        std::size_t index;
        std::optional<Key> out;
        std::optional<Key> in;
    };
    std::vector<Change> changes;
    for (std::size_t i = 0; i < indexes_.size(); ++i) {
        Key oldKey = makeKey(indexes_[i].spec, record(rec).bytes.data());
        Key newKey = makeKey(indexes_[i].spec, o.record.data());
        bool before = inIndex(i, oldKey, record(rec).mask);
        bool after = inIndex(i, newKey, mask);
        if ((!before && !after) || (before && after && oldKey == newKey)) continue;
        Change change{i, std::nullopt, std::nullopt};
        if (before) change.out = oldKey;
        if (after) {
            if (!indexes_[i].spec.duplicates() && holdsKey(i, newKey)) return o.fail(100);
            change.in = newKey;
        }
        changes.push_back(change);
    }
    if (variable() && o.reclen > format_.maximumLength) return o.fail(132);
    int before = static_cast<int>(record(rec).bytes.size());
    if (h.logged && kTwoImages + before + imageLength(o) > kLongestLogRecord) return o.fail(121);
    if (h.keepsLocks) h.locks.insert(rec);
    for (const Change &change : changes) {
        if (change.out) erase(change.index, *change.out, rec);
        if (change.in) insert(change.index, *change.in, rec);
    }
    note("rr", rec);
    record(rec) = kept(o, mask);
    note("ww", rec);
    h.slot = record(rec);
    o.recnum = rec;
    return o;
}

Outcome FileModel::removeRecord(Handle &h, Outcome o, long rec) {
    Outcome check = refused(h, o, rec);
    if (check.err != 107 && rec >= 1 && rec <= last() && !(h.lockCheck && h.locks.count(rec) == 0))
        h.slot = record(rec);
    if (!check.ok()) return check;
    if (h.logged && kOneImage + static_cast<int>(record(rec).bytes.size()) > kLongestLogRecord) return o.fail(121);
    for (std::size_t i = 0; i < indexes_.size(); ++i) {
        Key key = makeKey(indexes_[i].spec, record(rec).bytes.data());
        if (inIndex(i, key, record(rec).mask)) erase(i, key, rec);
    }
    note("dd", rec);
    record(rec).live = false;
    if (!precious_) free_.push_back(rec);
    h.locks.erase(rec);
    return o;
}

Outcome FileModel::rewriteByKey(Handle &h, Outcome o) {
    if (pure()) return o.fail(102);
    if (indexes_.empty() || indexes_[0].spec.duplicates()) return o.fail(127);
    long rec = recordByKey(o.record);
    return rec == 0 ? o.fail(111) : changeRecord(h, o, rec);
}

Outcome FileModel::rewriteRecord(Handle &h, Outcome o, long rec) {
    return pure() ? o.fail(102) : changeRecord(h, o, rec);
}

Outcome FileModel::rewriteCurrent(Handle &h, Outcome o) {
    return pure() ? rewritePure(h, o) : changeRecord(h, o, currentRecord(h));
}

Outcome FileModel::rewriteNext(Handle &h, Outcome o) {
    long rec = currentRecord(h);
    bool moved = locate(h, o, ISNEXT, 0, false);
    o = pure() ? rewritePure(h, o) : changeRecord(h, o, rec);
    return o.ok() && !moved ? o.fail(110) : o;
}

Outcome FileModel::rewritePure(Handle &h, Outcome o) {
    Index &in = indexes_[0];
    const Position &at = h.positions[0];
    Standing now = standing(in, at, false);
    if (now.kind == 0 || in.entries[now.entry].key != at.key) return o.fail(112);
    Key key = makeKey(in.spec, o.record.data());
    if (key == at.key && o.recnum == at.rec) return o;
    if (key != at.key && !in.spec.duplicates() && holdsKey(0, key)) return o.fail(100);
    in.entries.erase(in.entries.begin() + static_cast<std::ptrdiff_t>(now.entry));
    insert(0, key, o.recnum);
    return o;
}

Outcome FileModel::deleteByKey(Handle &h, Outcome o) {
    if (indexes_.empty() || indexes_[0].spec.duplicates()) return o.fail(127);
    Key key = makeKey(indexes_[0].spec, o.record.data());
    if (!holdsKey(0, key)) return o.fail(111);
    if (!pure()) return removeRecord(h, o, recordByKey(o.record));
    erase(0, key, recordByKey(o.record));
    return o;
}

Outcome FileModel::deleteRecord(Handle &h, Outcome o, long rec) {
    return pure() ? o.fail(102) : removeRecord(h, o, rec);
}

Outcome FileModel::deleteCurrent(Handle &h, Outcome o) {
    if ((h.state & kNoCurrent) != 0) return o.fail(112);
    if (!pure()) return removeRecord(h, o, currentRecord(h));
    Index &in = indexes_[0];
    Standing now = standing(in, h.positions[0], false);
    if (now.kind == 0 || in.entries[now.entry].key != h.positions[0].key) return o.fail(112);
    in.entries.erase(in.entries.begin() + static_cast<std::ptrdiff_t>(now.entry));
    return o;
}

Outcome FileModel::uniqueId(Outcome o) {
    o.value = uniqueId_;
    uniqueId_ = uniqueId_ == 2147483647L ? 1 : uniqueId_ + 1;
    return o;
}

Outcome FileModel::setUnique(Outcome o, long value) {
    uniqueId_ = value;
    return o;
}

Outcome FileModel::precious(Outcome o, bool on) {
    if (on && !precious_) free_.clear();
    if (!on && precious_)
        for (long n = last(); n >= 1; --n)
            if (!record(n).live) free_.push_back(n);
    precious_ = on;
    return o;
}

Outcome FileModel::addIndex(Handle &h, Outcome o, const KeyDesc &key) {
    if (!indexes_.empty()) {
        if (key.nparts == 0) return o.fail(109);
        if (pure()) return o.fail(102);
        if (indexes_.size() >= ISMAXINDEXES) return o.fail(103);
        if (!masked() && find(key) >= 0) return o.fail(108);
    }
    if (!acceptable(key, recordLength())) return o.fail(103);
    if (handles_.size() > 1) return o.fail(113);
    std::size_t number = indexes_.size();
    Index index{testing_support::specOf(key), {}};
    for (long n = 1; n <= last(); ++n) {
        h.slot = record(n);
        // One below the bit that writes use.
        if (!record(n).live || (masked() && (record(n).mask >> ((number + 31) % 32) & 1U) != 0)) continue;
        Key made = makeKey(index.spec, record(n).bytes.data());
        if (testing_support::isNullKey(index.spec, made)) continue;
        std::size_t at = upper(index, made, index.spec.keyLength);
        if (!index.spec.duplicates() && at > 0 && index.entries[at - 1].key == made) return o.fail(100);
        index.entries.insert(index.entries.begin() + static_cast<std::ptrdiff_t>(at), Entry{made, n, 0});
    }
    Position at;
    at.key.assign(static_cast<std::size_t>(index.spec.keyLength), '\0');
    at.startLength = at.searchLength = index.spec.keyLength;
    indexes_.push_back(index);
    h.positions.push_back(at);
    return o;
}

Outcome FileModel::dropIndex(Handle &h, Outcome o, const KeyDesc &key) {
    if (indexes_.size() == (noPrimary_ ? 0U : 1U)) return o.fail(109);
    int found = find(key);
    if (found < 0 || found == static_cast<int>(indexes_.size())) return o.fail(103);
    if (handles_.size() > 1) return o.fail(113);
    indexes_.erase(indexes_.begin() + found);
    h.positions.erase(h.positions.begin() + found);
    if (h.current == indexes_.size() && h.current > 0) --h.current;
    return o;
}

}  // namespace model
