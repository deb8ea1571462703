// The calls of a random transaction: arguments by chance, then library and world side by side.
#include "txn_driver.h"

#include "isam_maint.h"

#include <algorithm>

namespace model {

namespace {

constexpr std::size_t kMostOpened = 3;  // of one file

std::string text(long value) { return std::to_string(value); }

bool isExclusive(const FileSet &file) {
    return std::any_of(file.opened.begin(), file.opened.end(),
                       [](const Opened &by) { return (by.mode & ISLOCKEXCL) != 0; });
}

}  // namespace

// ---------------------------------------------------------------- choosing

long TxnDriver::someRecnum(const FileModel &model) {
    for (int i = 0; i < 10 && model.last() > 0; ++i) {
        long rec = 1 + random_.below(static_cast<int>(model.last()));
        if (model.live(rec)) return rec;
    }
    return random_.between(0, static_cast<int>(model.last()) + 1);
}

// A descriptor in use. For a change, one whose changes are logged as its file's should be: one that is not, after a
// rollback, is closed and opened instead, and there is none this time.
bool TxnDriver::someOpen(bool forChange, Place *out) {
    std::vector<Place> all;
    for (std::size_t f = 0; f < world_.files.size(); ++f)
        for (std::size_t i = 0; i < world_.files[f].opened.size(); ++i)
            if (!world_.files[f].opened[i].parked) all.push_back({f, i});
    if (all.empty()) return false;
    *out = all[static_cast<std::size_t>(random_.below(static_cast<int>(all.size())))];
    if (!forChange || world_.opened(*out).logged() || world_.file(*out).neverLogged) return true;
    reopen(*out);
    return false;
}

int TxnDriver::openMode(const FileSet &file) {
    int mode = ISINOUT | (random_.percent(75) ? ISTRANS : 0);
    mode |= random_.percent(file.neverLogged ? 40 : 8) ? ISLOCKEXCL : random_.percent(50) ? ISLOCKMANUAL : 0;
    if (file.shape.variable()) mode |= random_.percent(50) ? ISVARLEN : ISVARAUTO;
    if (file.neverLogged) mode |= ISNOLOG;
    return mode;
}

// ------------------------------------------------------------- descriptors

void TxnDriver::openAs(std::size_t file, int mode) {
    FileSet &set = world_.files[file];
    bool back = world_.takesBack(file, mode);
    bool refused = (mode & ISLOCKEXCL) != 0 ? !set.opened.empty() : isExclusive(set);
    if (!back && (refused || set.opened.size() >= kMostOpened)) return;
    int wanted = -1;
    prepare({}, 0, 0);
    Outcome expected = world_.open(file, mode, &wanted);
    int fd = isopen(set.name.c_str(), ++opens_ % 2 == 0 ? mode | ISMAPPED : mode);
    if (back) {
        ++statistics_->takenBack;
        expected.reclen = isreclen;
    }
    settle("isopen " + set.name + " mode " + text(mode) + " gives " + text(fd), expected, fd < 0 ? -1 : 0, {});
    if (fd != wanted) fail("descriptor " + text(fd) + ", should be " + text(wanted));
}

void TxnDriver::open() {
    std::size_t file = someFile();
    const FileSet &set = world_.files[file];
    for (const Opened &by : set.opened)
        if (by.parked && (by.logged() || set.neverLogged) && random_.percent(60)) {
            int format = set.shape.variable() ? (random_.percent(50) ? ISVARLEN : ISVARAUTO) : 0;
            return openAs(file, (by.mode & ~(ISVARLEN | ISCOMPRESS | ISVARAUTO)) | format);
        }
    openAs(file, openMode(set));
}

bool TxnDriver::closeAt(Place at) {
    int fd = world_.opened(at).fd;
    // Somebody else's transaction could not undo what it did through it.
    if (world_.neededByOther(fd)) return false;
    Outcome in = prepare({}, 0, 0);
    world_.close(fd);
    settle("isclose " + text(fd), in, isclose(fd), {});
    return !failed_;
}

void TxnDriver::close() {
    Place at;
    if (someOpen(false, &at)) closeAt(at);
}

void TxnDriver::reopen(Place at) {
    std::size_t file = at.file;
    int mode = world_.opened(at).mode & ~(ISNOLOG | ISCOMPRESS);
    if (closeAt(at)) openAs(file, mode);
}

// Until it is opened again, a descriptor that was closed in the transaction is none.
void TxnDriver::useParked() {
    for (const FileSet &set : world_.files)
        for (const Opened &by : set.opened) {
            if (!by.parked) continue;
            if (isAdmItoD(by.fd) != nullptr) fail("a file is known by " + text(by.fd) + " after its close");
            Buffer record(static_cast<std::size_t>(set.shape.bufferLength));
            Outcome in = prepare(record, 0, 0);
            settle("isread " + text(by.fd) + " after its close", in.fail(101),
                   isread(by.fd, reinterpret_cast<char *>(record.data()), ISFIRST), record);
            return;
        }
}

// ------------------------------------------------------------- transactions

void TxnDriver::begin() {
    Outcome in = prepare({}, 0, 0);
    world_.begin();
    settle("isbegin", in, isbegin(), {});
}

void TxnDriver::end() {
    Outcome in = prepare({}, 0, 0);
    bool commits = random_.percent(50);
    World after = world_;
    int code = 122;
    if (world_.inTransaction()) code = commits ? after.commit() : after.rollBack();
    if (code == 107) {  // a lock of this process, which recovery would not meet
        after = world_;
        commits = true;
        code = after.commit();
    }
    int ret = commits ? iscommit() : isrollback();
    world_ = after;
    in.recnumKnown = false;  // some descriptor's, as is the length
    in.reclen = isreclen;
    settle(commits ? "iscommit" : "isrollback", code == 0 ? in : in.fail(code), ret, {});
    if (code == 122) return;
    if (commits)
        ++statistics_->commits;
    else
        ++(code == 0 ? statistics_->rollbacks : statistics_->failedRollbacks);
    compareAll(world_, false);
}

// ------------------------------------------------------- indexes and files

void TxnDriver::changeIndexes() {
    Place at;
    if (!someOpen(true, &at)) return;
    FileSet &set = world_.file(at);
    int fd = world_.opened(at).fd;
    const std::vector<KeyDesc> &from = random_.percent(50) ? set.shape.candidates : set.descs;
    if (from.empty()) return;
    KeyDesc key = from[static_cast<std::size_t>(random_.below(static_cast<int>(from.size())))];
    testing_support::LogContent content;
    content.key = key;
    Outcome in = prepare({}, 0, 0);
    if (random_.percent(60)) {
        content.type = "CI";
        Outcome expected = set.model.addIndex(world_.handle(at), in, key);
        settle("isaddindex " + text(fd), expected, isaddindex(fd, &key), {});
        if (!expected.ok()) return;
        set.descs.push_back(content.key);
    } else {
        content.type = "DI";
        int found = set.model.find(key);
        Outcome expected = set.model.dropIndex(world_.handle(at), in, key);
        settle("isdelindex " + text(fd), expected, isdelindex(fd, &key), {});
        if (!expected.ok()) return;
        set.descs.erase(set.descs.begin() + found);
    }
    world_.note(content, &world_.opened(at));
}

void TxnDriver::build() {
    if (world_.isFull()) return;
    FileSet set(newName(), makeTxnShape(&random_, random_.percent(50)));
    const Shape &shape = set.shape;
    int mode = ISINOUT | (random_.percent(70) ? ISTRANS : 0) | (random_.percent(50) ? ISLOCKMANUAL : 0);
    if (shape.variable()) mode |= ISVARLEN | (shape.compressed ? ISCOMPRESS : 0);
    KeyDesc key = shape.indexes[0];
    int wanted = world_.lowestFreeFd();
    world_.addBuilt(set, mode, shape.recordLength);
    Outcome in = prepare({}, 0, shape.recordLength);
    int longest = shape.variable() ? shape.maximumLength : shape.recordLength;
    int fd = isbuild(set.name.c_str(), longest, &key, mode);
    settle("isbuild " + set.name + " mode " + text(mode) + " gives " + text(fd), in, fd < 0 ? -1 : 0, {});
    if (fd != wanted) fail("descriptor " + text(fd) + ", should be " + text(wanted));
}

void TxnDriver::eraseFile() {
    std::size_t file = someFile();
    const FileSet &set = world_.files[file];
    if (set.opened.empty() && !set.neverLogged && world_.files.size() > 2) eraseAt(file);
}

void TxnDriver::eraseAt(std::size_t file) {
    const FileSet &set = world_.files[file];
    testing_support::LogContent content;
    content.type = "ER";
    content.name = set.name;
    Outcome in = prepare({}, 0, 0);
    settle("iserase " + set.name, in, iserase(set.name.c_str()), {});
    world_.note(content, nullptr);
    world_.files.erase(world_.files.begin() + static_cast<std::ptrdiff_t>(file));
}

void TxnDriver::renameFile() {
    FileSet &set = world_.files[someFile()];
    if (!set.opened.empty() || set.neverLogged) return;
    testing_support::LogContent content;
    content.type = "RE";
    content.name = set.name;
    content.newName = newName();
    Outcome in = prepare({}, 0, 0);
    settle("isrename " + set.name, in, isrename(set.name.c_str(), content.newName.c_str()), {});
    set.name = content.newName;
    world_.note(content, nullptr);
}

}  // namespace model
