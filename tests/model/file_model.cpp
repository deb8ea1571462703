// The model's facts, handles and locks.
#include "file_model.h"

#include <algorithm>

namespace model {

using testing_support::compareKeys;
using testing_support::makeKey;
using testing_support::specOf;

namespace {

constexpr long kAnySlot = -2;

}  // namespace

FileModel::FileModel(const Format &format, const KeyDesc &primary) : format_(format), noPrimary_(primary.nparts == 0) {
    if (!noPrimary_) indexes_.push_back({specOf(primary), {}});
}

long FileModel::liveCount() const {
    return static_cast<long>(std::count_if(records_.begin(), records_.end(), [](const Record &r) { return r.live; }));
}

int FileModel::find(const KeyDesc &key) const {
    if (key.nparts == 0) return static_cast<int>(indexes_.size());
    for (std::size_t i = indexes_.size(); i-- > 0;) {
        const IndexSpec &spec = indexes_[i].spec;
        bool same = static_cast<int>(spec.parts.size()) == key.nparts && ((spec.flags ^ key.flags) & ISNULLKEY) == 0;
        for (std::size_t p = 0; same && p < spec.parts.size(); ++p)
            same = spec.parts[p].start == key.parts[p].start && spec.parts[p].length == key.parts[p].length &&
                   spec.parts[p].type == key.parts[p].type;
        if (same) return static_cast<int>(i);
    }
    return -1;
}

std::size_t FileModel::lower(const Index &index, const Key &key, int length) const {
    auto at = std::partition_point(index.entries.begin(), index.entries.end(), [&](const Entry &entry) {
        return compareKeys(index.spec, entry.key, key, length) < 0;
    });
    return static_cast<std::size_t>(at - index.entries.begin());
}

std::size_t FileModel::upper(const Index &index, const Key &key, int length) const {
    auto at = std::partition_point(index.entries.begin(), index.entries.end(), [&](const Entry &entry) {
        return compareKeys(index.spec, entry.key, key, length) <= 0;
    });
    return static_cast<std::size_t>(at - index.entries.begin());
}

std::optional<std::size_t> FileModel::findEntry(const Index &index, const Key &key, long rec) const {
    for (std::size_t i = lower(index, key, index.spec.keyLength);
         i < index.entries.size() && index.entries[i].key == key; ++i)
        if (index.entries[i].rec == rec) return i;
    return std::nullopt;
}

bool FileModel::holdsKey(std::size_t index, const Key &key) const {
    const Index &in = indexes_[index];
    std::size_t i = lower(in, key, in.spec.keyLength);
    return i < in.entries.size() && in.entries[i].key == key;
}

bool FileModel::detached(const Handle &h, std::size_t index) const {
    const Index &in = indexes_[index];
    const Position &at = h.positions[index];
    if (!pure() && at.rec == 0) return false;
    Standing now = standing(in, at, false);
    if (now.kind != 0) {
        const Entry &entry = in.entries[now.entry];
        if (entry.rec == at.rec && entry.serial == at.serial && entry.key == at.key) return false;
    }
    return std::any_of(in.entries.begin(), in.entries.end(),
                       [&](const Entry &entry) { return entry.rec == at.rec && entry.serial == at.serial; });
}

bool FileModel::inIndex(std::size_t index, const Key &key, std::uint32_t mask) const {
    return !(masked() && (mask >> index & 1U) != 0) && !testing_support::isNullKey(indexes_[index].spec, key);
}

bool FileModel::foreseeable(const Handle &h, long recnum) const {
    if (!indexed(h) && h.slot.stamp == kAnySlot) return false;
    if (!variable() || (!indexed(h) && h.slot.stamp == 0)) return true;
    if (indexed(h)) return recnum < 1 || recnum > last() || live(recnum);
    return std::any_of(records_.begin(), records_.end(),
                       [&](const Record &r) { return r.live && r.stamp == h.slot.stamp; });
}

long FileModel::newest() const {
    auto at = std::max_element(records_.begin(), records_.end(),
                               [](const Record &a, const Record &b) { return a.stamp < b.stamp; });
    return static_cast<long>(at - records_.begin()) + 1;
}

void FileModel::forgetSlot(Handle &h) const {
    if (h.slot.stamp != kAnySlot) h.slot.stamp = -1;
}

void FileModel::loseSlot(Handle &h) const { h.slot.stamp = kAnySlot; }

bool FileModel::masksConsistent() const {
    for (std::size_t i = 0; i < indexes_.size(); ++i)
        for (long n = 1; n <= last(); ++n) {
            if (!record(n).live) continue;
            Key key = makeKey(indexes_[i].spec, record(n).bytes.data());
            if (inIndex(i, key, record(n).mask) != findEntry(indexes_[i], key, n).has_value()) return false;
        }
    return true;
}

bool FileModel::masksConsistentWithout(std::size_t index) const {
    FileModel copy = *this;
    copy.indexes_.erase(copy.indexes_.begin() + static_cast<std::ptrdiff_t>(index));
    return copy.masksConsistent();
}

void FileModel::setUpPositions(Handle &h) const {
    h.positions.clear();
    for (const Index &index : indexes_) {
        Position at;
        at.key.assign(static_cast<std::size_t>(index.spec.keyLength), '\0');
        at.startLength = at.searchLength = index.spec.keyLength;
        h.positions.push_back(at);
    }
    h.slot.bytes.assign(static_cast<std::size_t>(recordLength()), 0);
}

void FileModel::openAfterBuild(bool exclusive) {
    handles_.assign(1, Handle{});
    handles_[0].exclusive = exclusive;
    setUpPositions(handles_[0]);
}

Outcome FileModel::open(std::size_t handle, bool exclusive) {
    Handle &h = handles_[handle];
    h = Handle{};
    h.exclusive = exclusive;
    setUpPositions(h);
    Outcome o;
    o.reclen = format_.maximumLength;
    if (noPrimary_) {
        h.current = static_cast<std::uint32_t>(indexes_.size());
        h.natural = 1;
        o.recnum = 1;
    } else {
        locateIndexed(h, o, ISFIRST, 0, false);
    }
    h.state = kNextStays;
    return o;
}

long FileModel::recordByKey(const Buffer &record) const {
    if (indexes_.empty()) return 0;
    const Index &in = indexes_[0];
    Key key = makeKey(in.spec, record.data());
    std::size_t i = lower(in, key, in.spec.keyLength);
    return i < in.entries.size() && in.entries[i].key == key ? in.entries[i].rec : 0;
}

long FileModel::currentRecord(const Handle &h) const { return indexed(h) ? h.positions[h.current].rec : h.natural; }

std::string FileModel::describePosition(const Handle &h) const {
    std::string out = "state " + std::to_string(h.state) + ", ";
    if (!indexed(h)) return out + "record-number order at " + std::to_string(h.natural) + "\n";
    const Index &in = indexes_[h.current];
    const Position &at = h.positions[h.current];
    out += "index " + std::to_string(h.current) + " (" + testing_support::describe(in.spec) + ") at key " +
           testing_support::hex(at.key) + " record " + std::to_string(at.rec) + " serial " + std::to_string(at.serial) +
           ", lengths " + std::to_string(at.startLength) + " " + std::to_string(at.searchLength) + "\n";
    std::size_t middle = lower(in, at.key, in.spec.keyLength);
    std::size_t end = std::min(in.entries.size(), upper(in, at.key, in.spec.keyLength) + 3);
    for (std::size_t i = middle > 3 ? middle - 3 : 0; i < end; ++i)
        out += "  entry " + std::to_string(i) + " " + testing_support::hex(in.entries[i].key) + " record " +
               std::to_string(in.entries[i].rec) + " serial " + std::to_string(in.entries[i].serial) + "\n";
    return out + "  of " + std::to_string(in.entries.size()) + " entries\n";
}

bool FileModel::lockedByOther(const Handle &h, long rec) const {
    return std::any_of(handles_.begin(), handles_.end(), [&](const Handle &other) {
        return &other != &h && (rec == 0 ? !other.locks.empty() : other.locks.count(rec) != 0);
    });
}

Outcome FileModel::lockFile(const Handle &h, Outcome o) const { return lockedByOther(h, 0) ? o.fail(107) : o; }

Outcome FileModel::unlock(Handle &h, Outcome o) const {
    h.locks.clear();
    return o;
}

Outcome FileModel::releaseRecord(Handle &h, Outcome o, long rec) const {
    if (rec < 1) return o.fail(102);
    h.locks.erase(rec);
    return o;
}

std::vector<NewEntry> FileModel::takeNewEntries() {
    std::vector<NewEntry> out;
    out.swap(newEntries_);
    return out;
}

bool FileModel::setSerial(const NewEntry &entry, std::uint32_t serial) {
    Index &in = indexes_[entry.index];
    std::optional<std::size_t> at = findEntry(in, entry.key, entry.rec);
    if (!at) return false;
    in.entries[*at].serial = serial;
    bool risesFrom = *at == 0 || in.entries[*at - 1].key != entry.key || in.entries[*at - 1].serial < serial;
    bool isLast = *at + 1 == in.entries.size() || in.entries[*at + 1].key != entry.key;
    return risesFrom && isLast;
}

void FileModel::setSerials(std::size_t index, const std::vector<std::uint32_t> &serials) {
    for (std::size_t i = 0; i < serials.size() && i < indexes_[index].entries.size(); ++i)
        indexes_[index].entries[i].serial = serials[i];
}

}  // namespace model
