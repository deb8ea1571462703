// Random transactions of one process, on files that others work on as well and on files of its own.
#ifndef TESTS_PROCESS_TXN_WORK_H
#define TESTS_PROCESS_TXN_WORK_H

#include "txn_files.h"

#include "model/random.h"

#include <initializer_list>
#include <string>
#include <vector>

namespace process_testing {

// Which of how many processes works, and what draws its choices.
struct TxnShare {
    int process = 0;
    int processes = 1;
    std::uint64_t seed = 0;
};

struct TxnCounts {
    int commits = 0;
    int rollbacks = 0;
    int changes = 0;    // tried
    int refused = 0;    // by a lock of another process
    int takenBack = 0;  // files closed and opened again in a transaction
};

class TxnWork {
  public:
    // shared: files that exist; dir: where the process makes its own. Of several processes each inserts, deletes and
    // renames only records with keys of its own: a key taken by another one would keep a rollback from putting back
    // what had it.
    TxnWork(const std::vector<TxnFile> &shared, const std::string &dir, const TxnShare &share);

    // Each returns false after a call that should have succeeded; failure tells which.
    bool prepare(const std::string &log);
    bool step();
    bool finish();

    const std::string &failure() const { return failure_; }
    const TxnCounts &counts() const { return counts_; }

  private:
    struct Place {
        TxnFile file;
        int fd = -1;
        int parked = -1;  // its descriptor, when it was closed in the transaction
    };

    // txn_work.cpp: transactions, and what is done between them.
    bool good(int result, const char *call, std::initializer_list<int> errors = {});
    bool open(Place *place);
    bool close(Place *place);
    bool transaction();
    bool end(bool keep);
    bool between();
    bool moveOn();

    // txn_change.cpp: changes of records.
    bool change(Place *place);
    bool insert(const Place &place);
    bool rewrite(const Place &place);
    bool rename(const Place &place);
    bool remove(const Place &place);
    bool uniqueId(const Place &place);
    bool readLocked(const Place &place, int key, bool *found);
    int anyKey();
    int ownKey();
    void compose(const TxnFile &file, int key);
    int tailLength(int most);
    void fill(int from, int to);

    Place &anyPlace() { return places_[static_cast<std::size_t>(random_.below(static_cast<int>(places_.size())))]; }

    const TxnShare share_;
    model::Random random_;
    std::vector<Place> places_;
    TxnFile moving_;  // built, renamed and erased by turns
    std::string movedTo_;
    int steps_ = 0, moves_ = 0;
    bool inTransaction_ = false;
    std::string failure_;
    TxnCounts counts_;
    char record_[kTxnMaximum] = {};
};

}  // namespace process_testing

#endif
