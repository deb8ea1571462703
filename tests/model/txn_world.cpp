#include "txn_world.h"

#include <algorithm>
#include <unistd.h>
#include <utility>

namespace model {

using testing_support::LogContent;

namespace {

constexpr int kLockBits = ISLOCKNONE | ISLOCKAUTO | ISLOCKMANUAL | ISLOCKEXCL;
constexpr int kFormatBits = ISVARLEN | ISCOMPRESS | ISVARAUTO;  // do not tell one open mode from another
constexpr std::size_t kParkingStep = 10;

int withLockBit(int mode) { return (mode & kLockBits) == 0 ? mode | ISLOCKMANUAL : mode; }

KeyDesc withLength(KeyDesc key) {
    key.keyLength = 0;
    for (int i = 0; i < key.nparts; ++i)
        key.keyLength = static_cast<short>(key.keyLength + key.parts[i].length);
    return key;
}

// The opening or closing of a file.
LogContent fileContent(const char *type, const FileSet &set) {
    LogContent content;
    content.type = type;
    content.variable = set.shape.variable();
    content.name = set.name;
    return content;
}

}  // namespace

FileSet::FileSet(const std::string &path, const Shape &like)
    : name(path), shape(like),
      model({like.recordLength, like.maximumLength, like.compressed, like.masked}, like.indexes[0]) {
    if (like.indexes[0].nparts > 0) descs.push_back(like.indexes[0]);
}

Place World::find(int fd) const {
    for (std::size_t f = 0; f < files.size(); ++f)
        for (std::size_t i = 0; i < files[f].opened.size(); ++i)
            if (files[f].opened[i].fd == fd) return {f, i};
    return {files.size(), 0};
}

Place World::changedThrough(const Undo &undo) const {
    for (std::size_t f = 0; f < files.size(); ++f)
        for (std::size_t i = 0; i < files[f].opened.size(); ++i)
            if (files[f].opened[i].serial == undo.serial) return {f, i};
    return {files.size(), 0};
}

int World::lowestFreeFd() const {
    int fd = 0;
    while (find(fd).file != files.size())
        ++fd;
    return fd;
}

bool World::neededByOther(int fd) const {
    for (const auto &[owner, transaction] : transactions_) {
        const std::vector<Undo> &undo = transaction.undo;
        if (owner != who && std::any_of(undo.begin(), undo.end(), [&](const Undo &one) {
                Place at = changedThrough(one);
                return at.file != files.size() && files[at.file].opened[at.handle].fd == fd;
            }))
            return true;
    }
    return false;
}

void World::note(LogContent content, const Opened *by) {
    if (by != nullptr) {
        if (!by->logged()) return;
        content.fd = by->fd;
        bool chains = std::string("FO FC IN DE UP").find(content.type) != std::string::npos;
        content.chained = chains && by->chained() && inTransaction();
    }
    content.key = withLength(content.key);
    auto user = static_cast<std::uint32_t>(getuid());
    if (identified) user = inTransaction() ? static_cast<std::uint32_t>(who) : 0;
    log.push_back({std::move(content), user & 0xffffU});
}

void World::noteChange(char kind, Place at, long rec, const Buffer &before, const Buffer &after) {
    const Opened &by = opened(at);
    if (!by.logged()) return;
    LogContent content;
    content.type = kind == 'I' ? "IN" : kind == 'D' ? "DE" : "UP";
    content.number = static_cast<std::uint32_t>(rec);
    content.before = before;
    content.after = after;
    note(std::move(content), &by);
    if (by.chained() && inTransaction()) transactions_[who].undo.push_back({kind, by.serial, rec, before});
}

// ------------------------------------------------------------- descriptors

int World::parkingOf(std::size_t file, int mode) const {
    auto own = transactions_.find(who);
    if (own == transactions_.end()) return -1;
    const std::vector<int> &parked = own->second.parked;
    for (std::size_t slot = parked.size(); slot-- > 0;) {
        if (parked[slot] < 0) continue;
        Place at = find(parked[slot]);
        if (at.file == file && ((files[file].opened[at.handle].mode ^ withLockBit(mode)) & ~kFormatBits) == 0)
            return static_cast<int>(slot);
    }
    return -1;
}

bool World::takesBack(std::size_t file, int mode) const { return parkingOf(file, mode) >= 0; }

Outcome World::open(std::size_t file, int mode, int *fd) {
    FileSet &set = files[file];
    mode = withLockBit(mode);
    int slot = parkingOf(file, mode);
    if (slot >= 0) {
        *fd = std::exchange(transactions_[who].parked[static_cast<std::size_t>(slot)], -1);
        opened(find(*fd)).parked = false;
        Outcome back;
        back.recnumKnown = false;
        return back;
    }
    Opened by;
    by.fd = *fd = lowestFreeFd();
    by.serial = ++serials_;
    by.mode = mode;
    set.model.addHandle();
    std::size_t handle = set.opened.size();
    Outcome out = set.model.open(handle, (mode & ISLOCKEXCL) != 0);
    set.opened.push_back(by);
    set.model.handle(handle).logged = by.logged();
    set.model.handle(handle).keepsLocks = by.logged() && by.chained();
    note(fileContent("FO", set), &by);
    return out;
}

void World::addBuilt(const FileSet &file, int mode, int minimum) {
    Opened by;
    by.fd = lowestFreeFd();
    by.serial = ++serials_;
    by.mode = withLockBit(mode);
    files.push_back(file);
    FileSet &set = files.back();
    set.opened.assign(1, by);
    set.model.openAfterBuild((by.mode & ISLOCKEXCL) != 0);
    set.model.handle(0).logged = by.logged();
    set.model.handle(0).keepsLocks = by.logged() && by.chained();
    LogContent build;
    build.type = "BU";
    build.mode = by.mode;
    build.minimum = minimum;
    build.maximum = set.shape.variable() ? set.shape.maximumLength : minimum;
    build.key = set.shape.indexes[0];
    build.name = set.name;
    if (by.logged()) note(std::move(build), nullptr);
    note(fileContent("FO", set), &by);
}

void World::close(int fd) {
    Place at = find(fd);
    Opened &by = opened(at);
    if (inTransaction() && by.chained()) {
        std::vector<int> &parked = transactions_[who].parked;
        auto slot = std::find(parked.rbegin(), parked.rend(), -1);
        if (slot == parked.rend()) {
            parked.resize(parked.size() + kParkingStep, -1);
            slot = parked.rbegin();
        }
        *slot = fd;
        by.parked = true;
        return;
    }
    note(fileContent("FC", file(at)), &by);
    forget(fd);
}

// Everything is closed for good, also what was only put aside; transactions stay open.
void World::cleanUp() {
    int highest = -1;
    for (const FileSet &set : files)
        for (const Opened &by : set.opened)
            highest = std::max(highest, by.fd);
    for (int fd = highest; fd >= 0; --fd) {
        Place at = find(fd);
        if (at.file == files.size()) continue;
        note(fileContent("FC", file(at)), &opened(at));
        forget(fd);
    }
    for (auto &own : transactions_)
        own.second.parked.clear();
}

void World::forget(int fd) {
    Place at = find(fd);
    FileSet &set = files[at.file];
    set.opened.erase(set.opened.begin() + static_cast<std::ptrdiff_t>(at.handle));
    set.model.removeHandle(at.handle);
}

// ------------------------------------------------------------- transactions

void World::begin() {
    if (!transactions_.try_emplace(who).second) return;
    LogContent content;
    content.type = "BW";
    note(std::move(content), nullptr);
}

void World::releaseChanged() {
    for (const Undo &undo : transactions_[who].undo) {
        Place at = changedThrough(undo);
        if (at.file != files.size() && undo.kind != 'D') handle(at).locks.erase(undo.rec);
    }
}

void World::end(const char *type) {
    const std::vector<int> &parked = transactions_[who].parked;
    for (std::size_t slot = parked.size(); slot-- > 0;) {
        if (parked[slot] < 0) continue;
        Place at = find(parked[slot]);
        note(fileContent("FC", file(at)), &opened(at));
    }
    LogContent content;
    content.type = type;
    content.chained = true;
    note(std::move(content), nullptr);
    for (int fd : parked)
        if (fd >= 0) forget(fd);
    transactions_.erase(who);
}

int World::commit() {
    releaseChanged();
    end("CW");
    return 0;
}

// A deleted record may come back under another number; what was done to it before is undone there.
int World::undoAll() {
    std::map<std::pair<std::size_t, long>, long> moved;  // per file and old number
    const std::vector<Undo> &changes = transactions_[who].undo;
    for (auto undo = changes.rbegin(); undo != changes.rend(); ++undo) {
        Place at = changedThrough(*undo);
        if (at.file == files.size()) return 118;
        opened(at).mode |= ISNOLOG;
        handle(at).logged = handle(at).keepsLocks = false;
        FileModel &model = files[at.file].model;
        auto old = std::make_pair(at.file, undo->rec);
        long rec = moved.count(old) != 0 ? moved[old] : undo->rec;
        Outcome in;
        in.record = undo->before;
        in.reclen = static_cast<int>(undo->before.size());
        Outcome out = undo->kind == 'I'   ? model.deleteRecord(handle(at), in, rec)
                      : undo->kind == 'D' ? model.write(handle(at), in, FileModel::Write::kPlain)
                                          : model.rewriteRecord(handle(at), in, rec);
        if (!out.ok()) return out.err;
        if (undo->kind == 'D') moved[old] = out.recnum;
        if (undo->kind == 'I') moved.erase(old);
    }
    return 0;
}

int World::rollBack() {
    int code = undoAll();
    releaseChanged();
    end("RW");
    return code;
}

}  // namespace model
