// What one process does alone with the file: checks, indexes added and dropped, rebuilds, clustering, and mending what
// a killed process left.
#include "worker.h"

#include "isam_maint.h"

#include <ctime>

#include <cstdio>
#include <map>

namespace stress {

void Worker::perform(Task task) {
    switch (task) {
    case Task::None: break;
    case Task::Build: build(); break;
    case Task::Check:
        openForUpkeep(ISLOCKEXCL);
        verify(false, false);
        break;
    case Task::ChangeIndexes: changeIndexes(); break;
    case Task::Rebuild: rebuild(); break;
    case Task::Cluster: cluster(); break;
    case Task::Mend: mend(); break;
    case Task::Recover: recover(); break;
    case Task::Verify:
        openAlone();
        verify(false, false);
        break;
    }
    if (journal_->exclusive == own_) journal_->exclusive = 0;
}

// Tries until everybody else has closed the file.
void Worker::openAlone() {
    fd_ = openRetrying(ISINOUT | ISVARLEN | ISTRANS | ISLOCKEXCL);
    for (int i = 0; i < kSlots; ++i)
        if (i != slot_ && journal_->seats[i].holds != 0)
            finding(-1, "isopen: exclusive, but process %d has the file open", i);
    ++journal_->exclusives;
    journal_->exclusive = own_;
    add(Counter::Exclusive);
    readIndexes();
}

// The log goes on over what it can follow.
void Worker::openForUpkeep(int mode) {
    if (islogopen(logPath().c_str()) != 0) finding(-1, "islogopen: %d", iserrno);
    logged_ = true;
    if (mode == ISLOCKEXCL) return openAlone();
    fd_ = openRetrying(ISINOUT | ISVARLEN | ISTRANS | ISLOCKMANUAL);
    readIndexes();
}

void Worker::build() {
    KeyDesc first = indexKey(1);
    fd_ = isvbuild(basePath().c_str(), kFixed, kMaximum, &first,
                   ISINOUT | ISVARLEN | ISLOCKEXCL | (mapped_ ? ISMAPPED : 0));
    if (fd_ < 0) finding(-1, "isvbuild: %d/%d", iserrno, iserrio);
    for (int i = 2; i <= kIndexes; ++i) {
        KeyDesc more = indexKey(i);
        if (isaddindex(fd_, &more) != 0) finding(-1, "isaddindex %d: %d/%d", i, iserrno, iserrio);
    }
}

// Alone with the file, the call does not need it opened exclusively.
void Worker::changeIndexes() {
    openForUpkeep(chance(50) ? ISLOCKEXCL : ISLOCKMANUAL);
    const int form = 1 + random_.below(kFifthForms);
    const bool drop = journal_->fifth != 0;
    KeyDesc wanted = drop ? key(kIndexes + 1) : fifthKey(form);
    for (;;) {
        const int code = did(drop ? isdelindex(fd_, &wanted) : isaddindex(fd_, &wanted), Counter::MaintenanceCalls);
        if (code == 0) break;
        if (code != ISERR_FILEINUSE || journal_->exclusive == own_)
            finding(-1, "%s: %d/%d", drop ? "isdelindex" : "isaddindex", code, iserrio);
        add(Counter::KeptOut);
        const timespec time{0, 200000};
        nanosleep(&time, nullptr);
    }
    journal_->fifth = drop ? 0 : static_cast<std::uint32_t>(form);
    add(drop ? Counter::IndexesDropped : Counter::IndexesAdded);
    readIndexes();
    if (checks() != 0) finding(-1, "checks after a change of indexes: 0x%x", static_cast<unsigned>(checks()));
}

void Worker::rebuild() {
    openAlone();
    IsamFile *file = isAdmItoD(fd_);
    const int index = 1 + random_.below(static_cast<int>(indexes_.size()));
    if (isRebuildIdx(file, index) != 1) finding(-1, "isRebuildIdx %d: %d", index, isErrno(file));
    if (isRebuildFree(file, ISFREE_DATA) != 1) finding(-1, "isRebuildFree: %d", isErrno(file));
    add(Counter::IndexesRebuilt);
    add(Counter::MaintenanceCalls, 2);
    verify(false, false);
}

void Worker::cluster() {
    openAlone();
    KeyDesc order = key(1 + random_.below(static_cast<int>(indexes_.size())));
    const int fd = iscluster(fd_, &order);
    if (did(fd < 0 ? -1 : 0, Counter::MaintenanceCalls) != 0) finding(-1, "iscluster: %d/%d", iserrno, iserrio);
    fd_ = fd;
    add(Counter::Clusters);
    readIndexes();
    verify(false, false);
}

// All checks there are; what they find together. A piece of a tail that a killed process left in a node with others is
// found only when it has become the last one there, perhaps much later.
int Worker::checks() {
    long stats[6];
    int found = ischeckdata(fd_) | ischeckvarlen(fd_, stats);
    for (int i = 1; i <= static_cast<int>(indexes_.size()); ++i)
        found |= ischeckindex(fd_, i);
    add(Counter::Checks);
    add(Counter::MaintenanceCalls, static_cast<std::uint32_t>(indexes_.size()) + 2);
    if (journal_->leaks == 0 || (found & ISCHK_LOST) == 0) return found;
    add(Counter::LeaksNoticed);
    return found & ~ISCHK_LOST;
}

bool Worker::inFlight(int key) const {
    if (journal_->taskArgument == 0) return false;
    const Seat &dead = journal_->seats[journal_->taskArgument - 1];
    for (std::uint32_t i = 0; i < dead.flights; ++i)
        if (dead.flight[i].key == static_cast<std::uint32_t>(key)) return true;
    return false;
}

bool Worker::allowed(int key, const Image &found) const {
    const Seat &dead = journal_->seats[journal_->taskArgument - 1];
    for (std::uint32_t i = 0; i < dead.flights; ++i)
        if (dead.flight[i].key == static_cast<std::uint32_t>(key) &&
            Image{dead.flight[i].version, dead.flight[i].checksum} == found)
            return true;
    return false;
}

void Worker::settle(int key, const Image &found) {
    entry(key).version = found.version;
    entry(key).checksum = found.checksum;
}

// As an administrator does it: rebuild what the checks name; where tails are damaged, copy the records that can be
// read. Only what the dead process had in flight may be missing or broken.
void Worker::mend() {
    openAlone();
    const bool something = journal_->seats[journal_->taskArgument - 1].flights != 0;
    long last = 0, stats[6];
    if (isgetlastrec(fd_, &last) != 0) finding(-1, "isgetlastrec: %d/%d", iserrno, iserrio);
    const int data = ischeckdata(fd_), tails = ischeckvarlen(fd_, stats);
    std::vector<int> damaged;
    for (int i = 1; i <= static_cast<int>(indexes_.size()); ++i)
        if (ischeckindex(fd_, i) != 0) damaged.push_back(i);
    int broken = 0;
    std::vector<long> torn;
    for (long number = 1; number <= last; ++number) {
        Facts facts;
        if (isdata(fd_, record_, number) != 0) {
            broken += iserrno != ISERR_NOTFOUND;
            continue;
        }
        const bool sound = parse(record_, isreclen, &facts);
        if (!sound || (inFlight(facts.key) && !allowed(facts.key, facts.image()))) torn.push_back(number);
    }
    add(Counter::MaintenanceCalls, static_cast<std::uint32_t>(last));
    const bool sound = data == 0 && tails == 0 && damaged.empty() && broken == 0 && torn.empty();
    const bool leak = journal_->leaks != 0 && data == 0 && tails == ISCHK_LOST && damaged.empty() && broken == 0;
    if (!sound && !something && !leak)
        finding(-1, "killed between calls: checks 0x%x 0x%x, %d indexes, %d records broken",
                static_cast<unsigned>(data), static_cast<unsigned>(tails), static_cast<int>(damaged.size()), broken);
    if (broken + static_cast<int>(torn.size()) > kImages / 2) finding(-1, "killed: %d records broken", broken);

    IsamFile *file = isAdmItoD(fd_);
    bool copy = tails != 0 || broken != 0;
    if (!copy && data != 0) copy = isRebuildFree(file, ISFREE_DATA) != 1;
    for (const int index : damaged)
        if (!copy) copy = isRebuildIdx(file, index) != 1;
    for (const long number : torn)
        if (!copy) copy = isdelrec(fd_, number) != 0;
    if (!copy && checks() != 0) copy = true;
    if (copy) {
        if (!copyRecords(static_cast<int>(last))) finding(-1, "the records cannot be copied: %d/%d", iserrno, iserrio);
        add(Counter::CopiedAfterKill);
    } else {
        add(sound ? Counter::SoundAfterKill : Counter::RebuiltAfterKill);
    }
    verify(true, true);
}

bool Worker::copyRecords(int last) {
    const std::string mended = dir_ + "/mended";
    const int to = isclone(fd_, mended.c_str());
    if (to < 0) return false;
    for (long number = 1; number <= last; ++number) {
        Facts facts;
        if (isdata(fd_, record_, number) != 0 || !parse(record_, isreclen, &facts)) continue;
        if (inFlight(facts.key) && !allowed(facts.key, facts.image())) continue;
        isreclen = facts.length;
        if (iswrite(to, record_) != 0) return false;
    }
    if (isclose(to) != 0) return false;
    journal_->exclusive = 0;
    if (isclose(fd_) != 0) return false;
    fd_ = -1;
    // Somebody may just be trying whether it can be opened.
    while (iserase(basePath().c_str()) != 0) {
        if (iserrno != ISERR_FILEINUSE) return false;
        add(Counter::KeptOut);
        const timespec time{0, 200000};
        nanosleep(&time, nullptr);
    }
    if (isrename(mended.c_str(), basePath().c_str()) != 0) return false;
    openAlone();
    return true;
}

// The files as they were when the log was begun stand under the name: the log brings them to what the journal knows.
void Worker::recover() {
    if (islogopen(logPath().c_str()) != 0) finding(-1, "islogopen: %d", iserrno);
    const bool killed = journal_->taskArgument != 0;
    const int code = isrecover() == 0 ? 0 : iserrno;
    islogclose();
    // A process that was killed may have left its last log record cut off.
    if (code != 0 && !(killed && code == ISERR_LOGREAD)) finding(-1, "isrecover: %d/%d", code, iserrio);
    add(Counter::Recoveries);
    add(Counter::MaintenanceCalls);
    openAlone();
    verify(false, killed);
}

// Reads all records in the order of an index, 0 for record numbers, and compares them with the journal.
void Worker::verifyIndex(int index, bool forwards) {
    KeyDesc none{};
    const KeyDesc &desc = index == 0 ? none : key(index);
    std::vector<int> met(kKeys, 0);
    std::string previous;
    current_ = -1;
    select(index);
    int code = 0, count = 0;
    for (;; ++count) {
        const int mode = count == 0 ? (forwards ? ISFIRST : ISLAST) : (forwards ? ISNEXT : ISPREV);
        code = did(isread(fd_, record_, mode), Counter::MaintenanceCalls);
        if (code != 0) break;
        Facts facts;
        if (!parse(record_, isreclen, &facts)) finding(facts.key, "index %d: torn record", index);
        if (facts.key < 0 || facts.key >= kKeys) finding(-1, "index %d: record with key %d", index, facts.key);
        if (++met[static_cast<std::size_t>(facts.key)] != 1) finding(facts.key, "index %d: twice", index);
        const Image found = facts.image(), wanted = know(entry(facts.key)).image;
        if (found != wanted && !(inFlight(facts.key) && allowed(facts.key, found)))
            finding(facts.key, "index %d: version %u, where version %u had been written", index, found.version,
                    wanted.version);
        if (index == 0) continue;
        const std::string bytes = keyBytes(desc, record_);
        if (currentKey() != bytes) finding(facts.key, "index %d: entry and record have different keys", index);
        const int order = count == 0 ? -1 : compareKeys(desc, previous, bytes) * (forwards ? 1 : -1);
        if (order > 0 || (order == 0 && (desc.flags & ISDUPS) == 0))
            finding(facts.key, "index %d: out of order", index);
        previous = bytes;
    }
    if (code != ISERR_ENDOFFILE) finding(-1, "index %d: %d/%d", index, code, iserrio);
    for (int i = 0; i < kKeys; ++i)
        if (met[static_cast<std::size_t>(i)] == 0 && entry(i).version != 0 && !inFlight(i))
            finding(i, "index %d: version %u is not there", index, entry(i).version.load());
    DictInfo info{};
    if (isisaminfo(fd_, &info) != 0 || info.recordCount != count)
        finding(-1, "index %d: %d records of %d", index, count, info.recordCount);
}

// Checks, and every record through every index. inDoubt: what was in flight may be either way; resolve: the journal
// takes it as it is now.
void Worker::verify(bool resolve, bool inDoubt) {
    if (const int found = checks(); found != 0) finding(-1, "checks: 0x%x", static_cast<unsigned>(found));
    const std::uint32_t dead = journal_->taskArgument;
    if (!inDoubt) journal_->taskArgument = 0;
    if (resolve) {
        std::map<int, Image> found;
        long last = 0;
        if (isgetlastrec(fd_, &last) != 0) finding(-1, "isgetlastrec: %d/%d", iserrno, iserrio);
        for (long number = 1; number <= last; ++number) {
            Facts facts;
            if (isdata(fd_, record_, number) == 0 && parse(record_, isreclen, &facts) && inFlight(facts.key))
                found[facts.key] = facts.image();
        }
        for (int i = 0; i < kKeys; ++i) {
            if (!inFlight(i)) continue;
            const Image image = found.count(i) != 0 ? found[i] : Image{};
            if (!allowed(i, image)) {
                if (image.version != 0) finding(i, "killed: version %u is none of those in flight", image.version);
                add(Counter::LostInFlight);
            }
            settle(i, image);
        }
        journal_->taskArgument = 0;  // nothing is in doubt any more
    }
    for (int i = 1; i <= static_cast<int>(indexes_.size()); ++i)
        verifyIndex(i, i % 2 != 0);
    verifyIndex(0, true);
    verifyIndex(1, false);
    journal_->taskArgument = dead;
}

}  // namespace stress
