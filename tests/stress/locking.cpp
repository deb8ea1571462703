// Lockers: records one by one, by the handle's own accord, all at once.
#include "worker.h"

#include <cerrno>
#include <cstring>

namespace stress {

// Locks the record of a key and looks whether it is as the journal says: its lock's owner is the only one who may
// change it. The answer leaves the record in record_ and its number in isrecnum.
Worker::Got Worker::lock(int key, bool wait, Facts *facts) {
    AllKnown before;
    select(1);
    if (stopped_) return Got::Stopped;
    keyInto(Facts{.key = key});
    knowAll(*journal_, &before);
    doing(wait ? Action::Wait : Action::Lock, key);
    if (wait && isHeld(key)) add(Counter::Waits);
    const int code = did(isread(fd_, record_, ISEQUAL | ISLOCK | (wait ? ISWAIT : 0)), Counter::LockCalls);
    if (stopped_) return Got::Stopped;
    const Known &known = before[static_cast<std::size_t>(key)];
    switch (code) {
    case 0: break;
    case ISERR_NOTFOUND:
        if (unchanged(key, known) && known.image.version != 0)
            finding(key, "lock: not found, version %u had been written", known.image.version);
        return Got::Gone;
    case ISERR_LOCKED:
        if (wait) finding(key, "lock: refused though it was to be awaited");
        return Got::Busy;
    case EDEADLK:
        if (iserrio != 0x62) finding(key, "lock: EDEADLK of another lock, %d", iserrio);
        if (locked_.empty()) finding(key, "lock: EDEADLK without holding anything");
        add(Counter::Deadlocks);
        return Got::Busy;
    default: finding(key, "lock: %d/%d", code, iserrio);
    }
    *facts = see("lock", before);
    if (facts->key != key) finding(key, "lock: record of key %d", facts->key);
    granted(key);
    return Got::Locked;
}

// Somebody else has it, as far as can be told.
bool Worker::isHeld(int key) const {
    const std::uint32_t holder = journal_->keys[key].holder;
    return holder != 0 && holder != own_;
}

void Worker::granted(int key) {
    const std::uint32_t all = journal_->wholeHas;
    if (all != 0 && all != own_) finding(key, "lock: granted while process %u has all records", all - 1);
    const std::uint32_t before = entry(key).holder.exchange(own_);
    if (before != 0 && before != own_) finding(key, "lock: process %u has it as well", before - 1);
    locked_.insert(key);
    note(journal_, slot_, Action::Lock, key, 0, static_cast<int>(isrecnum));
}

// Who has the record lock finds the journal's entry at rest, but for what may be under way without the lock.
Worker::Got Worker::lockAndClaim(int key, bool wait, Purpose purpose, Facts *facts) {
    if (entry(key).claim == (own_ | static_cast<std::uint32_t>(Purpose::Transaction) << 8)) {
        const Got got = lock(key, false, facts);
        return got;
    }
    const Got got = lock(key, wait, facts);
    if (got != Got::Locked) return got;
    const long number = isrecnum;
    if (!claim(key, purpose)) {
        const Purpose other = purposeOf(key);
        if (other == Purpose::Change) finding(key, "lock: its owner is about to change it");
        release(key);
        return stopped_ ? Got::Stopped : Got::Busy;
    }
    const Known known = know(entry(key));
    if (!known.settled() || known.image != facts->image())
        finding(key, "lock: version %u, where version %u had been written", facts->version, known.image.version);
    isrecnum = number;
    return Got::Locked;
}

Purpose Worker::purposeOf(int key) const { return static_cast<Purpose>(journal_->keys[key].claim >> 8); }

// One of the ways to give a single lock back; record_ may hold anything.
void Worker::release(int key) {
    entry(key).holder = 0;
    locked_.erase(key);
    const long number = isrecnum;
    if (locked_.empty() && seat_.inTransaction == 0 && chance(30))
        did(chance(50) ? isrelease(fd_) : isunlock(fd_), Counter::LockCalls);
    else
        did(isrelrec(fd_, number), Counter::LockCalls);
}

void Worker::releaseAll() {
    for (const int key : locked_)
        entry(key).holder = 0;
    locked_.clear();
    if (fd_ >= 0 && did(isrelease(fd_), Counter::LockCalls) != 0 && !stopped_) finding(-1, "isrelease: %d", iserrno);
}

// Holds some records over several calls, in which they must not change.
void Worker::lockUnit() {
    const int drawn = random_.below(10);
    if (drawn == 0) return wholeUnit();
    if (drawn < 3) return autoUnit();
    if (drawn < 5) return awaitUnit();
    struct Held {
        int key;
        long number;
        Facts facts;
        std::string bytes;
    };
    std::vector<Held> held;
    const int count = 1 + random_.below(4);
    for (int i = 0; i < count && !stopped_; ++i) {
        Facts facts;
        const int key = chance(60) ? random_.below(kBusyKeys / 3) : presentKey();
        if (locked_.count(key) != 0) continue;
        // Two that wait for each other are found by the system.
        if (!locked_.empty() && chance(20)) linger();
        if (lock(key, locked_.empty() ? chance(60) : chance(40), &facts) == Got::Locked)
            held.push_back({key, isrecnum, facts, std::string(record_, static_cast<std::size_t>(facts.length))});
    }
    if (chance(50)) linger();
    for (int i = 0; i < 3 && !stopped_; ++i) {
        for (const Held &one : held) {
            if (did(isdata(fd_, record_, one.number), Counter::LockCalls) != 0) {
                if (!stopped_) finding(one.key, "locked record: %d/%d", iserrno, iserrio);
                break;
            }
            if (isreclen != one.facts.length || std::memcmp(record_, one.bytes.data(), one.bytes.size()) != 0)
                finding(one.key, "locked record of version %u was changed", one.facts.version);
        }
        if (chance(30) && !stopped_) readByKey();
    }
    for (const Held &one : held) {
        if (stopped_ || chance(40)) break;
        isrecnum = one.number;
        release(one.key);
    }
    if (!stopped_ && (!locked_.empty() || chance(10))) releaseAll();
}

// Waits for a record without keeping it.
void Worker::awaitUnit() {
    const int wanted = presentKey();
    AllKnown before;
    select(1);
    if (stopped_) return;
    keyInto(Facts{.key = wanted});
    knowAll(*journal_, &before);
    doing(Action::Wait, wanted);
    if (isHeld(wanted)) add(Counter::Waits);
    const int code = did(isread(fd_, record_, ISEQUAL | ISWAIT), Counter::LockCalls);
    if (stopped_) return;
    if (code == 0)
        see("await", before);
    else if (code != ISERR_NOTFOUND)
        finding(wanted, "await: %d/%d", code, iserrio);
}

// The handle locks what it reads and lets go of what it leaves.
void Worker::autoUnit() {
    select(1);
    if (stopped_) return;
    if (did(issetmode(fd_, ISLOCKAUTO), Counter::LockCalls) != 0) {
        if (!stopped_) finding(-1, "issetmode: %d", iserrno);
        return;
    }
    AllKnown before;
    const int steps = 1 + random_.below(6);
    for (int i = 0; i < steps; ++i) {
        const int wanted = presentKey();
        const bool next = i > 0 && chance(60);
        if (!next) keyInto(Facts{.key = wanted});
        for (const int key : locked_)
            entry(key).holder = 0;
        locked_.clear();
        knowAll(*journal_, &before);
        doing(Action::Wait, next ? -1 : wanted);
        if (!next && isHeld(wanted)) add(Counter::Waits);
        const int code = did(isread(fd_, record_, next ? ISNEXT : ISEQUAL), Counter::LockCalls);
        if (stopped_) return;
        if (code == 0)
            granted(see("read with locks", before).key);
        else if (code != ISERR_NOTFOUND && code != ISERR_ENDOFFILE)
            finding(-1, "read with locks: %d/%d", code, iserrio);
    }
    for (const int key : locked_)
        entry(key).holder = 0;
    locked_.clear();
    if (did(issetmode(fd_, ISLOCKMANUAL), Counter::LockCalls) != 0 && !stopped_) finding(-1, "issetmode: %d", iserrno);
}

// Has all records to itself: nothing changes until it lets go. A rollback must not meet this, so nobody is in a
// transaction meanwhile.
void Worker::wholeUnit() {
    std::uint32_t nobody = 0;
    if (!journal_->whole.compare_exchange_strong(nobody, own_)) return;
    bool quiet = true;
    for (const Seat &seat : journal_->seats)
        quiet = quiet && (seat.inTransaction == 0 || seat.pid == 0);
    if (quiet) {
        doing(Action::Lock);
        const int code = did(islock(fd_), Counter::LockCalls);
        if (code == 0) {
            AllKnown begin;
            journal_->wholeHas = own_;
            knowAll(*journal_, &begin);
            add(Counter::WholeLocks);
            for (int i = 0; i < kKeys; ++i)
                if (const std::uint32_t holder = entry(i).holder; holder != 0 && holder != own_)
                    finding(i, "islock: granted while process %u has a record", holder - 1);
            walk(1 + random_.below(static_cast<int>(indexes_.size())), chance(50), kKeys * 2);
            for (int i = 0; i < kKeys; ++i) {
                const Known &known = begin[static_cast<std::size_t>(i)];
                if (known.settled() && know(entry(i)).image != known.image) finding(i, "islock: changed meanwhile");
            }
            journal_->wholeHas = 0;
            if (!stopped_ && did(isunlock(fd_), Counter::LockCalls) != 0 && !stopped_)
                finding(-1, "isunlock: %d", iserrno);
        } else if (code != ISERR_LOCKED && !stopped_) {
            finding(-1, "islock: %d/%d", code, iserrio);
        }
    }
    if (!stopped_) journal_->whole = 0;
}

}  // namespace stress
