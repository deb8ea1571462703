// A file set like the one of the run, filled from it, compared and removed again.
#include "driver.h"

#include "file_compare.h"

#include <algorithm>
#include <cerrno>
#include <filesystem>

namespace model {

namespace {

std::string text(int value) { return std::to_string(value); }

bool isThere(const std::string &base) {
    return std::filesystem::exists(base + ".idx") || std::filesystem::exists(base + ".dat");
}

}  // namespace

// Returns the descriptor of the empty copy, -1 after a difference.
int Driver::makeCopy(std::size_t handle) {
    int fd = fds_[handle];
    std::string name = dir_.file("copy");
    if (random_.percent(10)) {
        Outcome in = prepare({}, someRecnum());
        pending_ = "isclone " + text(fd) + " under its own name";
        settle(pending_, in.fail(EEXIST), collect(isclone(fd, base_.c_str()) < 0 ? -1 : 0, {}));
        if (iserrio != 0x21) fail(pending_ + ": iserrio " + text(iserrio));
    }
    prepare({}, someRecnum());
    pending_ = "isclone " + text(fd);
    Outcome expected;
    expected.reclen = shape_.recordLength;
    int to = isclone(fd, name.c_str());
    settle(pending_, expected, collect(to < 0 ? -1 : 0, {}));
    int mode = 0;
    int modeOf = 0;
    isgetmode(fd, &mode);
    isgetmode(to, &modeOf);
    if (to != lowestFreeFd() || modeOf != mode)
        fail(pending_ + " gives descriptor " + text(to) + " of mode " + text(modeOf) + ", should be " +
             text(lowestFreeFd()) + " of mode " + text(mode));
    checkHandle(handle, pending_);
    return to;
}

void Driver::compareCopy(int to, const FileModel &copy, testing_support::FileReader *reader) {
    std::string wrong = compareSound(to, reader, copy);
    if (!wrong.empty()) fail("the copy after " + pending_ + ": " + wrong);
}

void Driver::fillCopy(std::size_t handle, int to, const KeyDesc *given, FileModel *copy) {
    Handle &h = model_.handle(handle);
    KeyDesc key = given == nullptr ? KeyDesc{} : *given;
    int order = model_.orderOf(h, given);
    long mask = random_.below(16);
    issetmask(to, mask);
    long before = copy->last();
    Outcome in = prepare({}, someRecnum());
    pending_ = "iscopy to " + text(to) + " from " + text(fds_[handle]) + " by " + describeOrder(given);
    Outcome expected = order < 0 ? in.fail(103) : copy->copyFrom(model_, static_cast<std::size_t>(order), in);
    settle(pending_, expected, collect(iscopy(to, fds_[handle], given == nullptr ? nullptr : &key), {}));
    if (isgetmask(to) != mask) fail(pending_ + ": mask");
    statistics_->copiedRecords += copy->last() - before;
    model_.loseSlot(h);
    checkHandle(handle, pending_);
}

// Takes out some records, mostly of those that were copied first: another copy in the same order goes further before it
// meets a record that is there. The next records take the numbers that become free.
void Driver::thinOut(int to, FileModel *copy) {
    for (int times = random_.below(4); times > 0 && !failed_ && copy->last() > 0; --times) {
        long most = random_.percent(60) ? std::min(copy->last(), 3L) : copy->last();
        long rec = random_.between(1, static_cast<int>(most));
        Outcome in = prepare({}, someRecnum());
        pending_ = "isdelrec " + text(to) + " record " + text(static_cast<int>(rec)) + " of the copy";
        settle(pending_, copy->deleteRecord(copy->handle(0), in, rec), collect(isdelrec(to, rec), {}));
    }
}

void Driver::eraseCopy(int to) {
    std::string name = dir_.file("copy");
    if (random_.percent(20)) {
        Outcome in = prepare({}, someRecnum());
        pending_ = "iserase of an open file";
        settle(pending_, in.fail(113), collect(iserase(name.c_str()), {}));
    }
    pending_ = "isclose of the copy";
    Outcome in = prepare({}, someRecnum());
    settle(pending_, in, collect(isclose(to), {}));
    if (random_.percent(50)) {
        std::string other = dir_.file("renamed");
        in = prepare({}, someRecnum());
        pending_ = "isrename of the copy";
        settle(pending_, in, collect(isrename(name.c_str(), other.c_str()), {}));
        if (isThere(name)) fail(pending_ + ": the files have their old name");
        name = other;
    }
    pending_ = "iserase of the copy";
    in = prepare({}, someRecnum());
    settle(pending_, in, collect(iserase(name.c_str()), {}));
    if (isThere(name)) fail(pending_ + ": the files are there");
}

void Driver::randomCopy() {
    if (largeToday()) return;
    std::size_t handle = someHandle();
    int to = makeCopy(handle);
    if (failed_) return;
    FileModel copy = model_.emptyLike();
    testing_support::FileReader reader(dir_.file("copy"));
    compareCopy(to, copy, &reader);
    KeyDesc key{};
    const KeyDesc *order = someOrder(&key);
    for (int times = random_.between(1, 2); times > 0 && !failed_; --times) {
        fillCopy(handle, to, order, &copy);
        if (random_.percent(30)) order = someOrder(&key);
        if (!failed_ && times > 1) thinOut(to, &copy);
        if (!failed_) compareCopy(to, copy, &reader);
    }
    if (!failed_ && random_.percent(20)) {
        Outcome in = prepare({}, someRecnum());
        pending_ = "iscopy " + text(fds_[handle]) + " onto its own file";
        settle(pending_, in.fail(102), collect(iscopy(fds_[handle], fds_[someHandle()], nullptr), {}));
    }
    if (!failed_) eraseCopy(to);
}

}  // namespace model
