// The calls of a random transaction on records.
#include "txn_driver.h"

#include <algorithm>

namespace model {

namespace {

char *bytes(Buffer &record) { return reinterpret_cast<char *>(record.data()); }
std::string text(long value) { return std::to_string(value); }

// What the log keeps of a record given to a write.
Buffer imageOf(const FileSet &file, const Outcome &in) {
    int length = file.shape.recordLength;
    if (file.shape.variable()) length = std::max(length, in.reclen);
    return {in.record.begin(), in.record.begin() + length};
}

Buffer recordOf(const FileModel &model, long rec) {
    return model.live(rec) ? model.records()[static_cast<std::size_t>(rec - 1)].bytes : Buffer{};
}

}  // namespace

void TxnDriver::write() {
    Place at;
    if (!someOpen(true, &at)) return;
    FileSet &set = world_.file(at);
    Handle &h = world_.handle(at);
    int how = random_.below(3);
    // Nobody can tell whose turn it would be between the lock and a key that is there already.
    if (set.model.lockedByOther(h, set.model.nextRecord())) return;
    Buffer record = someRecord(set, random_.percent(10) ? someRecnum(set.model) : 0);
    int length = giveTail(set, &record);
    Outcome in = prepare(record, 0, length);
    static const char *const names[] = {"iswrite ", "iswrlock ", "iswrcurr "};
    static int (*const calls[])(int, char *) = {iswrite, iswrlock, iswrcurr};
    int fd = world_.opened(at).fd;
    Outcome expected = set.model.write(h, in, static_cast<FileModel::Write>(how));
    int ret = calls[how](fd, bytes(record));
    settle(names[how] + text(fd) + " length " + text(length), expected, ret, record);
    // iswrcurr may write a record and then fail to find it in the current index.
    if (expected.ok() || expected.err == 111) world_.noteChange('I', at, set.model.newest(), {}, imageOf(set, in));
}

void TxnDriver::rewrite() {
    Place at;
    if (!someOpen(true, &at)) return;
    FileSet &set = world_.file(at);
    Handle &h = world_.handle(at);
    long rec = someRecnum(set.model);
    Buffer record = someRecord(set, random_.percent(80) ? rec : 0);
    int length = giveTail(set, &record);
    int how = random_.below(3);
    if (how == 1) rec = set.model.recordByKey(record);
    if (how == 2) rec = set.model.currentRecord(h);
    Buffer before = recordOf(set.model, rec);
    Outcome in = prepare(record, 0, length);
    int fd = world_.opened(at).fd;
    Outcome expected;
    int ret = 0;
    switch (how) {
    case 0:
        expected = set.model.rewriteRecord(h, in, rec);
        ret = isrewrec(fd, rec, bytes(record));
        break;
    case 1:
        expected = set.model.rewriteByKey(h, in);
        ret = isrewrite(fd, bytes(record));
        break;
    default:
        expected = set.model.rewriteCurrent(h, in);
        ret = isrewcurr(fd, bytes(record));
        break;
    }
    static const char *const names[] = {"isrewrec ", "isrewrite ", "isrewcurr "};
    settle(names[how] + text(fd) + " record " + text(rec) + " length " + text(length), expected, ret, record);
    if (expected.ok()) world_.noteChange('U', at, rec, before, imageOf(set, in));
}

void TxnDriver::erase() {
    Place at;
    if (!someOpen(true, &at)) return;
    FileSet &set = world_.file(at);
    Handle &h = world_.handle(at);
    long rec = someRecnum(set.model);
    Buffer record = someRecord(set, rec);
    int how = random_.below(3);
    if (how == 1) rec = set.model.recordByKey(record);
    if (how == 2) rec = set.model.currentRecord(h);
    Buffer before = recordOf(set.model, rec);
    Outcome in = prepare(record, 0, 0);
    int fd = world_.opened(at).fd;
    Outcome expected;
    int ret = 0;
    switch (how) {
    case 0:
        expected = set.model.deleteRecord(h, in, rec);
        ret = isdelrec(fd, rec);
        break;
    case 1:
        expected = set.model.deleteByKey(h, in);
        ret = isdelete(fd, bytes(record));
        break;
    default:
        expected = set.model.deleteCurrent(h, in);
        ret = isdelcurr(fd);
        break;
    }
    static const char *const names[] = {"isdelrec ", "isdelete ", "isdelcurr "};
    settle(names[how] + text(fd) + " record " + text(rec), expected, ret, record);
    if (expected.ok()) world_.noteChange('D', at, rec, before, {});
}

void TxnDriver::read() {
    Place at;
    if (!someOpen(false, &at)) return;
    FileSet &set = world_.file(at);
    Handle &h = world_.handle(at);
    int mode = random_.percent(50) ? ISFIRST : ISLAST;
    bool one = !set.model.indexed(h) || !set.model.indexes()[h.current].spec.duplicates();
    if (one && random_.percent(70)) mode = ISEQUAL;
    if (random_.percent(25)) mode |= ISLOCK;
    long rec = someRecnum(set.model);
    Buffer record = someRecord(set, rec);
    Outcome in = prepare(record, rec, 0);
    int fd = world_.opened(at).fd;
    Outcome expected = set.model.read(h, in, mode, false);
    int ret = isread(fd, bytes(record), mode);
    settle("isread " + text(fd) + " mode " + text(mode) + " isrecnum " + text(rec), expected, ret, record);
}

void TxnDriver::release() {
    Place at;
    if (!someOpen(false, &at)) return;
    int fd = world_.opened(at).fd;
    Outcome in = prepare({}, 0, 0);
    settle("isrelease " + text(fd), world_.file(at).model.unlock(world_.handle(at), in), isrelease(fd), {});
}

void TxnDriver::unique() {
    Place at;
    if (!someOpen(true, &at)) return;
    FileModel &model = world_.file(at).model;
    int fd = world_.opened(at).fd;
    testing_support::LogContent content;
    Outcome in = prepare({}, 0, 0);
    if (random_.percent(40)) {
        long value = random_.percent(40) ? 2147483647L - random_.below(2) : 1L + random_.below(1000000);
        content.type = "SU";
        content.number = static_cast<std::uint32_t>(value);
        settle("issetunique " + text(fd) + " " + text(value), model.setUnique(in, value), issetunique(fd, value), {});
    } else {
        long value = -1;
        int ret = isuniqueid(fd, &value);
        content.type = "UN";
        content.number = static_cast<std::uint32_t>(value);
        settle("isuniqueid " + text(fd), model.uniqueId(in), ret, {}, value);
    }
    world_.note(content, &world_.opened(at));
}

}  // namespace model
