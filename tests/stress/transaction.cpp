// Transactions: some changes, kept or undone together.
#include "worker.h"

namespace stress {

void Worker::transactionUnit() {
    constexpr int kMost = 5;
    seat_.inTransaction = 1;
    if (draining() || (journal_->whole != 0 && journal_->whole != own_)) {
        seat_.inTransaction = 0;
        return;
    }
    if (const int code = did(isbegin(), Counter::TransactionCalls); code != 0) finding(-1, "isbegin: %d", code);
    touched_.clear();
    const int changes = 1 + random_.below(kMost);
    for (int i = 0; i < changes && !stopped_; ++i) {
        const int drawn = random_.below(10);
        if (drawn < 4)
            insert(Purpose::Transaction);
        else if (drawn < 8)
            rewrite(Purpose::Transaction);
        else
            remove(Purpose::Transaction);
        if (chance(10) && !stopped_) readByKey();
        if (chance(10)) linger();
    }
    endTransaction();
    touched_.clear();
    seat_.inTransaction = 0;
}

void Worker::endTransaction() {
    const bool keep = chance(60);
    // What others may lock as soon as the call is over, they must not find locked here.
    std::vector<int> claimed;
    for (int i = 0; i < kKeys; ++i)
        if (entry(i).claim == (own_ | static_cast<std::uint32_t>(Purpose::Transaction) << 8)) claimed.push_back(i);
    for (const int key : locked_)
        entry(key).holder = 0;
    locked_.clear();
    doing(Action::Rollback);
    if (keep) {
        if (const int code = did(iscommit(), Counter::TransactionCalls); code != 0) finding(-1, "iscommit: %d", code);
        add(Counter::Commits);
    } else {
        rollBack();
    }
    for (const int key : claimed)
        unclaim(key);
    const bool undone = !keep && !touched_.empty();
    if (undone) {
        // The log does not follow a handle through which changes were undone.
        close();
        open();
    } else if (!stopped_) {
        releaseAll();
    }
}

void Worker::rollBack() {
    for (const Touched &touched : touched_) {
        for (const Image &image : touched.images)
            fly(touched.key, image);
        ++entry(touched.key).sequence;
        ++entry(touched.key).rollbacks;
        note(journal_, slot_, Action::Rollback, touched.key, touched.before.version, 0);
    }
    const int code = did(isrollback(), Counter::TransactionCalls);
    if (code != 0) finding(touched_.empty() ? -1 : touched_.front().key, "isrollback: %d/%d", code, iserrio);
    add(Counter::Rollbacks);
    for (const Touched &touched : touched_) {
        entry(touched.key).version = touched.before.version;
        entry(touched.key).checksum = touched.before.checksum;
        ++entry(touched.key).sequence;
        note(journal_, slot_, Action::Told, touched.key, touched.before.version, code);
    }
    seat_.flights = 0;
}

}  // namespace stress
