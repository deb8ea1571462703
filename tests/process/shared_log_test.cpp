#include "txn_log_test.h"

#include "jobs.h"

#include <memory>
#include <set>

namespace process_testing {
namespace {

constexpr int kSteps = 200;

// Set before the workers are made.
const std::vector<TxnFile> *sharedFiles = nullptr;
const FileShelf *sharedShelf = nullptr;

// number: the process, other: of how many; mode: seed. Leaves counts, or what failed, in record.
int workWithOthers(Job &job) {
    const TxnShare share = {static_cast<int>(job.number), static_cast<int>(job.other),
                            static_cast<std::uint64_t>(job.mode * 100 + job.number)};
    TxnWork work(*sharedFiles, sharedShelf->path(), share);
    bool good = work.prepare(sharedShelf->log());
    for (int i = 0; good && i < kSteps; ++i)
        good = work.step();
    good = good && work.finish();
    if (!good) {
        work.failure().copy(job.record, kRecordRoom - 1);
        return -1;
    }
    std::memcpy(job.record, &work.counts(), sizeof(TxnCounts));
    return 0;
}

class SharedLog : public TxnLogTest, public testing::WithParamInterface<int> {
  protected:
    void SetUp() override {
        TxnLogTest::SetUp();
        sharedFiles = &shared;
        sharedShelf = &shelf;
    }

    // All processes at once, each with transactions of its own. Leaves their ids, as log records have them.
    void runAll(int processes, int seed) {
        std::vector<std::unique_ptr<Worker>> workers;
        for (int i = 0; i < processes; ++i) {
            workers.push_back(std::make_unique<Worker>());
            ids.insert(static_cast<std::uint32_t>(workers.back()->pid()) & 0xffffU);
        }
        for (int i = 0; i < processes; ++i) {
            Job job = jobs::withNumber(jobs::call(0, workWithOthers), i);
            job.other = processes;
            workers[static_cast<std::size_t>(i)]->start(jobs::quiet(jobs::withMode(job, seed)));
        }
        for (const auto &worker : workers)
            add(worker->finish());
    }

    void add(const Job &job) {
        ASSERT_EQ(job.result, 0) << job.record;
        TxnCounts one;
        std::memcpy(&one, job.record, sizeof one);
        counts.commits += one.commits;
        counts.rollbacks += one.rollbacks;
        counts.changes += one.changes;
        counts.refused += one.refused;
        counts.takenBack += one.takenBack;
    }

    // Every record is of one of the processes, and every transaction has its end.
    void expectWholeLog(const LogBytes &log) {
        EXPECT_EQ(log.torn, 0U);
        std::set<std::uint32_t> writers;
        for (const testing_support::LogRecord &record : log.records)
            writers.insert(record.process);
        EXPECT_EQ(writers, ids);
        EXPECT_EQ(log.count("CW"), counts.commits);
        EXPECT_EQ(log.count("RW"), counts.rollbacks);
        EXPECT_EQ(log.count("BW"), counts.commits + counts.rollbacks);
        for (const char *type : {"FO", "FC", "BU", "ER", "RE", "CI", "DI", "SU", "UN", "DE", "IN", "UP"})
            EXPECT_GT(log.count(type), 0) << type;
    }

    // Transactions begun while another one was open.
    static int overlaps(const LogBytes &log) {
        int open = 0, out = 0;
        for (const testing_support::LogRecord &record : log.records) {
            const std::string &type = record.content.type;
            if (type == "BW" && open++ > 0) ++out;
            if (type == "CW" || type == "RW") --open;
        }
        return out;
    }

    void workAndRecover(int processes, int seed) {
        runAll(processes, seed);
        const LogBytes log = readLog();
        expectWholeLog(log);
        const FileContents final = contents();
        expectSame(replay(log.records), final);
        recoverFrom(log);
        expectSame(contents(), final);
        std::printf("%d processes: %d commits, %d rollbacks, %d of them begun inside others, %d changes tried, "
                    "%d refused by locks, %d files taken back, %zu log records\n",
                    processes, counts.commits, counts.rollbacks, overlaps(log), counts.changes, counts.refused,
                    counts.takenBack, log.records.size());
    }

    std::set<std::uint32_t> ids;
    TxnCounts counts;
};

TEST_P(SharedLog, TwoProcessesAreRecovered) { workAndRecover(2, GetParam()); }

TEST_P(SharedLog, FiveProcessesAreRecovered) { workAndRecover(5, GetParam()); }

INSTANTIATE_TEST_SUITE_P(Seeds, SharedLog, testing::Range(1, 5));

}  // namespace
}  // namespace process_testing
