// One process of the stress.
#ifndef TESTS_STRESS_WORKER_H
#define TESTS_STRESS_WORKER_H

#include "journal.h"
#include "quarantine.h"
#include "record.h"

#include "model/random.h"

#include "isam.h"

#include <set>
#include <string>
#include <vector>

namespace stress {

class Worker {
  public:
    Worker(Journal *journal, int slot, const std::string &dir, std::uint64_t seed);
    // Works until it is told to end. Returns the exit code.
    int run();

  private:
    static constexpr int kBusyKeys = 20;  // are met more often than the others

    // worker.cpp: the file, the journal, the pauses.
    void unit();
    void pause();
    void linger();
    void open();
    void close();
    int openRetrying(int mode);
    void readIndexes();
    int did(int result, Counter counter);
    void add(Counter counter, std::uint32_t much = 1) { seat_.counters[static_cast<int>(counter)] += much; }
    void doing(Action action, int key = -1);
    [[noreturn]] void finding(int key, const char *format, ...) __attribute__((format(printf, 3, 4)));
    bool chance(int percent) { return random_.percent(percent); }
    std::string basePath() const { return dir_ + "/file"; }
    std::string logPath() const;
    bool draining() const { return journal_->draining != 0 && journal_->draining != own_; }

    // choosing.cpp: keys, claims, and what is in flight.
    int anyKey() { return random_.below(chance(30) ? kBusyKeys : kKeys); }
    int presentKey();
    int absentKey();
    bool claim(int key, Purpose purpose);
    void unclaim(int key);
    Purpose purposeOf(int key) const;
    Facts freshFacts(int key);
    Facts changedFacts(int key, const Facts &from);
    void announce(Action action, int key, Image image);
    void told(int key, Image image, bool happened, int code);
    void fly(int key, Image image);
    KeyEntry &entry(int key) { return journal_->keys[key]; }

    // seeing.cpp: what a record that was read must be.
    void select(int index);
    void keyInto(const Facts &facts) { compose(facts, record_); }
    Facts see(const char *how, const AllKnown &before);
    void mustBe(const char *how, const Known &before, const Facts &facts);
    bool unchanged(int key, const Known &before);
    std::string currentKey();
    const KeyDesc &key(int index) const { return indexes_[static_cast<std::size_t>(index - 1)]; }

    // reading.cpp
    void readUnit();
    void readByKey();
    void readByBadge();
    void readByNumber();
    void readInfo();
    void walk(int index, bool forwards, int most);
    void walkNumbers(int most);
    void partialStart();

    // changing.cpp
    bool insert(Purpose purpose);
    void duplicate();
    bool rewrite(Purpose purpose);
    bool remove(Purpose purpose);
    void bold();
    int changeLocked(Action action, int key, const char *record);

    // locking.cpp
    enum class Got { Locked, Busy, Gone, Stopped };
    Got lock(int key, bool wait, Facts *facts);
    Got lockAndClaim(int key, bool wait, Purpose purpose, Facts *facts);
    void granted(int key);
    bool isHeld(int key) const;
    void release(int key);
    void releaseAll();
    void lockUnit();
    void autoUnit();
    void wholeUnit();
    void awaitUnit();

    // opening.cpp
    void openUnit();

    // transaction.cpp
    void transactionUnit();
    void endTransaction();
    void rollBack();

    // maintaining.cpp: alone with the file.
    void perform(Task task);
    void openAlone();
    void openForUpkeep(int mode);
    void build();
    void changeIndexes();
    void rebuild();
    void cluster();
    void mend();
    void recover();
    int checks();
    bool copyRecords(int last);
    void verify(bool resolve, bool inDoubt);
    void verifyIndex(int index, bool forwards);
    bool allowed(int key, const Image &found) const;
    bool inFlight(int key) const;
    void settle(int key, const Image &found);
    void probeExclusive();

    Journal *journal_;
    const int slot_;
    const std::uint32_t own_;
    Seat &seat_;
    const std::string dir_;
    model::Random random_;
    const bool mapped_;  // most of its handles are
    Quarantine quarantine_;

    int fd_ = -1;
    int current_ = 0;  // index selected, 0: none of them
    std::vector<KeyDesc> indexes_;
    bool logged_ = false;
    bool stopped_ = false;  // a call was stopped by the quarantine: nothing more until the pause is over
    struct Seen {
        std::uint32_t version = 0, rollbacks = 0;
    };
    std::vector<Seen> seen_;
    std::set<int> locked_;  // keys whose records this process has locked
    struct Touched {
        int key;
        Image before;
        std::vector<Image> images;
    };
    std::vector<Touched> touched_;  // by the transaction
    char record_[kMaximum] = {};
};

}  // namespace stress

#endif
