// The calls of a random transaction on whole files that are open.
//
// Rebuilds and copies leave nothing in the log. What recovery makes again can therefore be compared only where they do
// not change the order of equal keys or the numbers that records get, or where the copy is gone by then.
#include "txn_driver.h"

#include "file_compare.h"

#include "support/file_reader.h"

#include "isam_maint.h"

namespace model {

namespace {

std::string text(long value) { return std::to_string(value); }

}  // namespace

// A descriptor in use, where possible of the file whose changes are never logged.
bool TxnDriver::someUnlogged(Place *out) {
    bool found = someOpen(false, out);
    for (int tries = 0; tries < 3 && found && !world_.file(*out).neverLogged; ++tries)
        someOpen(false, out);
    return found;
}

void TxnDriver::rebuild() {
    Place at;
    if (!someUnlogged(&at)) return;
    FileSet &set = world_.file(at);
    IsamFile *file = isAdmItoD(world_.opened(at).fd);
    std::string through = " " + text(world_.opened(at).fd);
    Outcome in = prepare({}, 0, 0);
    if (set.neverLogged && random_.percent(30)) {
        Outcome expected = set.model.rebuildFree(in, ISFREE_DATA);
        int done = isRebuildFree(file, ISFREE_DATA);
        iserrno = isErrno(file);
        return settle("isRebuildFree" + through, expected, done == 1 ? 0 : -1, {});
    }
    auto indexes = static_cast<int>(set.model.keyCount());
    int number = random_.between(1, indexes + 1);
    if (!set.neverLogged && number <= indexes &&
        set.model.indexes()[static_cast<std::size_t>(number - 1)].spec.duplicates())
        return;
    Outcome expected = set.model.rebuildIndex(world_.handle(at), in, number);
    int done = isRebuildIdx(file, number);
    iserrno = isErrno(file);
    settle("isRebuildIdx" + through + " number " + text(number), expected, done == 1 ? 0 : -1, {});
}

// Recovery does not lead over a clustering that the log tells of.
void TxnDriver::cluster() {
    Place at;
    if (!someUnlogged(&at)) return;
    FileSet &set = world_.file(at);
    int fd = world_.opened(at).fd;
    bool exclusive = world_.handle(at).exclusive;
    bool inTransaction = world_.inTransaction() && world_.opened(at).chained();
    if (exclusive && !inTransaction && !set.neverLogged) return;
    std::size_t choice = static_cast<std::size_t>(random_.below(static_cast<int>(set.descs.size()) + 1));
    KeyDesc key = choice < set.descs.size() ? set.descs[choice] : KeyDesc{};
    KeyDesc *given = random_.percent(20) ? nullptr : &key;
    Outcome in = prepare({}, 0, 0);
    Outcome expected = exclusive && inTransaction ? in.fail(113) : set.model.cluster(at.handle, in, given);
    int made = iscluster(fd, given);
    settle("iscluster " + text(fd) + " gives " + text(made), expected, made < 0 ? -1 : 0, {});
    if (made < 0) return;
    world_.opened(at).fd = -1;
    int wanted = world_.lowestFreeFd();
    world_.opened(at).fd = made;
    if (made != wanted) fail("descriptor " + text(made) + ", should be " + text(wanted));
}

// A file like another one, with its indexes. It stays in the world, empty, or takes the records of the other one, is
// compared and goes.
void TxnDriver::clone() {
    Place from;
    if (world_.isFull() || !someOpen(true, &from) || world_.file(from).neverLogged) return;
    const FileSet &like = world_.file(from);
    int fd = world_.opened(from).fd;
    FileSet set(newName(), like.shape);
    set.descs = like.descs;
    set.shape.indexes = set.descs;
    if (like.model.noPrimary()) set.shape.indexes.insert(set.shape.indexes.begin(), KeyDesc{});
    int mode = 0;
    isgetmode(fd, &mode);
    int wanted = world_.lowestFreeFd();
    Outcome in = prepare({}, 5, 5);
    in.recnum = 0;
    in.reclen = set.shape.recordLength;
    int made = isclone(fd, set.name.c_str());
    settle("isclone " + text(fd) + " as " + set.name + " gives " + text(made), in, made < 0 ? -1 : 0, {});
    if (made != wanted) fail("descriptor " + text(made) + ", should be " + text(wanted));
    set.model = like.model.emptyLike();
    world_.addBuilt(set, mode, set.shape.recordLength);
    Place to{world_.files.size() - 1, 0};
    for (std::size_t i = 1; i < set.shape.indexes.size(); ++i) {
        testing_support::LogContent content;
        content.type = "CI";
        content.key = set.shape.indexes[i];
        world_.note(content, &world_.opened(to));
    }
    bool stays = world_.inTransaction() && world_.opened(to).chained();
    if (!failed_ && !stays && random_.percent(70)) copyAndErase(from, to);
}

bool TxnDriver::copyAndErase(Place from, Place to) {
    FileSet &copy = world_.file(to);
    Outcome in = prepare({}, 5, 6);
    const FileModel &source = world_.file(from).model;
    std::size_t order = static_cast<std::size_t>(random_.below(static_cast<int>(source.keyCount()) + 1));
    KeyDesc key = order < source.keyCount() ? world_.file(from).descs[order] : KeyDesc{};
    Outcome expected = copy.model.copyFrom(source, order, in);
    int ret = iscopy(world_.opened(to).fd, world_.opened(from).fd, &key);
    settle("iscopy " + text(world_.opened(to).fd) + " from " + text(world_.opened(from).fd), expected, ret, {});
    testing_support::FileReader reader(copy.name);
    std::string wrong = compareSound(world_.opened(to).fd, &reader, copy.model);
    if (!wrong.empty()) fail(copy.name + ": " + wrong);
    if (failed_ || !closeAt(to)) return false;
    eraseAt(to.file);
    return !failed_;
}

}  // namespace model
