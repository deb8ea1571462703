// Rebuilds and clustering: library and model side by side, then the file against the model.
#include "driver.h"

#include "file_compare.h"
#include "whole_file.h"

#include "support/key_desc.h"

#include "isam_maint.h"

#include <algorithm>
#include <filesystem>
#include <memory>

namespace model {

namespace {

constexpr std::size_t kManyEntries = 400;  // in all indexes together

std::string text(int value) { return std::to_string(value); }

}  // namespace

// Work on a whole file takes as long as hundreds of other calls: where there is much of it, it is left out mostly.
bool Driver::largeToday() {
    std::size_t entries = model_.records().size();
    for (const Index &index : model_.indexes())
        entries += index.entries.size();
    return entries > kManyEntries && random_.percent(85);
}

void Driver::randomWholeFile() {
    int kind = random_.below(100);
    if (kind < 20) return randomRebuildFree();
    if (kind < 50) return randomRebuildIndex();
    if (kind < 75) return randomCluster();
    randomCopy();
}

int Driver::lowestFreeFd() const {
    int fd = 0;
    while (std::find(fds_.begin(), fds_.end(), fd) != fds_.end())
        ++fd;
    return fd;
}

// An index, record-number order, that of the handle (null), or an index that there is not.
const KeyDesc *Driver::someOrder(KeyDesc *key) {
    *key = descOf(static_cast<std::size_t>(random_.below(static_cast<int>(descs_.size()) + 1)));
    if (random_.percent(8)) *key = testing_support::keyDesc(ISNODUPS, {{0, 1, CHARTYPE | ISDESC}, {0, 1}, {0, 1}});
    return random_.percent(25) ? nullptr : key;
}

std::string Driver::describeOrder(const KeyDesc *key) const {
    return key == nullptr ? "its own order" : "index " + text(model_.find(*key));
}

void Driver::settleRebuild(const Outcome &expected, int done, int fd, std::uint32_t counter) {
    IsamFile *file = isAdmItoD(fd);
    Outcome actual = collect(done == 1 ? 0 : -1, {});
    if (iserrno != -1 || isErrio(file) != 0) fail(pending_ + ": iserrno or isErrio");
    actual.err = isErrno(file);
    settle(pending_, expected, actual);
    if (changeCounter() != counter) fail(pending_ + ": change counter");
}

void Driver::randomRebuildFree() {
    std::size_t handle = someHandle();
    int list = random_.percent(5) ? ISFREE_INDEX : ISFREE_DATA;
    std::uint32_t counter = changeCounter();
    Outcome in = prepare({}, someRecnum());
    pending_ = "isRebuildFree " + text(fds_[handle]) + " list " + text(list);
    Outcome expected = model_.rebuildFree(in, list);
    if (expected.ok() && !model_.precious()) ++counter;
    settleRebuild(expected, isRebuildFree(isAdmItoD(fds_[handle]), list), fds_[handle], counter);
    checkHandle(handle, pending_);
    if (!failed_ && expected.ok() && !largeToday()) checkStructure();
}

void Driver::randomRebuildIndex() {
    if (largeToday()) return;
    std::size_t handle = someHandle();
    auto indexes = static_cast<int>(model_.keyCount());
    int number = random_.percent(8) ? random_.between(-1, indexes + 1) : random_.between(1, std::max(1, indexes));
    Kept before = keep();
    bool rebuilt = rebuild(handle, number).ok();
    if (failed_ || !rebuilt) return;
    adoptFile(before);
    model_.followEntry(model_.handle(handle), static_cast<std::size_t>(number - 1));
}

Outcome Driver::rebuild(std::size_t handle, int number) {
    std::uint32_t counter = changeCounter();
    Outcome in = prepare({}, someRecnum());
    pending_ = "isRebuildIdx " + text(fds_[handle]) + " number " + text(number);
    Outcome expected = model_.rebuildIndex(model_.handle(handle), in, number);
    if (expected.err != 102) ++counter;
    settleRebuild(expected, isRebuildIdx(isAdmItoD(fds_[handle]), number), fds_[handle], counter);
    checkHandle(handle, pending_);
    return expected;
}

// An index that has been added with other records than the masks tell is copied by now and then, and mostly rebuilt:
// then it has those that they tell, or those before two that share a key. False when equal keys do not rise.
bool Driver::settleMasks(std::size_t handle, std::size_t index) {
    if (random_.percent(30)) randomCopy();
    if (!failed_ && random_.percent(20)) randomCluster();
    if (failed_ || random_.percent(30) || model_.masksConsistent()) return true;
    rebuild(handle, static_cast<int>(index) + 1);
    if (failed_ || !takeAllSerials(index)) return false;
    model_.followEntry(model_.handle(handle), index);
    return true;
}

// Gives the files their bytes of before, and opens them again.
void Driver::takeBack(const Kept &kept) {
    ++statistics_->takenBack;
    std::size_t handles = fds_.size();
    bool exclusive = model_.handle(0).exclusive;
    closeAll();
    spill(base_ + ".idx", kept.index);
    if (!shape_.pure()) spill(base_ + ".dat", kept.data);
    model_ = kept.model;
    for (std::size_t i = 0; i < handles; ++i) {
        prepare({}, 0);
        pending_ = "open again " + text(static_cast<int>(i));
        Outcome expected = model_.open(i, exclusive);
        fds_.push_back(isopen(base_.c_str(), ISINOUT | (exclusive ? ISLOCKEXCL : ISLOCKMANUAL) | openFlags()));
        settle(pending_, expected, collect(fds_.back() < 0 ? -1 : 0, {}));
    }
}

// Compares the file, some of whose indexes have been made anew, and takes over their serials. Where those of equal keys
// do not rise, no position among them could be foretold any more.
void Driver::adoptFile(const Kept &before) {
    testing_support::CheckOptions options;
    options.serials = false;
    testing_support::CheckReport report = testing_support::checkFiles(*reader_, options);
    if (!report.clean()) return fail("structural check after " + pending_ + ":\n" + report.text());
    bool rises = true;
    for (std::size_t i = 0; i < model_.keyCount() && !failed_; ++i)
        rises = adoptSerials(report, i) && rises;
    if (failed_) return;
    std::string wrong = compareFile(*reader_, report, model_, Equals::kSerials);
    if (!wrong.empty()) return fail("after " + pending_ + ": " + wrong);
    if (askLibrary(report) && !rises) takeBack(before);
}

void Driver::randomCluster() {
    if (largeToday()) return;
    std::size_t handle = someHandle();
    KeyDesc key{};
    const KeyDesc *order = someOrder(&key);
    int fd = fds_[handle];
    int mode = 0;
    isgetmode(fd, &mode);
    Kept before = keep();
    Outcome in = prepare({}, someRecnum());
    pending_ = "iscluster " + text(fd) + " by " + describeOrder(order);
    Outcome expected = model_.cluster(handle, in, order);
    int made = iscluster(fd, order == nullptr ? nullptr : &key);
    settle(pending_, expected, collect(made < 0 ? -1 : 0, {}));
    if (made >= 0) fds_.erase(fds_.begin() + static_cast<std::ptrdiff_t>(handle));
    int wanted = lowestFreeFd();
    if (made >= 0) fds_.insert(fds_.begin() + static_cast<std::ptrdiff_t>(handle), made);
    if (failed_ || !expected.ok()) return checkHandle(handle, pending_);
    if (made != wanted) fail(pending_ + ": descriptor " + text(made) + ", should be " + text(wanted));
    int modeNow = 0;
    if (isgetmode(made, &modeNow) != 0 || modeNow != mode) fail(pending_ + ": mode " + text(modeNow));
    checkHandle(handle, pending_);
    for (const auto &file : std::filesystem::directory_iterator(dir_.path()))
        if (file.path().filename().string().rfind("ist", 0) == 0) fail(pending_ + ": leaves " + file.path().string());
    statistics_->clusteredRecords += model_.last();
    reader_ = std::make_unique<testing_support::FileReader>(base_);
    adoptFile(before);
}

}  // namespace model
