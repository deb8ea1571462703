// The calls: arguments by chance, then library and model side by side.
#include "driver.h"

#include "support/key_desc.h"

#include <algorithm>
#include <cstring>

namespace model {

using testing_support::makeKey;

namespace {

char *bytes(Buffer &record) { return reinterpret_cast<char *>(record.data()); }

std::string text(int value) { return std::to_string(value); }
std::string text(long value) { return std::to_string(value); }

}  // namespace

// ---------------------------------------------------------------- choosing

Buffer Driver::randomRecord() {
    Buffer record(static_cast<std::size_t>(shape_.bufferLength), 0x5e);
    int filled = shape_.variable() ? shape_.recordLength : shape_.bufferLength;
    for (int i = 0; i < filled; ++i)
        record[static_cast<std::size_t>(i)] = static_cast<std::uint8_t>(random_.below(256));
    ++ascending_;
    for (const Field &field : shape_.fields) {
        bool inOrder = shape_.mix == Mix::kAscending && random_.percent(90);
        fillField(field, inOrder ? ascending_ % field.domain : random_.below(field.domain), record.data());
    }
    return record;
}

Buffer Driver::someRecord() {
    Buffer record = randomRecord();
    if (model_.pure()) {
        const std::vector<Entry> &entries = model_.indexes()[0].entries;
        if (!entries.empty() && random_.percent(60)) {
            int pick = random_.below(static_cast<int>(entries.size()));
            testing_support::scatterKey(model_.indexes()[0].spec, entries[static_cast<std::size_t>(pick)].key,
                                        record.data());
        }
        return record;
    }
    long rec = liveRecnum();
    if (rec == 0 || random_.percent(25)) return record;
    const Buffer &old = model_.records()[static_cast<std::size_t>(rec - 1)].bytes;
    Buffer mixed = record;
    std::copy_n(old.begin(), shape_.recordLength, mixed.begin());
    for (const Field &field : shape_.fields)  // a few fields new, the others as they were
        if (random_.percent(20)) std::copy_n(record.begin() + field.start, field.length, mixed.begin() + field.start);
    return mixed;
}

// ----------------------------------------------------------------- reading

void Driver::read(std::size_t handle, int mode, const Buffer &record, long recnum) {
    Handle &h = model_.handle(handle);
    pending_ = "isread " + text(fds_[handle]) + " mode " + text(mode) + " isrecnum " + text(recnum);
    Handle before = h;
    Outcome in = prepare(record, recnum);
    Buffer buffer = record;
    Outcome actual = collect(isread(fds_[handle], bytes(buffer), mode), buffer);
    Outcome expected = model_.read(h, in, mode, false);
    std::string why;
    if (!same(expected, actual, &why)) {
        // The tree may still stand on the remembered entry, whose key a failed search has overwritten.
        Handle after = h;
        h = before;
        Outcome other = model_.read(h, in, mode, true);
        if (same(other, actual, &why)) {
            expected = other;
            ++statistics_->viaPath;
        } else {
            h = after;
            log_.push_back("before: " + model_.describePosition(before));
        }
    }
    settle(pending_, expected, actual);
    checkHandle(handle, pending_);
}

void Driver::start(std::size_t handle, const KeyDesc *key, int length, int mode, const Buffer &record, long recnum) {
    Handle &h = model_.handle(handle);
    pending_ = "isstart " + text(fds_[handle]) + " index " + (key == nullptr ? "null" : text(model_.find(*key))) +
               " length " + text(length) + " mode " + text(mode) + " isrecnum " + text(recnum);
    Handle before = h;
    Outcome in = prepare(record, recnum);
    Buffer buffer = record;
    KeyDesc copy{};
    if (key != nullptr) copy = *key;
    Outcome actual =
        collect(isstart(fds_[handle], key == nullptr ? nullptr : &copy, length, bytes(buffer), mode), buffer);
    Outcome expected = model_.start(h, in, key, length, mode, false);
    std::string why;
    if (!same(expected, actual, &why)) {
        Handle after = h;
        h = before;
        Outcome other = model_.start(h, in, key, length, mode, true);
        if (same(other, actual, &why)) {
            expected = other;
            ++statistics_->viaPath;
        } else {
            h = after;
            log_.push_back("before: " + model_.describePosition(before));
        }
    }
    settle(pending_, expected, actual);
    checkHandle(handle, pending_);
}

void Driver::randomRead() {
    static const int modes[] = {ISFIRST, ISLAST, ISNEXT, ISNEXT,  ISNEXT,  ISNEXT,  ISPREV, ISPREV,
                                ISPREV,  ISCURR, ISCURR, ISEQUAL, ISEQUAL, ISGREAT, ISGTEQ};
    std::size_t handle = someHandle();
    int mode = modes[random_.below(15)];
    long recnum = someRecnum();
    if (random_.percent(3) && model_.foreseeable(model_.handle(handle), recnum)) {
        mode = random_.between(8, 255);
    } else if (random_.percent(model_.pure() ? 2 : 8)) {
        mode |= random_.percent(70) ? ISLOCK : ISWAIT;
        if ((mode & ISWAIT) != 0 && fds_.size() > 1)
            mode = (mode & ~ISWAIT) | ISLOCK;  // nobody else would ever release it
    }
    read(handle, mode, someRecord(), recnum);
}

void Driver::randomStart() {
    std::size_t handle = someHandle();
    int mode = random_.below(8);
    KeyDesc key{};
    bool given = true;
    int length = 0;
    int kind = random_.below(100);
    if (kind < 12) {
        given = false;
    } else if (kind < 15) {
        key = testing_support::keyDesc(ISNODUPS, {{0, 1, CHARTYPE | ISDESC}, {0, 1}, {0, 1}});  // no such index
    } else if (kind > 26 && model_.keyCount() > 0) {
        auto index = static_cast<std::size_t>(random_.below(static_cast<int>(model_.keyCount())));
        key = descOf(index);
        const IndexSpec &spec = model_.indexes()[index].spec;
        if (random_.percent(10))
            key.flags ^= static_cast<unsigned short>(random_.below(32));  // these flags do not count
        if (random_.percent(45)) length = random_.percent(10) ? spec.keyLength + 1 : partialLength(spec);
    }
    if (random_.percent(2)) mode = random_.between(8, 300);
    const Handle &h = model_.handle(handle);
    // Changes have whole keys compared in some of the indexes; a read settles the length again.
    if (!given && mode >= ISEQUAL && model_.indexed(h) &&
        h.positions[h.current].startLength != model_.indexes()[h.current].spec.keyLength) {
        static const int modes[] = {ISFIRST, ISNEXT, ISCURR, ISEQUAL, ISGTEQ};
        read(handle, modes[random_.below(5)], someRecord(), someRecnum());
        if (failed_) return;
    }
    start(handle, given ? &key : nullptr, length, mode, someRecord(), someRecnum());
}

void Driver::randomIndex() {
    std::size_t handle = someHandle();
    int number = random_.percent(5) ? random_.between(-1, 11) : random_.between(0, static_cast<int>(model_.keyCount()));
    int reposition = random_.percent(50) ? 1 : 0;
    Outcome in = prepare({}, someRecnum());
    pending_ = "isindex " + text(fds_[handle]) + " number " + text(number) + " reposition " + text(reposition) +
               " isrecnum " + text(in.recnum);
    Outcome expected = model_.index(model_.handle(handle), in, number, reposition);
    settle(pending_, expected, collect(isindex(fds_[handle], number, reposition), {}));
    checkHandle(handle, pending_);
}

void Driver::randomGoto() {
    std::size_t handle = someHandle();
    long rec = someRecnum();
    Outcome in = prepare({}, someRecnum());
    pending_ = "isgoto " + text(fds_[handle]) + " record " + text(rec);
    Outcome expected = model_.gotoRecord(model_.handle(handle), in, rec);
    settle(pending_, expected, collect(isgoto(fds_[handle], rec), {}));
    checkHandle(handle, pending_);
}

void Driver::randomData() {
    std::size_t handle = someHandle();
    long rec = someRecnum();
    Buffer record(static_cast<std::size_t>(shape_.bufferLength), 0x33);
    Outcome in = prepare(record, someRecnum());
    pending_ = "isdata " + text(fds_[handle]) + " record " + text(rec);
    Outcome expected = model_.data(model_.handle(handle), in, rec);
    int ret = isdata(fds_[handle], bytes(record), rec);
    settle(pending_, expected, collect(ret, record));
    checkHandle(handle, pending_);
}

void Driver::randomPushPop() {
    std::size_t handle = someHandle();
    int number = -5;
    long rec = -5;
    int expectedNumber = -5;
    long expectedRec = -5;
    Outcome in = prepare({}, someRecnum());
    pending_ = "ispush " + text(fds_[handle]);
    Outcome expected = model_.push(model_.handle(handle), in, &expectedNumber, &expectedRec);
    int ret = ispush(fds_[handle], &number, &rec);
    settle(pending_, expected, collect(ret, {}));
    if (number != expectedNumber || rec != expectedRec)
        fail(pending_ + ": " + text(number) + ", " + text(rec) + ", should be " + text(expectedNumber) + ", " +
             text(expectedRec));
    if (failed_ || random_.percent(30)) return;
    if (random_.percent(50))
        number = random_.between(0, static_cast<int>(model_.keyCount()) + (random_.percent(5) ? 1 : 0));
    if (random_.percent(50)) rec = someRecnum();
    in = prepare({}, someRecnum());
    pending_ = "ispop " + text(fds_[handle]) + " number " + text(number) + " record " + text(rec);
    expected = model_.pop(model_.handle(handle), in, number, rec);
    settle(pending_, expected, collect(ispop(fds_[handle], number, rec), {}));
    checkHandle(handle, pending_);
}

// ---------------------------------------------------------------- changing

void Driver::randomWrite(FileModel::Write how) {
    std::size_t handle = someHandle();
    Buffer record = random_.percent(70) ? randomRecord() : someRecord();
    std::vector<Prediction> predictions;
    if (!predict(handle, record, &predictions)) {
        ++statistics_->avoided;
        return;
    }
    long recnum = model_.pure() ? ++pureRecnum_ : someRecnum();
    int length = giveTail(&record, 0);
    Outcome in = prepare(record, recnum, length);
    Buffer buffer = record;
    Rooms rooms = foreseeRooms();
    const char *names[] = {"iswrite ", "iswrlock ", "iswrcurr "};
    pending_ = names[static_cast<int>(how)] + text(fds_[handle]) + " isrecnum " + text(recnum);
    Outcome expected = model_.write(model_.handle(handle), in, how);
    int (*const calls[])(int, char *) = {iswrite, iswrlock, iswrcurr};
    settle(pending_, expected, collect(calls[static_cast<int>(how)](fds_[handle], bytes(buffer)), buffer));
    if (!expected.ok()) model_.forgetSlot(model_.handle(handle));
    if (!failed_ && shape_.variable() && expected.ok()) checkRoom(rooms, expected.recnum);
    takeSerials(&predictions);
    if (how == FileModel::Write::kCurrent && !failed_ && model_.indexed(model_.handle(handle)) && expected.ok()) {
        // The position was taken before the serial was known.
        Handle &h = model_.handle(handle);
        const Index &index = model_.indexes()[h.current];
        for (const Entry &entry : index.entries)
            if (entry.rec == h.positions[h.current].rec) h.positions[h.current].serial = entry.serial;
    }
    checkHandle(handle, pending_);
}

void Driver::randomRewrite(Operation operation) {
    std::size_t handle = someHandle();
    Handle &h = model_.handle(handle);
    Buffer record = someRecord();
    long target = someRecnum();
    long touched = target;
    if (operation == kRewrite)
        touched = model_.recordByKey(record);
    else if (operation != kRewriteRecord)
        touched = model_.currentRecord(h);
    bool byPosition = operation == kRewriteCurrent || operation == kRewriteNext;
    bool detached = model_.pure() ? model_.detached(h, 0) : model_.indexed(h) && model_.detached(h, h.current);
    if (byPosition && model_.pure() && model_.indexes()[0].spec.duplicates()) {
        // Which entry goes and where the new key lands is settled; the new serial may not rise.
        Key key = makeKey(model_.indexes()[0].spec, record.data());
        if (model_.holdsKey(0, key)) detached = true;
    }
    if ((byPosition && detached) || (!model_.pure() && riskyRewrite(handle, record, touched))) {
        ++statistics_->avoided;
        return;
    }
    long recnum = model_.pure() ? (random_.percent(50) ? model_.currentRecord(h) : ++pureRecnum_) : someRecnum();
    int length = giveTail(&record, touched);
    Outcome in = prepare(record, recnum, length);
    Buffer buffer = record;
    Outcome expected;
    int ret = 0;
    int fd = fds_[handle];
    switch (operation) {
    case kRewrite:
        pending_ = "isrewrite " + text(fd) + " (record " + text(touched) + ")";
        expected = model_.rewriteByKey(h, in);
        ret = isrewrite(fd, bytes(buffer));
        break;
    case kRewriteRecord:
        pending_ = "isrewrec " + text(fd) + " record " + text(target);
        expected = model_.rewriteRecord(h, in, target);
        ret = isrewrec(fd, target, bytes(buffer));
        break;
    case kRewriteCurrent:
        pending_ = "isrewcurr " + text(fd) + " (record " + text(touched) + ") isrecnum " + text(recnum);
        expected = model_.rewriteCurrent(h, in);
        ret = isrewcurr(fd, bytes(buffer));
        break;
    default:
        pending_ = "isrewnxt " + text(fd) + " (record " + text(touched) + ") isrecnum " + text(recnum);
        expected = model_.rewriteNext(h, in);
        ret = isrewnxt(fd, bytes(buffer));
        break;
    }
    settle(pending_, expected, collect(ret, buffer));
    if (!expected.ok()) model_.forgetSlot(h);
    takeSerials(nullptr);
    checkHandle(handle, pending_);
}

void Driver::randomDelete(Operation operation) {
    std::size_t handle = someHandle();
    Handle &h = model_.handle(handle);
    Buffer record = someRecord();
    long target = random_.percent(70) ? liveRecnum() : someRecnum();
    if (operation == kDeleteCurrent && model_.pure() && model_.detached(h, 0)) {
        ++statistics_->avoided;
        return;
    }
    Outcome in = prepare(record, someRecnum());
    Buffer buffer = record;
    Outcome expected;
    int ret = 0;
    int fd = fds_[handle];
    switch (operation) {
    case kDelete:
        pending_ = "isdelete " + text(fd) + " (record " + text(model_.recordByKey(record)) + ")";
        expected = model_.deleteByKey(h, in);
        ret = isdelete(fd, bytes(buffer));
        break;
    case kDeleteRecord:
        pending_ = "isdelrec " + text(fd) + " record " + text(target);
        expected = model_.deleteRecord(h, in, target);
        ret = isdelrec(fd, target);
        break;
    default:
        pending_ = "isdelcurr " + text(fd) + " (record " + text(model_.currentRecord(h)) + ")";
        expected = model_.deleteCurrent(h, in);
        ret = isdelcurr(fd);
        break;
    }
    settle(pending_, expected, collect(ret, buffer));
    if (!expected.ok()) model_.forgetSlot(h);
    checkHandle(handle, pending_);
}

void Driver::randomUnique(Operation operation) {
    std::size_t handle = someHandle();
    int fd = fds_[handle];
    Outcome in = prepare({}, someRecnum());
    if (operation == kSetUnique) {
        long value = random_.percent(40) ? 2147483647L - random_.below(2) : 1L + random_.below(1000000);
        pending_ = "issetunique " + text(fd) + " " + text(value);
        settle(pending_, model_.setUnique(in, value), collect(issetunique(fd, value), {}));
        return;
    }
    long value = -1;
    if (operation == kUniqueId) {
        pending_ = "isuniqueid " + text(fd);
        int ret = isuniqueid(fd, &value);
        settle(pending_, model_.uniqueId(in), collect(ret, {}, value));
        return;
    }
    pending_ = "isgetlastrec " + text(fd);
    int ret = isgetlastrec(fd, &value);
    in.value = model_.last();
    settle(pending_, in, collect(ret, {}, value));
}

void Driver::randomPrecious() {
    std::size_t handle = someHandle();
    int on = random_.below(2);
    Outcome in = prepare({}, someRecnum());
    pending_ = "isprecious " + text(fds_[handle]) + " " + text(on);
    settle(pending_, model_.precious(in, on != 0), collect(isprecious(fds_[handle], on), {}));
    checkHandle(handle, pending_);
}

// ----------------------------------------------------------------- indexes

void Driver::randomAddIndex() {
    std::size_t handle = someHandle();
    KeyDesc key =
        shape_.candidates[static_cast<std::size_t>(random_.below(static_cast<int>(shape_.candidates.size())))];
    int kind = random_.below(100);
    if (kind < 5 && model_.keyCount() > 0)
        key = KeyDesc{};
    else if (kind < 10)
        key.flags |= 0x40;
    else if (kind < 15 && key.nparts > 0)
        key.parts[0].start = static_cast<short>(shape_.bufferLength);
    if (key.nparts == 0 && model_.keyCount() == 0) return;
    Outcome in = prepare({}, someRecnum());
    pending_ = "isaddindex " + text(fds_[handle]) + " " + testing_support::describe(testing_support::specOf(key));
    Outcome expected = model_.addIndex(model_.handle(handle), in, key);
    KeyDesc copy = key;
    settle(pending_, expected, collect(isaddindex(fds_[handle], &copy), {}));
    if (!failed_ && expected.ok()) {
        std::size_t number = model_.keyCount() - 1;
        descs_.push_back(key);
        bool rises = takeAllSerials(number);
        if (!failed_ && rises && !model_.masksConsistent()) rises = settleMasks(handle, number);
        if (!failed_ && (!rises || !model_.masksConsistent())) {
            ++statistics_->addsTakenBack;
            scanIndex(handle, number);
            if (failed_) return;
            in = prepare({}, someRecnum());
            pending_ = "isdelindex " + text(fds_[handle]) + " number " + text(static_cast<long>(number)) + " at once";
            expected = model_.dropIndex(model_.handle(handle), in, key);
            descs_.pop_back();
            settle(pending_, expected, collect(isdelindex(fds_[handle], &copy), {}));
        }
    }
    checkHandle(handle, pending_);
}

void Driver::randomDropIndex() {
    std::size_t handle = someHandle();
    KeyDesc key = descOf(static_cast<std::size_t>(random_.below(static_cast<int>(descs_.size()) + 1)));
    if (random_.percent(10)) key = testing_support::keyDesc(ISNODUPS, {{0, 1, CHARTYPE | ISDESC}, {0, 1}, {0, 1}});
    int found = model_.find(key);
    bool exists = found >= 0 && found < static_cast<int>(model_.keyCount());
    if (exists && shape_.masked && !model_.masksConsistentWithout(static_cast<std::size_t>(found))) return;
    if (exists && random_.percent(50) && model_.keyCount() < 4) return;  // keep some
    Outcome in = prepare({}, someRecnum());
    pending_ = "isdelindex " + text(fds_[handle]) + " number " + text(found);
    Outcome expected = model_.dropIndex(model_.handle(handle), in, key);
    if (expected.ok()) descs_.erase(descs_.begin() + found);
    settle(pending_, expected, collect(isdelindex(fds_[handle], &key), {}));
    checkHandle(handle, pending_);
}

// ------------------------------------------------------------------- rest

void Driver::randomReopen() {
    std::size_t handle = someHandle();
    pending_ = "close and open " + text(fds_[handle]);
    Outcome in = prepare({}, someRecnum());
    settle(pending_, in, collect(isclose(fds_[handle]), {}));
    bool exclusive = fds_.size() == 1 && random_.percent(40);
    Outcome expected = model_.open(handle, exclusive);
    prepare({}, 55);
    int mode = ISINOUT | (exclusive ? ISLOCKEXCL : random_.percent(50) ? ISLOCKMANUAL : 0) | openFlags();
    int fd = isopen(base_.c_str(), mode);
    settle(pending_ + (exclusive ? " exclusive" : ""), expected, collect(fd < 0 ? -1 : 0, {}));
    fds_[handle] = fd;
    ++statistics_->resets;
    checkHandle(handle, pending_);
}

void Driver::randomLocks() {
    std::size_t handle = someHandle();
    Handle &h = model_.handle(handle);
    int fd = fds_[handle];
    long recnum = someRecnum();
    Outcome in = prepare({}, recnum);
    if (model_.pure()) return;
    switch (random_.below(8)) {
    case 0:
    case 1:
    case 2:
        pending_ = "isrelease " + text(fd);
        settle(pending_, model_.unlock(h, in), collect(isrelease(fd), {}));
        break;
    case 3:
        pending_ = "isunlock " + text(fd);
        settle(pending_, model_.unlock(h, in), collect(isunlock(fd), {}));
        break;
    case 4:
        pending_ = "isrelrec " + text(fd) + " record " + text(recnum);
        settle(pending_, model_.releaseRecord(h, in, recnum), collect(isrelrec(fd, recnum), {}));
        break;
    case 5:
        pending_ = "isrelcurr " + text(fd) + " isrecnum " + text(recnum);
        h.locks.erase(recnum);
        settle(pending_, in, collect(isrelcurr(fd), {}));
        break;
    case 6:
        pending_ = "islock " + text(fd);
        settle(pending_, model_.lockFile(h, in), collect(islock(fd), {}));
        break;
    default:
        h.lockCheck = random_.percent(15);
        pending_ = "islockcheck " + text(fd) + (h.lockCheck ? " on" : " off");
        settle(pending_, in, collect(islockcheck(fd, h.lockCheck ? 1 : 0), {}));
        break;
    }
    checkHandle(handle, pending_);
}

void Driver::randomMask() {
    std::size_t handle = someHandle();
    std::uint32_t mask = someMask();
    model_.handle(handle).mask = mask;
    pending_ = "issetmask " + text(fds_[handle]) + " " + text(static_cast<long>(mask));
    if (issetmask(fds_[handle], static_cast<long>(mask)) != 0) fail(pending_);
    log_.push_back(pending_);
}

}  // namespace model
