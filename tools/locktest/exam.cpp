#include "locktest/exam.h"

#include "lock/lock_layout.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>

namespace tool {

namespace {

using Weight = LockFinding::Weight;

// Ranges as the library locks them.
std::string range(std::int64_t start, std::int64_t length) {
    return std::to_string(start) + " " + std::to_string(length);
}
const std::string kPhase = range(0, lockarea::kAreaLength);
const std::string kOpen = range(lockarea::kHighArea, lockarea::kAreaLength);
const std::string kAllRecords = range(lockarea::kHighArea, lockarea::kDataLength);
constexpr std::int64_t kHighestRecord = 0x7fffffff;
std::string record(std::int64_t number) { return range(lockarea::kHighArea + number, 1); }

// Every lock that a step may have left.
const std::string kEverything = range(0, 0);

constexpr int kManyLocks = 2000;
constexpr int kRounds = 20;
constexpr int kLookMs = 100;  // a lock that is held is asked for so long
constexpr int kLooks = 10;
constexpr int kPatienceMs = 10'000;  // and one that is free

// Ends a step: what was seen instead of what had to be.
struct Unexpected {
    std::string text;
};

class Exam {
  public:
    Exam(Side &here, Side &there, std::string names) : here_(here), there_(there), names_(std::move(names)) {}

    struct Step {
        const char *what;
        Weight weight;
        const char *consequence;  // of a limit
        void (Exam::*run)();
    };
    static const std::array<Step, 22> kSteps;

    LockFinding take(const Step &step) {
        LockFinding finding = {step.what, step.weight, true, ""};
        note_.clear();
        try {
            (this->*step.run)();
            finding.detail = note_;
        } catch (const Unexpected &unexpected) {
            finding.passed = false;
            finding.detail = unexpected.text;
            if (*step.consequence != 0) finding.detail += "; " + std::string(step.consequence);
        }
        for (Side *side : {&here_, &there_}) {
            side->perform("helper kill");
            side->perform("unlock " + kEverything);
        }
        return finding;
    }

  private:
    const char *nameOf(const Side &side) const { return &side == &here_ ? "the first process" : "the second process"; }

    void want(Side &side, const std::string &command, const std::string &wanted) {
        const std::string got = side.perform(command);
        if (got == wanted) return;
        for (const int full : {ENOSPC, EDQUOT})
            if (got == std::string("error ") + std::strerror(full))
                throw NoRoom(std::string(nameOf(side)) + ": '" + command + "': " + std::strerror(full) +
                             ": whether locks work cannot be told without");
        throw Unexpected{std::string(nameOf(side)) + ": '" + command + "' gave '" + got + "', not '" + wanted + "'"};
    }
    // With the one first and with the other.
    void bothWays(const std::function<void(Side &, Side &)> &step) {
        step(here_, there_);
        for (Side *side : {&here_, &there_})
            want(*side, "unlock " + kEverything, "done");
        step(there_, here_);
    }

    void sharedBesideShared();
    void exclusiveKeepsOut();
    void sharedKeepsExclusiveOut();
    void rangesApart();
    void recordsApart();
    void allRecords();
    void highestRecord();
    void partOfARange();
    void exclusiveToShared();
    void sharedToExclusive();
    void waiting();
    void death();
    void many();
    void data();
    void growth();
    void appending();
    void making();
    void seeing();
    void linking();
    void syncing();
    void memory();
    void facts();

