// Readers: by key, in the order of every index both ways, by record number, from the beginning of a key.
#include "worker.h"

#include <array>

namespace stress {

void Worker::readUnit() {
    const int drawn = random_.below(100);
    const int most = chance(25) ? kKeys * 4 : 25;
    if (drawn < 40)
        readByKey();
    else if (drawn < 55)
        readByBadge();
    else if (drawn < 65)
        readByNumber();
    else if (drawn < 72)
        readInfo();
    else if (drawn < 90)
        walk(1 + random_.below(static_cast<int>(indexes_.size())), chance(60), most);
    else if (drawn < 95)
        walkNumbers(most);
    else
        partialStart();
}

void Worker::readByKey() {
    const int wanted = anyKey();
    AllKnown before;
    select(1);
    if (stopped_) return;
    keyInto(Facts{.key = wanted});
    knowAll(*journal_, &before);
    doing(Action::Read, wanted);
    const int code = did(isread(fd_, record_, ISEQUAL), Counter::ReadCalls);
    if (stopped_) return;
    const Known &known = before[static_cast<std::size_t>(wanted)];
    if (code == 0) {
        if (see("read by key", before).key != wanted) finding(wanted, "read by key: record %ld", ldlong(record_));
    } else if (code != ISERR_NOTFOUND) {
        finding(wanted, "read by key: %d/%d", code, iserrio);
    } else if (unchanged(wanted, known) && known.image.version != 0) {
        finding(wanted, "read by key: not found, version %u had been written", known.image.version);
    }
}

// What the first index has, the second one has, unless it was changed in between.
void Worker::readByBadge() {
    const int wanted = presentKey();
    AllKnown before;
    select(1);
    if (stopped_) return;
    keyInto(Facts{.key = wanted});
    knowAll(*journal_, &before);
    if (did(isread(fd_, record_, ISEQUAL), Counter::ReadCalls) != 0) return;
    const Facts first = see("read by key", before);
    select(2);
    if (stopped_) return;
    keyInto(first);
    doing(Action::Read, wanted);
    const int code = did(isread(fd_, record_, ISEQUAL), Counter::ReadCalls);
    if (stopped_) return;
    if (code == 0) {
        // What was known before both reads was known before the second one.
        const Facts second = see("read by second key", before);
        if (second.badge != first.badge)
            finding(wanted, "read by second key %d: record with %d", first.badge, second.badge);
        if (unchanged(wanted, before[static_cast<std::size_t>(wanted)]) && second.key != wanted)
            finding(wanted, "read by second key %d: record of key %d", first.badge, second.key);
    } else if (code != ISERR_NOTFOUND) {
        finding(wanted, "read by second key: %d/%d", code, iserrio);
    } else if (unchanged(wanted, before[static_cast<std::size_t>(wanted)])) {
        finding(wanted, "read by second key %d: not found", first.badge);
    }
}

void Worker::readByNumber() {
    AllKnown before;
    long last = 0;
    if (did(isgetlastrec(fd_, &last), Counter::ReadCalls) != 0 || last == 0) return;
    const long number = 1 + random_.below(static_cast<int>(last));
    doing(Action::Read);
    knowAll(*journal_, &before);
    int code;
    if (chance(50) && current_ != 0) {
        // The position's record, or the one that follows where it has gone.
        code = did(isgoto(fd_, number), Counter::ReadCalls);
        if (code == 0) code = did(isread(fd_, record_, ISCURR), Counter::ReadCalls);
        if (code == ISERR_ENDOFFILE) return;
    } else {
        code = did(isdata(fd_, record_, number), Counter::ReadCalls);
    }
    if (stopped_) return;
    if (code == 0)
        see("read by number", before);
    else if (code != ISERR_NOTFOUND && code != ISERR_NOCURRENT)
        finding(-1, "read by number %ld: %d/%d", number, code, iserrio);
}

// Every record that nobody touches meanwhile is counted, and none that is not there.
void Worker::readInfo() {
    AllKnown before;
    DictInfo info{};
    knowAll(*journal_, &before);
    if (did(isisaminfo(fd_, &info), Counter::ReadCalls) != 0) {
        if (!stopped_) finding(-1, "isisaminfo: %d/%d", iserrno, iserrio);
        return;
    }
    int least = 0, most = 0;
    for (int i = 0; i < kKeys; ++i) {
        const Known &known = before[static_cast<std::size_t>(i)];
        const bool sure = unchanged(i, known), there = known.image.version != 0;
        least += sure && there;
        most += !sure || there;
    }
    if (info.recordCount < least || info.recordCount > most)
        finding(-1, "isisaminfo: %d records, expected %d to %d", info.recordCount, least, most);
}

// A walk is in order whatever others change, and a record that they leave alone comes exactly once.
void Worker::walk(int index, bool forwards, int most) {
    AllKnown begin, before;
    std::array<std::uint32_t, kKeys> lastVersion{};
    select(index);
    if (stopped_) return;
    doing(Action::Walk, index);
    knowAll(*journal_, &begin);
    add(Counter::Walks);
    const char *const how = forwards ? "walk forwards" : "walk backwards";
    const KeyDesc &desc = key(index);
    const bool unique = (desc.flags & ISDUPS) == 0;
    std::string previous;
    int previousKey = 0;
    Known previousKnown;
    int code = 0;
    for (int i = 0; i < most; ++i) {
        knowAll(*journal_, &before);
        const int mode = i == 0 ? (forwards ? ISFIRST : ISLAST) : (forwards ? ISNEXT : ISPREV);
        code = did(isread(fd_, record_, mode), Counter::ReadCalls);
        if (code != 0) break;
        const Facts facts = see(how, before);
        const std::string bytes = keyBytes(desc, record_);
        if (currentKey() != bytes)
            finding(facts.key, "%s on index %d: entry and record have different keys", how, index);
        const int order = i == 0 ? -1 : compareKeys(desc, previous, bytes) * (forwards ? 1 : -1);
        // Where a unique key's record has gone, another one that took its key is what follows it.
        const bool taken = forwards && !unchanged(previousKey, previousKnown);
        if (order > 0 || (order == 0 && unique && !taken))
            finding(facts.key, "%s on index %d: out of order", how, index);
        previous = bytes;
        previousKey = facts.key;
        const auto at = static_cast<std::size_t>(facts.key);
        previousKnown = before[at];
        if (lastVersion[at] == facts.version && entry(facts.key).rollbacks == begin[at].rollbacks)
            finding(facts.key, "%s on index %d: version %u twice", how, index, facts.version);
        lastVersion[at] = facts.version;
    }
    if (stopped_ || code == 0) return;
    if (code != ISERR_ENDOFFILE) finding(-1, "%s on index %d: %d/%d", how, index, code, iserrio);
    for (int i = 0; i < kKeys; ++i) {
        const auto at = static_cast<std::size_t>(i);
        if (unchanged(i, begin[at]) && (begin[at].image.version != 0) != (lastVersion[at] != 0))
            finding(i, "%s on index %d: %s", how, index, lastVersion[at] != 0 ? "a record too many" : "left out");
    }
}

void Worker::walkNumbers(int most) {
    AllKnown begin, before;
    std::array<bool, kKeys> met{};
    select(0);
    if (stopped_) return;
    doing(Action::Walk);
    knowAll(*journal_, &begin);
    add(Counter::Walks);
    long previous = 0;
    int code = 0;
    for (int i = 0; i < most; ++i) {
        knowAll(*journal_, &before);
        code = did(isread(fd_, record_, i == 0 ? ISFIRST : ISNEXT), Counter::ReadCalls);
        if (code != 0) break;
        const Facts facts = see("walk by number", before);
        if (isrecnum <= previous) finding(facts.key, "walk by number: %ld after %ld", isrecnum, previous);
        previous = isrecnum;
        met[static_cast<std::size_t>(facts.key)] = true;
    }
    if (stopped_ || code == 0) return;
    if (code != ISERR_ENDOFFILE) finding(-1, "walk by number: %d/%d", code, iserrio);
    for (int i = 0; i < kKeys; ++i) {
        const auto at = static_cast<std::size_t>(i);
        if (unchanged(i, begin[at]) && begin[at].image.version != 0 && !met[at]) finding(i, "walk by number: left out");
    }
}

// From the first name that begins so.
void Worker::partialStart() {
    AllKnown before;
    KeyDesc names = key(3);
    const int length = 6 + random_.below(4) * 2;
    Facts from;
    from.name = random_.below(kNames);
    keyInto(from);
    const std::string wanted(record_ + names.parts[0].start, static_cast<std::size_t>(length));
    current_ = 0;
    doing(Action::Walk, 3);
    int code = did(isstart(fd_, &names, length, record_, ISEQUAL), Counter::ReadCalls);
    if (stopped_) return;
    if (code != 0) {
        if (code != ISERR_NOTFOUND) finding(-1, "isstart by a beginning: %d/%d", code, iserrio);
        return;
    }
    add(Counter::Walks);
    std::string previous = wanted;
    for (int i = 0; i < kKeys; ++i) {
        knowAll(*journal_, &before);
        code = did(isread(fd_, record_, ISNEXT), Counter::ReadCalls);
        if (stopped_) return;
        if (code != 0) {
            if (code != ISERR_ENDOFFILE) finding(-1, "walk from a beginning: %d/%d", code, iserrio);
            return;
        }
        const Facts facts = see("walk from a beginning", before);
        const std::string bytes = keyBytes(names, record_);
        if (currentKey() != bytes) finding(facts.key, "walk from a beginning: entry and record have different keys");
        if (bytes < previous) finding(facts.key, "walk from a beginning: out of order");
        if (bytes.compare(0, wanted.size(), wanted) != 0) return;
        previous = bytes;
    }
}

}  // namespace stress
