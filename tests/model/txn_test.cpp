// Random transactions, committed and rolled back, and the recovery of all of it from the log.
//
// ISAM_MODEL_SEED sets the seed of the run, ISAM_TXN_STEPS the steps of a world, ISAM_TXN_WORLDS the number of worlds,
// ISAM_TXN_WORLD runs one world alone.
#include "txn_driver.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

namespace {

using namespace model;

long setting(const char *name, long otherwise) {
    const char *text = std::getenv(name);
    return text != nullptr && *text != '\0' ? std::strtol(text, nullptr, 10) : otherwise;
}

constexpr long kWorlds = 60;
constexpr long kSteps = 400;

const char *const kCallsThatBoth[] = {"iswrite",    "iswrlock",   "iswrcurr",  "isrewrec",    "isrewrite", "isrewcurr",
                                      "isdelrec",   "isdelete",   "isdelcurr", "isread",      "iscommit",  "isrollback",
                                      "isaddindex", "isdelindex", "iscluster", "isRebuildIdx"};
const char *const kCallsThatSucceed[] = {"isbegin", "isopen",  "isclose",  "isrelease", "isuniqueid", "issetunique",
                                         "isbuild", "iserase", "isrename", "isclone",   "iscopy",     "isRebuildFree"};

TEST(TransactionRun, RandomTransactionsAgreeWithTheModelAndAreRecovered) {
    auto seed = static_cast<std::uint64_t>(setting("ISAM_MODEL_SEED", 7));
    long worlds = setting("ISAM_TXN_WORLDS", kWorlds);
    long steps = setting("ISAM_TXN_STEPS", kSteps);
    long only = setting("ISAM_TXN_WORLD", -1);
    TxnStatistics statistics;
    int failures = 0;
    for (long number = 0; number < worlds; ++number) {
        if (only >= 0 && number != only) continue;
        TxnDriver driver(seed * 7919 + static_cast<std::uint64_t>(number), &statistics);
        if (!driver.run(static_cast<int>(steps))) {
            ADD_FAILURE() << "ISAM_MODEL_SEED=" << seed << " ISAM_TXN_WORLD=" << number << " ISAM_TXN_STEPS=" << steps
                          << "\n"
                          << driver.report();
            if (++failures == 5) break;
        }
    }
    std::printf("%ld steps, %ld commits, %ld rollbacks, %ld of them failed, %ld descriptors taken back, %ld log "
                "records, %ld recoveries, %ld of them in a transaction, %ld checks through descriptors\n",
                statistics.steps, statistics.commits, statistics.rollbacks + statistics.failedRollbacks,
                statistics.failedRollbacks, statistics.takenBack, statistics.logRecords, statistics.recoveries,
                statistics.unfinished, statistics.checks);
    if (only >= 0 || failures > 0 || worlds < kWorlds || steps < kSteps) return;
    EXPECT_GT(statistics.commits, 300);
    EXPECT_GT(statistics.rollbacks, 300);
    EXPECT_GT(statistics.failedRollbacks, 0);
    EXPECT_GT(statistics.takenBack, 100);
    EXPECT_GT(statistics.unfinished, 20);
    for (const char *name : kCallsThatBoth) {
        EXPECT_GT(statistics.succeeded[name], 0) << name;
        EXPECT_GT(statistics.failed[name], 0) << name;
    }
    for (const char *name : kCallsThatSucceed)
        EXPECT_GT(statistics.succeeded[name], 0) << name;
}

}  // namespace
