// Writers, rewriters, deleters.
#include "worker.h"

namespace stress {

// Of two racers that share a unique key at most one can be there.
static int partnerOf(int key) { return key < kKeys - kRacers ? -1 : key ^ 1; }

bool Worker::insert(Purpose purpose) {
    const int key = absentKey();
    const bool own = entry(key).claim == (own_ | static_cast<std::uint32_t>(purpose) << 8);
    if (purpose == Purpose::Transaction && partnerOf(key) >= 0) return false;
    if (!own && !claim(key, purpose)) return false;
    if (entry(key).version != 0) {
        if (!own) unclaim(key);
        return false;
    }
    const int partner = partnerOf(key);
    const Known partnerBefore = partner >= 0 ? know(entry(partner)) : Known{};
    const Facts facts = freshFacts(key);
    const Image image = compose(facts, record_);
    const int way = current_ != 0 ? random_.below(3) : random_.below(2);
    announce(Action::Insert, key, image);
    isreclen = facts.length;
    isrecnum = 0;
    const int result = way == 0 ? iswrite(fd_, record_) : way == 1 ? iswrlock(fd_, record_) : iswrcurr(fd_, record_);
    const int code = did(result, Counter::WriteCalls);
    const long number = isrecnum;
    // iswrcurr may have been stopped behind the writing, in its move to the record.
    const bool happened = code == 0 || (way == 2 && stopped_ && number != 0);
    told(key, image, happened, code);
    if (code == 0) {
        // Under a log the new record is locked.
        isrecnum = number;
        granted(key);
        if (purpose != Purpose::Transaction) release(key);
    } else if (code == ISERR_DUPLICATE) {
        add(Counter::Duplicates);
        if (partner < 0) finding(key, "write: 100, but nobody has its keys");
        if (unchanged(partner, partnerBefore) && partnerBefore.image.version == 0)
            finding(key, "write: 100, but the only one to share a key with it is not there");
    } else if (code != ISERR_LOCKED && !stopped_) {
        finding(key, "write: %d/%d", code, iserrio);
    }
    if (purpose != Purpose::Transaction || (code != 0 && !own)) unclaim(key);
    return code == 0;
}

// A key that is there cannot be written again.
void Worker::duplicate() {
    const int key = presentKey();
    if (!claim(key, Purpose::Probe)) return;
    if (entry(key).version != 0) {
        const Facts facts = freshFacts(key);
        compose(facts, record_);
        isreclen = facts.length;
        doing(Action::Insert, key);
        const int code = did(iswrite(fd_, record_), Counter::WriteCalls);
        if (code == ISERR_DUPLICATE)
            add(Counter::Duplicates);
        else if (!stopped_)
            finding(key, "write of a key that is there: %d", code);
    }
    unclaim(key);
}

// Changes a record, whose number is in isrecnum, in one of the ways there are.
int Worker::changeLocked(Action action, int key, const char *record) {
    const long number = isrecnum;
    const int way = random_.below(3);
    char *const buffer = const_cast<char *>(record);
    doing(action, key);
    if (way == 0 && current_ == 1) {
        // The position is on the record since it was locked.
        return action == Action::Delete ? isdelcurr(fd_) : isrewcurr(fd_, buffer);
    }
    if (way == 1) return action == Action::Delete ? isdelrec(fd_, number) : isrewrec(fd_, number, buffer);
    return action == Action::Delete ? isdelete(fd_, buffer) : isrewrite(fd_, buffer);
}

bool Worker::rewrite(Purpose purpose) {
    const int key = presentKey();
    if (purpose == Purpose::Transaction && partnerOf(key) >= 0) return false;
    Facts facts;
    const bool wait = purpose != Purpose::Transaction ? chance(30) : chance(10);
    if (lockAndClaim(key, wait, purpose, &facts) != Got::Locked) return false;
    const long number = isrecnum;
    const Facts changed = changedFacts(key, facts);
    const Image image = compose(changed, record_);
    announce(Action::Rewrite, key, image);
    isrecnum = number;
    isreclen = changed.length;
    const int code = did(changeLocked(Action::Rewrite, key, record_), Counter::RewriteCalls);
    told(key, image, code == 0, code);
    if (code != 0 && !stopped_) finding(key, "rewrite: %d/%d", code, iserrio);
    if (code == 0 && isrecnum != number) finding(key, "rewrite: record %ld became record %ld", number, isrecnum);
    if (purpose == Purpose::Transaction) return code == 0;
    unclaim(key);
    isrecnum = number;
    if (!stopped_) release(key);
    return code == 0;
}

bool Worker::remove(Purpose purpose) {
    const int key = presentKey();
    if (purpose == Purpose::Transaction && partnerOf(key) >= 0) return false;
    Facts facts;
    if (lockAndClaim(key, purpose != Purpose::Transaction && chance(30), purpose, &facts) != Got::Locked) return false;
    const long number = isrecnum;
    entry(key).holder = 0;  // the call itself lets go of the lock
    locked_.erase(key);
    announce(Action::Delete, key, {});
    isrecnum = number;
    const int code = did(changeLocked(Action::Delete, key, record_), Counter::DeleteCalls);
    told(key, {}, code == 0, code);
    if (code != 0 && !stopped_) finding(key, "delete: %d/%d", code, iserrio);
    if (purpose == Purpose::Transaction) return code == 0;
    unclaim(key);
    return code == 0;
}

// Tries to change a record without having locked it: refused while somebody has.
void Worker::bold() {
    const int key = presentKey();
    if (!claim(key, Purpose::Bold)) return;
    if (entry(key).version == 0) return unclaim(key);
    const bool removing = chance(30);
    Facts facts = freshFacts(key);
    const Image image = removing ? Image{} : compose(facts, record_);
    if (removing) keyInto(Facts{.key = key});
    announce(removing ? Action::Delete : Action::Rewrite, key, image);
    isreclen = facts.length;
    const int code = removing ? did(isdelete(fd_, record_), Counter::DeleteCalls)
                              : did(isrewrite(fd_, record_), Counter::RewriteCalls);
    const long number = isrecnum;
    told(key, image, code == 0, code);
    if (code == 0 && !removing) {
        isrecnum = number;
        granted(key);
        unclaim(key);
        release(key);
        return;
    }
    if (code != 0 && code != ISERR_LOCKED && !stopped_) finding(key, "change without a lock: %d/%d", code, iserrio);
    unclaim(key);
}

}  // namespace stress
