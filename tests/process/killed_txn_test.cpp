#include "txn_log_test.h"
#include "victim.h"

#include <cstdio>
#include <filesystem>

namespace process_testing {
namespace {

constexpr int kMoments = 50;
constexpr int kLatest = 12000;  // microseconds

// What was found in the logs of the killed.
struct KillCounts {
    int records = 0;
    int commits = 0;
    int rollbacks = 0;
    int changes = 0;
    int inTransaction = 0;
    int headTorn = 0;
    int bodyTorn = 0;

    void add(const LogBytes &log) {
        records += static_cast<int>(log.records.size());
        commits += log.count("CW");
        rollbacks += log.count("RW");
        changes += log.count("IN") + log.count("UP") + log.count("DE");
        inTransaction += log.count("BW") - log.count("CW") - log.count("RW");
        if (log.torn != 0) ++(log.torn < kLogHead ? headTorn : bodyTorn);
    }
    void print() const {
        std::printf("%d moments: %d of them in a transaction; the logs hold %d records, %d changes, %d commits, %d "
                    "rollbacks; the last record has a torn head %d times, a torn body %d times\n",
                    kMoments, inTransaction, records, changes, commits, rollbacks, headTorn, bodyTorn);
    }
};

class KilledInTransactions : public TxnLogTest, public testing::WithParamInterface<int> {};

// Whatever the process was doing, the log has all of it that recovery needs.
TEST_P(KilledInTransactions, IsRecoveredFromItsLog) {
    KillCounts counts;
    model::Random random(static_cast<std::uint64_t>(GetParam()));
    for (int i = 0; i < kMoments && !HasFailure(); ++i) {
        shelf.restore("start");
        std::filesystem::remove(shelf.log());
        const int moment = random.below(kLatest);
        SCOPED_TRACE("killed after " + std::to_string(moment) + " microseconds");
        ASSERT_EQ(Victim(shelf, shared, random.next()).killAfter(moment), "");
        const LogBytes log = readLog();
        counts.add(log);
        recoverFrom(log);
        expectSame(contents(), replay(log.records));
    }
    counts.print();
}

INSTANTIATE_TEST_SUITE_P(Seeds, KilledInTransactions, testing::Range(1, 5));

}  // namespace
}  // namespace process_testing
