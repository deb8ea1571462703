// The model's calls on whole files.
#include "file_model.h"

#include "isam_maint.h"

#include <algorithm>
#include <optional>

namespace model {

using testing_support::makeKey;

Outcome FileModel::userInfo(Outcome o, int direction, Buffer *info) {
    if (direction != 0 && direction != 1) return o.fail(102);
    if (direction == 0)
        *info = userInfo_;
    else
        userInfo_ = *info;
    return o;
}

Outcome FileModel::rebuildFree(Outcome o, int list) {
    if (precious_) return o;
    if (pure() || list != ISFREE_DATA) return o.fail(102);
    free_.clear();
    for (long n = last(); n >= 1; --n)
        if (!record(n).live) free_.push_back(n);
    return o;
}

Outcome FileModel::rebuildIndex(Handle &h, Outcome o, int number) {
    if (pure() || number < 1 || number > static_cast<int>(indexes_.size())) return o.fail(102);
    auto at = static_cast<std::size_t>(number - 1);
    indexes_[at].entries.clear();
    for (long n = 1; n <= last(); ++n) {
        if (!record(n).live) continue;
        Key key = makeKey(indexes_[at].spec, record(n).bytes.data());
        if (!inIndex(at, key, record(n).mask)) continue;
        if (!indexes_[at].spec.duplicates() && holdsKey(at, key)) {
            o.fail(100);
            break;
        }
        insert(at, key, n);
    }
    newEntries_.clear();
    loseSlot(h);
    return o;
}

void FileModel::followEntry(Handle &h, std::size_t index) const {
    Position &at = h.positions[index];
    if (std::optional<std::size_t> entry = findEntry(indexes_[index], at.key, at.rec))
        at.serial = indexes_[index].entries[*entry].serial;
}

int FileModel::orderOf(const Handle &h, const KeyDesc *key) const {
    return key != nullptr ? find(*key) : static_cast<int>(std::min<std::size_t>(h.current, indexes_.size()));
}

std::vector<long> FileModel::recordsIn(std::size_t order) const {
    std::vector<long> out;
    std::vector<bool> seen(records_.size());
    if (order < indexes_.size())
        for (const Entry &entry : indexes_[order].entries) {
            out.push_back(entry.rec);
            seen[static_cast<std::size_t>(entry.rec - 1)] = true;
        }
    for (long n = 1; n <= last(); ++n)
        if (record(n).live && !seen[static_cast<std::size_t>(n - 1)]) out.push_back(n);
    return out;
}

FileModel FileModel::emptyLike() const {
    FileModel out(format_, KeyDesc{});
    out.noPrimary_ = noPrimary_;
    for (const Index &index : indexes_)
        out.indexes_.push_back({index.spec, {}});
    out.openAfterBuild(false);
    return out;
}

Outcome FileModel::copyFrom(const FileModel &from, std::size_t order, Outcome o) {
    if (pure()) {
        if (order >= from.indexes_.size()) return o;
        for (const Entry &entry : from.indexes_[order].entries) {
            if (!indexes_[0].spec.duplicates() && holdsKey(0, entry.key)) return o.fail(100);
            insert(0, entry.key, entry.rec);
        }
        return o;
    }
    Handle through;
    setUpPositions(through);
    for (long n : from.recordsIn(order)) {
        const Record &source = from.record(n);
        Outcome one;
        one.record = source.bytes;
        one.reclen = static_cast<int>(source.bytes.size());
        through.mask = masked() && from.masked() ? source.mask : 0;
        one = write(through, one, Write::kPlain);
        if (!one.ok()) return o.fail(one.err);
    }
    return o;
}

Outcome FileModel::cluster(std::size_t handle, Outcome o, const KeyDesc *key) {
    if (pure()) return o.fail(102);
    if (!handles_[handle].exclusive) return o.fail(106);
    int order = orderOf(handles_[handle], key);
    if (order < 0) return o.fail(103);
    FileModel made = emptyLike();
    Outcome copied = made.copyFrom(*this, static_cast<std::size_t>(order), {});
    if (!copied.ok()) return o.fail(copied.err);
    indexes_ = made.indexes_;
    records_ = made.records_;
    stamps_ = made.stamps_;
    free_.clear();
    return open(handle, true);
}

}  // namespace model
