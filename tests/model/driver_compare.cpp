// Comparing a call's results, and the serials of equal keys.
#include "driver.h"

#include <algorithm>
#include <cstring>

namespace model {

using testing_support::FoundEntry;
using testing_support::InsertPoint;
using testing_support::makeKey;

namespace {

constexpr std::size_t kLogLines = 60;

std::string numbers(const Outcome &o) {
    return "result " + std::to_string(o.ret) + ", iserrno " + std::to_string(o.err) + ", isrecnum " +
           std::to_string(o.recnum) + ", isreclen " + std::to_string(o.reclen) + ", value " + std::to_string(o.value);
}

}  // namespace

// Sets the globals for a call and returns what the model gets to see of them.
Outcome Driver::prepare(const Buffer &record, long recnum, int reclen) {
    Outcome in;
    in.record = record;
    in.recnum = isrecnum = recnum;
    in.reclen = isreclen = reclen;
    iserrno = -1;
    return in;
}

Outcome Driver::collect(int ret, const Buffer &record, long value) const {
    Outcome out;
    out.ret = ret;
    out.err = iserrno;
    out.recnum = isrecnum;
    out.reclen = isreclen;
    out.record = record;
    out.value = value;
    return out;
}

bool Driver::same(const Outcome &expected, const Outcome &actual, std::string *why) const {
    if (expected.ret != actual.ret || expected.err != actual.err || expected.reclen != actual.reclen ||
        expected.value != actual.value || (expected.recnumKnown && expected.recnum != actual.recnum)) {
        *why = "expected " + numbers(expected) + "\n     got " + numbers(actual);
        return false;
    }
    if (expected.recordKnown && expected.record != actual.record) {
        auto differs = std::mismatch(expected.record.begin(), expected.record.end(), actual.record.begin()).first;
        *why = "record differs at byte " + std::to_string(differs - expected.record.begin()) + "\nexpected " +
               testing_support::hex({expected.record.begin(), expected.record.end()}) + "\n     got " +
               testing_support::hex({actual.record.begin(), actual.record.end()}) + "\n" + numbers(actual);
        return false;
    }
    return true;
}

void Driver::settle(const std::string &what, const Outcome &expected, const Outcome &actual) {
    log_.push_back(what + ": " + numbers(actual));
    if (log_.size() > kLogLines) log_.pop_front();
    if (actual.err == 132) ++statistics_->tooLong;
    if (!scanning_) ++(actual.ok() ? statistics_->succeeded : statistics_->failed)[what.substr(0, what.find(' '))];
    std::string why;
    if (!same(expected, actual, &why)) fail(what + "\n" + why);
}

// What the accessors tell of a handle after a call.
void Driver::checkHandle(std::size_t handle, const std::string &what) {
    if (failed_) return;
    const Handle &h = model_.handle(handle);
    int fd = fds_[handle];
    auto current = static_cast<std::uint32_t>(isqv_curidx(fd));
    if (model_.indexed(h) ? current != h.current : current < model_.keyCount())
        fail(what + ": current index is " + std::to_string(current) + ", should be " + std::to_string(h.current));
    if (static_cast<std::uint32_t>(isgetmask(fd)) != h.mask)
        fail(what + ": mask is " + std::to_string(isgetmask(fd)) + ", should be " + std::to_string(h.mask));
    if (model_.indexed(h)) {
        const Key &key = h.positions[h.current].key;
        const void *seen = isseekey(fd);
        if (seen == nullptr || std::memcmp(seen, key.data(), key.size()) != 0)
            fail(what + ": remembered key is not " + testing_support::hex(key));
    }
}

// Finds the serials that a write of the record will give. False when an equal key would not come last by its
// serial: the rule looks no further than the leaf and its parent.
bool Driver::predict(std::size_t handle, const Buffer &record, std::vector<Prediction> *out) {
    const Handle &h = model_.handle(handle);
    std::vector<std::string> ignored;
    bool fresh = false;
    for (std::size_t i = 0; i < model_.keyCount(); ++i) {
        const Index &index = model_.indexes()[i];
        Key key = makeKey(index.spec, record.data());
        if (!index.spec.duplicates() || (shape_.masked && (h.mask >> i & 1U) != 0) ||
            testing_support::isNullKey(index.spec, key))
            continue;
        if (!fresh) reader_->refresh(&ignored);
        fresh = true;
        InsertPoint at = reader_->insertPoint(reader_->indexes()[i], key);
        std::uint32_t serial = 0;
        if (at.position > 0)
            serial = at.before.key == key ? at.before.serial + 1 : 0;
        else if (at.parentChild > 0)
            serial = at.branch.serial + 1;
        Prediction prediction{i, serial, serial};
        if (index.spec.compressed() && at.position > 0 && at.position == at.leafEntries)
            prediction.other = at.before.serial + 1;  // when the leaf splits by appending
        out->push_back(prediction);
        if (at.position == 0 && model_.holdsKey(i, key)) {
            const std::vector<Entry> &entries = index.entries;
            auto last = std::find_if(entries.rbegin(), entries.rend(), [&](const Entry &e) { return e.key == key; });
            if (last != entries.rend() && last->serial >= serial) return false;
        }
    }
    return true;
}

// The same for a rewrite, whose deletion may still move the place of the new key.
bool Driver::riskyRewrite(std::size_t handle, const Buffer &record, long rec) {
    if (!model_.live(rec)) return false;
    const Handle &h = model_.handle(handle);
    std::vector<std::string> ignored;
    reader_->refresh(&ignored);
    for (std::size_t i = 0; i < model_.keyCount(); ++i) {
        const Index &index = model_.indexes()[i];
        Key key = makeKey(index.spec, record.data());
        if (!index.spec.duplicates() || (shape_.masked && (h.mask >> i & 1U) != 0) || !model_.holdsKey(i, key))
            continue;
        InsertPoint at = reader_->insertPoint(reader_->indexes()[i], key);
        if (at.levels >= 3 && ((at.position <= 1 && at.parentChild <= 1) || at.leafEntries <= 1)) return true;
    }
    return false;
}

void Driver::takeSerials(const std::vector<Prediction> *predictions) {
    std::vector<NewEntry> entries = model_.takeNewEntries();
    if (entries.empty() || failed_) return;
    std::vector<std::string> problems;
    reader_->refresh(&problems);
    for (const NewEntry &entry : entries) {
        std::string name = "index " + std::to_string(entry.index) + ", record " + std::to_string(entry.rec);
        if (entry.index >= reader_->indexes().size()) return fail(name + ": the file has no such index");
        FoundEntry found =
            reader_->lookup(reader_->indexes()[entry.index], entry.key, static_cast<std::uint32_t>(entry.rec));
        if (!found.found) return fail(name + ": no entry for key " + testing_support::hex(entry.key));
        if (!model_.setSerial(entry, found.entry.serial))
            return fail(name + ": serial " + std::to_string(found.entry.serial) + " does not rise");
        if (predictions == nullptr) continue;
        for (const Prediction &prediction : *predictions)
            if (prediction.index == entry.index && prediction.serial != found.entry.serial &&
                prediction.other != found.entry.serial)
                return fail(name + ": serial " + std::to_string(found.entry.serial) + ", should be " +
                            std::to_string(prediction.serial));
    }
}

// Takes over the serials of an index that has been added. False when equal keys do not rise.
bool Driver::takeAllSerials(std::size_t index) {
    testing_support::CheckOptions options;
    options.membership = false;
    options.serials = false;
    testing_support::CheckReport report = testing_support::checkFiles(*reader_, options);
    if (!report.clean() || index >= report.leaves.size()) {
        fail("structural check after adding an index:\n" + report.text());
        return false;
    }
    return adoptSerials(report, index);
}

// The same, the check having been made. Whether they rise or not, the model has them afterwards.
bool Driver::adoptSerials(const testing_support::CheckReport &report, std::size_t index) {
    const std::vector<Entry> &entries = model_.indexes()[index].entries;
    const std::vector<testing_support::TreeEntry> &leaves = report.leaves[index];
    bool equal = entries.size() == leaves.size();
    bool rises = true;
    std::vector<std::uint32_t> serials;
    for (std::size_t i = 0; equal && i < leaves.size(); ++i) {
        equal = leaves[i].key == entries[i].key && static_cast<long>(leaves[i].pointer) == entries[i].rec;
        serials.push_back(leaves[i].serial);
        rises = rises && (i == 0 || leaves[i].key != leaves[i - 1].key || leaves[i].serial > leaves[i - 1].serial);
    }
    if (!equal) fail("index " + std::to_string(index) + ", made anew, holds other entries than the model");
    if (model_.indexes()[index].spec.duplicates()) model_.setSerials(index, serials);
    return rises;
}

}  // namespace model
