#include "world.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <set>

namespace fault_testing {

namespace {

bool negative(int result) { return result < 0; }

Change fileChange(Change::Kind kind, const std::string &file, const std::string &other = "") {
    Change change;
    change.kind = kind;
    change.file = file;
    change.other = other;
    return change;
}

Change indexChange(Change::Kind kind, const std::string &file, const KeyDesc &key) {
    Change change = fileChange(kind, file);
    change.key = key;
    return change;
}

bool sameParts(const KeyDesc &a, const KeyDesc &b) {
    if (a.nparts != b.nparts) return false;
    for (int i = 0; i < a.nparts; ++i)
        if (a.parts[i].start != b.parts[i].start || a.parts[i].length != b.parts[i].length ||
            a.parts[i].type != b.parts[i].type)
            return false;
    return true;
}

int keyEnd(const KeyDesc &key) {
    int end = 0;
    for (int i = 0; i < key.nparts; ++i)
        end = std::max(end, key.parts[i].start + key.parts[i].length);
    return end;
}

}  // namespace

World::World(Journal &journal) : journal_(journal) {
    for (const Event &event : journal.events())
        for (const Change &change : event.changes)
            settle(change, event.state == Event::State::Succeeded);
}

void World::settle(const Change &change, bool done) {
    if (done) apply(change);
    if (change.kind != Change::Kind::Record) return;
    std::vector<Change> &doubts = doubts_[{change.file, change.ident}];
    if (done && change.certain) {
        doubts.clear();
        return;
    }
    doubts.push_back(change);
    doubts.back().certain = false;
}

void World::apply(const Change &change) {
    switch (change.kind) {
    case Change::Kind::MakeFile: {
        File &file = files_[change.file];
        file = File{};
        file.shape = change.shape;
        if (change.shape.key.nparts > 0) file.indexes.push_back(change.shape.key);
        break;
    }
    case Change::Kind::EraseFile: files_.erase(change.file); break;
    case Change::Kind::Rename: {
        File file = files_[change.file];
        files_.erase(change.file);
        files_[change.other] = file;
        break;
    }
    case Change::Kind::Cluster: break;
    case Change::Kind::Record:
        if (change.present)
            files_[change.file].records[change.ident] = change;
        else
            files_[change.file].records.erase(change.ident);
        break;
    case Change::Kind::AddIndex: files_[change.file].indexes.push_back(change.key); break;
    case Change::Kind::DropIndex:
        std::erase_if(files_[change.file].indexes, [&](const KeyDesc &key) { return sameParts(key, change.key); });
        break;
    }
}

bool World::make(const std::string &call, const std::vector<Change> &changes, const std::function<int()> &call_,
                 const std::function<bool(int)> &failed, int *result) {
    journal_.begin(call, changes);
    const int answer = call_();
    if (result != nullptr) *result = answer;
    const bool done = !failed(answer);
    if (done)
        journal_.succeeded();
    else
        journal_.failed(iserrno, iserrio);
    if (inTransaction_) sinceBegin_.push_back({call, changes, done ? Event::State::Succeeded : Event::State::Failed});
    for (const Change &change : changes)
        settle(change, done);
    if (afterCall) afterCall();
    return done;
}

int World::build(const std::string &file, const Shape &shape) {
    Change change = fileChange(Change::Kind::MakeFile, file);
    change.shape = shape;
    int fd = -1;
    KeyDesc key = shape.key;
    make(
        "isbuild", {change},
        [&] {
            return shape.variable() ? isvbuild(file.c_str(), shape.minimum, shape.maximum, &key, shape.mode)
                                    : isbuild(file.c_str(), shape.minimum, &key, shape.mode);
        },
        negative, &fd);
    if (fd >= 0) names_[fd] = file;
    return fd;
}

int World::open(const std::string &file, int mode) {
    int fd = -1;
    make(
        "isopen", {}, [&] { return isopen(file.c_str(), mode); }, negative, &fd);
    if (fd >= 0) names_[fd] = file;
    return fd;
}

bool World::close(int fd) {
    if (fd < 0) return false;
    names_.erase(fd);
    return make(
        "isclose", {}, [&] { return isclose(fd); }, negative);
}

// A record that comes, is replaced or, with present false, goes; record holds its ident.
bool World::change(int fd, const std::string &call, const std::string &record, bool present,
                   const std::function<int(char *)> &call_) {
    if (fd < 0) return false;
    Change change = fileChange(Change::Kind::Record, names_[fd]);
    change.ident = identOf(record);
    change.present = present;
    if (present) change.image = record;
    change.mask = masks_[fd];
    std::string copy = record;
    const Shape &shape = files_[change.file].shape;
    const auto room = static_cast<std::size_t>(shape.variable() ? shape.maximum : shape.minimum);
    if (copy.size() < room) copy.resize(room);
    return make(
        call, {change},
        [&] {
            isreclen = static_cast<int>(record.size());
            return call_(copy.data());
        },
        negative);
}

bool World::write(int fd, const std::string &record) {
    return change(fd, "iswrite", record, true, [&](char *bytes) { return iswrite(fd, bytes); });
}

bool World::rewrite(int fd, const std::string &record) {
    return change(fd, "isrewrite", record, true, [&](char *bytes) { return isrewrite(fd, bytes); });
}

bool World::rewriteCurrent(int fd, const std::string &record) {
    return change(fd, "isrewcurr", record, true, [&](char *bytes) { return isrewcurr(fd, bytes); });
}

bool World::rewriteNumber(int fd, long number, const std::string &record) {
    return change(fd, "isrewrec", record, true, [&](char *bytes) { return isrewrec(fd, number, bytes); });
}

bool World::erase(int fd, const std::string &record) {
    return change(fd, "isdelete", record, false, [&](char *bytes) { return isdelete(fd, bytes); });
}

bool World::eraseCurrent(int fd, const std::string &record) {
    return change(fd, "isdelcurr", record, false, [&](char *) { return isdelcurr(fd); });
}

bool World::eraseNumber(int fd, long number, const std::string &record) {
    return change(fd, "isdelrec", record, false, [&](char *) { return isdelrec(fd, number); });
}

void World::mask(int fd, std::uint32_t mask) {
    if (fd < 0) return;
    issetmask(fd, static_cast<long>(mask));
    masks_[fd] = mask;
}

bool World::read(int fd, std::string *record, int mode) {
    if (fd < 0) return false;
    const Shape shape = files_[names_[fd]].shape;
    // The file may be there under another name.
    record->resize(ISMAXVARLEN);
    const bool done = make(
        "isread", {}, [&] { return isread(fd, record->data(), mode); }, negative);
    // Of a file without records the key, which lies at the beginning.
    const int length = shape.variable() && done ? isreclen : shape.minimum != 0 ? shape.minimum : keyEnd(shape.key);
    record->resize(static_cast<std::size_t>(length));
    return done;
}

bool World::addIndex(int fd, const KeyDesc &key) {
    if (fd < 0) return false;
    KeyDesc copy = key;
    return make(
        "isaddindex", {indexChange(Change::Kind::AddIndex, names_[fd], key)}, [&] { return isaddindex(fd, &copy); },
        negative);
}

bool World::dropIndex(int fd, const KeyDesc &key) {
    if (fd < 0) return false;
    KeyDesc copy = key;
    return make(
        "isdelindex", {indexChange(Change::Kind::DropIndex, names_[fd], key)}, [&] { return isdelindex(fd, &copy); },
        negative);
}

bool World::openLog(const std::string &path) {
    return make(
        "islogopen", {}, [&] { return islogopen(path.c_str()); }, negative);
}

bool World::begin() {
    if (!make("isbegin", {}, isbegin, negative)) return false;
    if (!inTransaction_) {
        atBegin_ = files_;
        doubtsAtBegin_ = doubts_;
        sinceBegin_.clear();
    }
    inTransaction_ = true;
    return true;
}

bool World::commit() {
    inTransaction_ = false;
    return make("iscommit", {}, iscommit, negative);
}

// Puts every record back that the transaction has touched. One whose change failed may have been left as it was made:
// what the log does not have is not undone.
bool World::rollback() {
    std::vector<Change> back, undone;
    std::set<std::pair<std::string, std::int32_t>> failed, done;
    for (const Event &event : sinceBegin_)
        for (const Change &change : event.changes)
            if (event.state == Event::State::Failed) failed.insert({change.file, change.ident});
    if (inTransaction_)
        for (auto event = sinceBegin_.rbegin(); event != sinceBegin_.rend(); ++event)
            for (const Change &change : event->changes) {
                if (change.kind != Change::Kind::Record || !done.insert({change.file, change.ident}).second) continue;
                const auto &before = atBegin_[change.file].records;
                const auto found = before.find(change.ident);
                Change undo = change;
                undo.present = found != before.end();
                undo.image = undo.present ? found->second.image : "";
                undo.mask = undo.present ? found->second.mask : 0;
                undo.certain = !failed.contains({change.file, change.ident});
                undone.push_back(undo);
                back.push_back(undo);
                // What a failed call before the transaction may have made of it.
                const auto doubts = doubtsAtBegin_.find({change.file, change.ident});
                if (doubts != doubtsAtBegin_.end())
                    back.insert(back.end(), doubts->second.begin(), doubts->second.end());
            }
    inTransaction_ = false;
    if (!make("isrollback", back, isrollback, negative)) return false;
    for (const Change &undo : undone)
        apply(undo);
    return true;
}

bool World::recover(const std::vector<Change> &changes) {
    names_.clear();
    return make("isrecover", changes, isrecover, negative);
}

bool World::eraseFile(const std::string &file) {
    return make(
        "iserase", {fileChange(Change::Kind::EraseFile, file)}, [&] { return iserase(file.c_str()); }, negative);
}

bool World::rename(const std::string &from, const std::string &to) {
    return make(
        "isrename", {fileChange(Change::Kind::Rename, from, to)}, [&] { return isrename(from.c_str(), to.c_str()); },
        negative);
}

int World::clone(int fd, const std::string &file) {
    if (fd < 0) return -1;
    const File like = files_[names_[fd]];
    Change made = fileChange(Change::Kind::MakeFile, file);
    made.shape = like.shape;
    std::vector<Change> changes{made};
    for (std::size_t i = 1; i < like.indexes.size(); ++i)
        changes.push_back(indexChange(Change::Kind::AddIndex, file, like.indexes[i]));
    int copy = -1;
    make(
        "isclone", changes, [&] { return isclone(fd, file.c_str()); }, negative, &copy);
    if (copy >= 0) names_[copy] = file;
    return copy;
}

bool World::copy(int to, int from, const KeyDesc *key) {
    if (to < 0 || from < 0) return false;
    std::vector<Change> changes;
    for (const auto &[ident, record] : files_[names_[from]].records) {
        changes.push_back(record);
        changes.back().file = names_[to];
    }
    KeyDesc order = key != nullptr ? *key : KeyDesc{};
    return make(
        "iscopy", changes, [&] { return iscopy(to, from, key != nullptr ? &order : nullptr); }, negative);
}

// A failure may leave the descriptor closed.
int World::cluster(int fd, const KeyDesc *key) {
    if (fd < 0) return -1;
    char name[24];
    std::snprintf(name, sizeof name, "ist%05ld", static_cast<long>(getpid()));
    const std::string file = names_[fd];
    KeyDesc order = key != nullptr ? *key : KeyDesc{};
    int opened = -1;
    make(
        "iscluster", {fileChange(Change::Kind::Cluster, file, name)},
        [&] { return iscluster(fd, key != nullptr ? &order : nullptr); }, negative, &opened);
    if (opened < 0) {
        int mode = 0;
        return isgetmode(fd, &mode) == 0 ? fd : -1;
    }
    names_.erase(fd);
    names_[opened] = file;
    return opened;
}

bool World::other(const std::string &call, const std::function<int()> &make_, const std::vector<Change> &changes,
                  const std::function<bool(int)> &failed) {
    return make(call, changes, make_, failed);
}

}  // namespace fault_testing
