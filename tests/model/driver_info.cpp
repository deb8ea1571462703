// What a handle and its file tell of themselves.
#include "driver.h"

#include "support/key_desc.h"

#include <string>
#include <sys/stat.h>

namespace model {

namespace {

constexpr int kNoDescriptor = 4711;

std::string text(int value) { return std::to_string(value); }
std::string text(long value) { return std::to_string(value); }

bool isOpenOn(int fd, const std::string &path) {
    struct stat open {};
    struct stat named {};
    return fstat(fd, &open) == 0 && stat(path.c_str(), &named) == 0 && open.st_dev == named.st_dev &&
           open.st_ino == named.st_ino;
}

bool knowsNoOther() {
    return isqv_name(kNoDescriptor) == nullptr && isqv_datlen(kNoDescriptor) == -1 &&
           isqv_curidx(kNoDescriptor) == -1 && isqv_idxfd(kNoDescriptor) == -1 && isqv_datfd(kNoDescriptor) == -1 &&
           isqv_kdsc(kNoDescriptor) == nullptr && isseekey(kNoDescriptor) == nullptr &&
           is_recnum(kNoDescriptor) == &isrecnum && is_reclen(kNoDescriptor) == &isreclen &&
           is_errno(kNoDescriptor) == &iserrno && is_errio(kNoDescriptor) == &iserrio;
}

}  // namespace

void Driver::randomInformation() {
    std::size_t handle = someHandle();
    int fd = fds_[handle];
    Outcome in = prepare({}, someRecnum());
    pending_ = "isisaminfo " + text(fd);
    DictInfo info{};
    int ret = isisaminfo(fd, &info);
    if (shape_.variable()) in.reclen = shape_.recordLength;
    settle(pending_, in, collect(ret, {}));
    long free = model_.precious() ? 0 : model_.last() - model_.liveCount();
    std::size_t keys = model_.keyCount() + (model_.noPrimary() ? 1 : 0) + (shape_.variable() ? 0x8000 : 0);
    int longest = shape_.variable() ? shape_.maximumLength : shape_.recordLength;
    if (info.keyCount != keys || info.recordLength != longest || info.nodeSize != 1024 ||
        info.recordCount != model_.last() - free)
        fail(pending_ + ": " + text(info.keyCount) + " indexes, " + text(info.recordCount) + " records, should be " +
             text(model_.last() - free));
    int number = random_.between(1, static_cast<int>(model_.keyCount()) + 1);
    KeyDesc key{};
    in = prepare({}, someRecnum());
    pending_ = "isindexinfo " + text(fd) + " number " + text(number);
    if (number > static_cast<int>(model_.keyCount())) in.fail(102);
    ret = isindexinfo(fd, &key, number);
    settle(pending_, in, collect(ret, {}));
    compareAccessors(handle);
    if (failed_ || !in.ok()) return;
    auto index = static_cast<std::size_t>(number - 1);
    std::vector<std::string> ignored;
    reader_->refresh(&ignored);
    if (!testing_support::sameKeyDesc(key, descs_[index]) || key.keyLength != model_.indexes()[index].spec.keyLength ||
        key.rootNode != reader_->indexes()[index].root)
        fail(pending_ + ": another description than given");
}

// After a call on the handle.
void Driver::compareAccessors(std::size_t handle) {
    const Handle &h = model_.handle(handle);
    int fd = fds_[handle];
    const std::string where = "accessors of " + text(fd) + ": ";
    const char *name = isqv_name(fd);
    if (name == nullptr || name != base_ || isqv_datlen(fd) != shape_.recordLength) fail(where + "name or length");
    bool data = shape_.pure() ? isqv_datfd(fd) == -1 : isOpenOn(isqv_datfd(fd), base_ + ".dat");
    if (!data || !isOpenOn(isqv_idxfd(fd), base_ + ".idx")) fail(where + "system descriptors");
    const KeyDesc *key = isqv_kdsc(fd);
    if (!model_.indexed(h) ? key != nullptr || isseekey(fd) != nullptr
                           : key == nullptr || !testing_support::sameKeyDesc(*key, descs_[h.current]))
        fail(where + "current index");
    if (*is_recnum(fd) != isrecnum || *is_reclen(fd) != isreclen || *is_errno(fd) != iserrno ||
        *is_errio(fd) != iserrio)
        fail(where + "results of the last call");
    if (isflush(fd) != 0 || isflush(-1) != -1) fail(where + "isflush");
    if (!knowsNoOther()) fail("accessors of no file");
}

void Driver::randomUserInfo() {
    std::size_t handle = someHandle();
    int fd = fds_[handle];
    int direction = random_.percent(10) ? random_.between(-1, 2) : random_.below(2);
    Buffer given(ISUSERINFOLEN);
    for (std::uint8_t &byte : given)
        byte = static_cast<std::uint8_t>(random_.below(256));
    Buffer buffer = given;
    buffer.push_back(0x77);
    std::uint32_t counter = changeCounter();
    Outcome in = prepare({}, someRecnum());
    pending_ = "isuserinfo " + text(fd) + " direction " + text(direction);
    Outcome expected = model_.userInfo(in, direction, &given);
    settle(pending_, expected, collect(isuserinfo(fd, direction, buffer.data()), {}));
    given.push_back(0x77);
    if (buffer != given) fail(pending_ + ": other bytes");
    if (changeCounter() != counter + (expected.ok() && direction == 1 ? 1U : 0U)) fail(pending_ + ": change counter");
    checkHandle(handle, pending_);
}

}  // namespace model