    Side &here_;
    Side &there_;
    std::string names_;
    std::string note_;
};

const std::array<Exam::Step, 22> Exam::kSteps = {{
    {"shared locks stand beside each other", Weight::kNeeded, "", &Exam::sharedBesideShared},
    {"an exclusive lock keeps others out", Weight::kNeeded, "", &Exam::exclusiveKeepsOut},
    {"a shared lock keeps exclusive ones out", Weight::kNeeded, "", &Exam::sharedKeepsExclusiveOut},
    {"phase lock and open lock do not touch", Weight::kNeeded, "", &Exam::rangesApart},
    {"locks on neighbouring records do not touch", Weight::kNeeded, "", &Exam::recordsApart},
    {"the lock on all records meets those on single ones", Weight::kNeeded, "", &Exam::allRecords},
    {"record 2147483647 can be locked", Weight::kNeeded, "", &Exam::highestRecord},
    {"a part of a locked range can be released", Weight::kNeeded, "", &Exam::partOfARange},
    {"an exclusive lock becomes a shared one", Weight::kNeeded, "", &Exam::exclusiveToShared},
    {"a shared lock becomes exclusive when it is alone", Weight::kNeeded, "", &Exam::sharedToExclusive},
    {"who waits for a lock gets it when it is released", Weight::kNeeded, "", &Exam::waiting},
    {"locks of a process that dies are released", Weight::kNeeded, "", &Exam::death},
    {"2000 locks can be held", Weight::kNeeded, "", &Exam::many},
    {"under a lock each reads what the other has written", Weight::kNeeded, "", &Exam::data},
    {"under a lock each sees how long the file is", Weight::kNeeded, "", &Exam::growth},
    {"what both append to a file stays whole", Weight::kNeeded, "", &Exam::appending},
    {"a file is made by one of both only", Weight::kNeeded, "", &Exam::making},
    {"a file that one makes or renames is there for the other at once", Weight::kLimit,
     "wait a moment before the other opens it", &Exam::seeing},
    {"a file can have two names", Weight::kLimit, "isrename and iscluster do not work here", &Exam::linking},
    {"what is written can be sent to the device", Weight::kLimit, "ISSYNCWR does not work here", &Exam::syncing},
    {"memory that both map shows what the other writes", Weight::kLimit, "do not open files ISMAPPED here",
     &Exam::memory},
    {"how locks behave besides", Weight::kFact, "", &Exam::facts},
}};

void Exam::sharedBesideShared() {
    want(here_, "lock read " + kPhase, "granted");
    want(there_, "lock read " + kPhase, "granted");
}

void Exam::exclusiveKeepsOut() {
    bothWays([this](Side &holder, Side &other) {
        for (const std::string &area : {kPhase, kOpen}) {
            want(holder, "lock write " + area, "granted");
            want(other, "lock write " + area, "refused");
            want(other, "lock read " + area, "refused");
        }
    });
}

void Exam::sharedKeepsExclusiveOut() {
    bothWays([this](Side &holder, Side &other) {
        want(holder, "lock read " + kOpen, "granted");
        want(other, "lock write " + kOpen, "refused");
    });
}

void Exam::rangesApart() {
    bothWays([this](Side &one, Side &other) {
        want(one, "lock write " + kPhase, "granted");
        want(other, "lock write " + kOpen, "granted");
    });
}

void Exam::recordsApart() {
    want(here_, "lock write " + record(5), "granted");
    want(there_, "lock write " + record(4), "granted");
    want(there_, "lock write " + record(6), "granted");
    want(there_, "lock write " + record(5), "refused");
    want(here_, "lock write " + record(6), "refused");
}

void Exam::allRecords() {
    bothWays([this](Side &one, Side &other) {
        want(one, "lock write " + record(100'000'000), "granted");
        want(other, "lock write " + kAllRecords, "refused");
        want(one, "unlock " + record(100'000'000), "done");
        want(other, "lock write " + kAllRecords, "granted");
        want(one, "lock write " + record(100'000'000), "refused");
    });
}

void Exam::highestRecord() {
    want(here_, "lock write " + record(kHighestRecord), "granted");
    want(there_, "lock write " + record(kHighestRecord), "refused");
    want(there_, "lock write " + record(kHighestRecord - 1), "granted");
}

void Exam::partOfARange() {
    want(here_, "lock write " + kAllRecords, "granted");
    want(here_, "unlock " + record(7), "done");
    want(there_, "lock write " + record(7), "granted");
    want(there_, "lock write " + record(6), "refused");
    want(there_, "lock write " + record(8), "refused");
}

void Exam::exclusiveToShared() {
    want(here_, "lock write " + kOpen, "granted");
    want(here_, "lock read " + kOpen, "granted");
    want(there_, "lock read " + kOpen, "granted");
    want(there_, "lock write " + kOpen, "refused");
}

void Exam::sharedToExclusive() {
    want(here_, "lock read " + kOpen, "granted");
    want(there_, "lock read " + kOpen, "granted");
    want(here_, "lock write " + kOpen, "refused");
    want(there_, "unlock " + kOpen, "done");
    want(here_, "lock write " + kOpen, "granted");
    want(there_, "lock read " + kOpen, "refused");
}

void Exam::waiting() {
    bothWays([this](Side &holder, Side &other) {
        want(holder, "lock write " + kPhase, "granted");
        want(other, "helper wait " + kPhase, "started");
        want(other, "helper result " + std::to_string(kLookMs), "waiting");
        want(holder, "unlock " + kPhase, "done");
        want(other, "helper result " + std::to_string(kPatienceMs), "granted");
        want(other, "helper kill", "done");
    });
}

void Exam::death() {
    bothWays([this](Side &one, Side &other) {
        want(one, "helper lock " + kOpen, "granted");
        want(other, "lock write " + kOpen, "refused");
        want(one, "helper kill", "done");
        want(other, "helper wait " + kOpen, "started");
        want(other, "helper result " + std::to_string(kPatienceMs), "granted");
        want(other, "helper kill", "done");
    });
}

void Exam::many() {
    want(here_, "many " + std::to_string(lockarea::kHighArea) + " " + std::to_string(kManyLocks), "granted");
    want(there_, "lock write " + record(2 * kManyLocks - 2), "refused");
    want(there_, "lock write " + record(2 * kManyLocks - 3), "granted");
}

void Exam::data() {
    for (int round = 0; round < kRounds; ++round) {
        Side &writer = round % 2 == 0 ? here_ : there_;
        Side &reader = round % 2 == 0 ? there_ : here_;
        const std::string text = "round" + std::to_string(1000 + round);
        want(writer, "lock write " + kPhase, "granted");
        want(writer, "write 512 " + text, "done");
        want(writer, "unlock " + kPhase, "done");
        want(reader, "lock read " + kPhase, "granted");
        want(reader, "read 512 " + std::to_string(text.size()), "'" + text + "'");
        want(reader, "unlock " + kPhase, "done");
    }
}

void Exam::growth() {
    for (int round = 0; round < kRounds; ++round) {
        Side &writer = round % 2 == 0 ? here_ : there_;
        Side &reader = round % 2 == 0 ? there_ : here_;
        const std::string size = std::to_string(round % 5 == 4 ? 1024 : 2048 + 100 * round);
        want(writer, "lock write " + kPhase, "granted");
        want(writer, "cut " + size, "done");
        want(writer, "unlock " + kPhase, "done");
        want(reader, "lock read " + kPhase, "granted");
        want(reader, "size", size);
        want(reader, "unlock " + kPhase, "done");
    }
}

void Exam::appending() {
    want(here_, "cut 0", "done");
    std::string all;
    for (int round = 0; round < kRounds; ++round) {
        Side &writer = round % 3 == 0 ? here_ : there_;
        const std::string text = "entry" + std::to_string(1000 + round);
        want(writer, "lock write 0 1", "granted");
        want(writer, "append " + text, "done");
        want(writer, "unlock 0 1", "done");
        all += text;
    }
    for (Side *side : {&here_, &there_}) {
        want(*side, "lock read 0 1", "granted");
        want(*side, "read 0 " + std::to_string(all.size() + 1), "'" + all + "'");
        want(*side, "unlock 0 1", "done");
    }
}

void Exam::making() {
    bothWays([this](Side &one, Side &other) {
        want(one, "create " + names_ + ".a", "made");
        const std::string second = other.perform("create " + names_ + ".a");
        const std::string third = one.perform("create " + names_ + ".a");
        want(one, "remove " + names_ + ".a", "done");
        if (second != "exists" || third != "exists") throw Unexpected{"a file that was there was made anew: " + second};
    });
}

void Exam::seeing() {
    const std::string a = names_ + ".a";
    const std::string b = names_ + ".b";
    want(there_, "there " + a, "no");
    want(here_, "create " + a, "made");
    const std::string made = there_.perform("there " + a);
    want(here_, "rename " + a + " " + b, "done");
    const std::string renamed = there_.perform("there " + b);
    const std::string old = there_.perform("there " + a);
    want(here_, "remove " + b, "done");
    if (made != "yes") throw Unexpected{"a new file is not there yet"};
    if (renamed != "yes" || old != "no") throw Unexpected{"a renamed file has its old name still"};
}

void Exam::linking() {
    const std::string a = names_ + ".a";
    const std::string b = names_ + ".b";
    want(here_, "create " + a, "made");
    const std::string linked = here_.perform("link " + a + " " + b);
    const std::string again = here_.perform("link " + a + " " + b);
    if (linked == "done") here_.perform("remove " + b);
    want(here_, "remove " + a, "done");
    if (linked != "done") throw Unexpected{"a second name was refused: " + linked};
    if (again != "exists") throw Unexpected{"a name that was taken was given again: " + again};
}

void Exam::syncing() {
    want(here_, "write 0 synced", "done");
    for (Side *side : {&here_, &there_})
        want(*side, "sync", "done");
}

void Exam::memory() {
    want(here_, "cut 8192", "done");
    want(here_, "write 4096 oldoldold", "done");
    for (Side *side : {&here_, &there_}) {
        want(*side, "lock read " + kPhase, "granted");
        want(*side, "mapread 4096 9", "'oldoldold'");
        want(*side, "unlock " + kPhase, "done");
    }
    bothWays([this](Side &writer, Side &reader) {
        for (const std::string &verb : {std::string("write"), std::string("mapwrite")}) {
            const std::string text = verb + "-by-" + (&writer == &here_ ? "one" : "two");
            want(writer, "lock write " + kPhase, "granted");
            want(writer, verb + " 4096 " + text, "done");
            want(writer, "unlock " + kPhase, "done");
            want(reader, "lock read " + kPhase, "granted");
            for (const std::string &look : {std::string("mapread"), std::string("read")})
                want(reader, look + " 4096 " + std::to_string(text.size()), "'" + text + "'");
            want(reader, "unlock " + kPhase, "done");
        }
    });
}

// None of this is needed.
void Exam::facts() {
    const auto tell = [this](const std::string &text) {
        note_ += (note_.empty() ? "" : "; ") + text;
    };
    there_.perform("lock write " + record(1));
    const std::string holder = here_.perform("ask " + record(1));
    tell(holder == "write " + there_.perform("process") ? "who holds a lock can be asked"
         : holder == "free"                             ? "who holds a lock cannot be asked"
                                                        : "who holds a lock can be asked, but not its process");
    there_.perform("reopen");
    tell(here_.perform("lock write " + record(1)) == "granted"
             ? "closing another descriptor of a file drops the process's locks, as it should"
             : "closing another descriptor of a file keeps the process's locks");
    here_.perform("helper lock " + record(3));
    there_.perform("helper lock " + record(4));
    here_.perform("helper go " + record(4));
    there_.perform("helper go " + record(3));
    std::string first = "waiting";
    std::string second = "waiting";
    for (int i = 0; i < kLooks && first == "waiting" && second == "waiting"; ++i) {
        first = here_.perform("helper result " + std::to_string(kLookMs));
        second = there_.perform("helper result " + std::to_string(kLookMs));
    }
    tell(first == "deadlock" || second == "deadlock" ? "who waits for each other is told (EDEADLK)"
                                                     : "who waits for each other waits for ever");
}

}  // namespace

std::vector<LockFinding> examine(Side &here, Side &there, const std::string &names,
                                 const std::function<void()> &stepDone) {
    Exam exam(here, there, names);
    std::vector<LockFinding> findings;
    for (const Exam::Step &step : Exam::kSteps) {
        findings.push_back(exam.take(step));
        stepDone();
    }
    return findings;
}

std::size_t examinationSteps() { return Exam::kSteps.size(); }

bool isFit(const std::vector<LockFinding> &findings) {
    return std::all_of(findings.begin(), findings.end(), [](const LockFinding &finding) {
        return finding.passed || finding.weight != LockFinding::Weight::kNeeded;
    });
}

}  // namespace tool
