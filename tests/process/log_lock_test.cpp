#include "txn_process_test.h"

#include <filesystem>
#include <memory>

namespace process_testing {
namespace {

// Appends to the log exclude each other by a lock on its first byte.
class LogLock : public TxnProcessTest {
  protected:
    static bool isOfLog(const LockCall &call) { return !call.index && call.start == 0 && call.length == 1; }

    // The job waits while somebody else holds the first byte, and has written to the log when it is done.
    void expectWaitsForLog(Worker &worker, const Job &job) {
        RawFile other(log);
        ASSERT_TRUE(other.lock(0, 1, F_RDLCK));
        const auto before = std::filesystem::file_size(log);
        ASSERT_TRUE(waits(worker, job));
        EXPECT_TRUE(isOfLog(worker.last().lock));
        EXPECT_EQ(worker.last().lock.type, F_WRLCK);
        EXPECT_EQ(std::filesystem::file_size(log), before);
        ASSERT_TRUE(other.unlock(0, 1));
        EXPECT_TRUE(finishes(worker));
        EXPECT_GT(std::filesystem::file_size(log), before);
        EXPECT_EQ(other.held().size(), 0U);
    }
};

TEST_F(LogLock, EveryAppendWaitsForIt) {
    build(3);
    Worker a;
    ASSERT_TRUE(succeeds(a, jobs::logOpen(log)));
    expectWaitsForLog(a, jobs::open(base, kInTransactions));
    expectWaitsForLog(a, jobs::begin());
    expectWaitsForLog(a, jobs::write(0, item(40)));
    expectWaitsForLog(a, jobs::rewrite(0, item(10, 8)));
    expectWaitsForLog(a, jobs::remove(0, item(20)));
    expectWaitsForLog(a, jobs::uniqueId(0));
    expectWaitsForLog(a, jobs::setUnique(0, 7));
    expectWaitsForLog(a, jobs::commit());
    expectWaitsForLog(a, jobs::begin());
    expectWaitsForLog(a, jobs::rollback());
    expectWaitsForLog(a, jobs::close(0));
    EXPECT_EQ(logTypes(), "FO BW IN UP DE UN SU CW BW RW FC");
}

TEST_F(LogLock, BuildingAndIndexesWaitForIt) {
    Worker a;
    ASSERT_TRUE(succeeds(a, jobs::logOpen(log)));
    expectWaitsForLog(a, jobs::build(base, kItemLength, kByKey, kExclusive));
    expectWaitsForLog(a, jobs::addIndex(0, kByGroup));
    expectWaitsForLog(a, jobs::dropIndex(0, kByGroup));
    EXPECT_EQ(logTypes(), "BU FO CI DI");
}

// Whoever meets the file set under its new name, or misses it, comes later in the log.
TEST_F(LogLock, IsTakenBeforeANameAppearsOrGoes) {
    const Job erase = jobs::withName(jobs::call(0, [](Job &j) { return iserase(j.name); }), base);
    const std::string index = base + ".idx";
    Worker a;
    ASSERT_TRUE(succeeds(a, jobs::logOpen(log)));
    for (const Job &job : {jobs::build(base, kItemLength, kByKey, kExclusive), erase}) {
        const bool before = std::filesystem::exists(index);
        RawFile other(log);
        ASSERT_TRUE(other.lock(0, 1, F_RDLCK));
        ASSERT_TRUE(waits(a, job));
        EXPECT_EQ(std::filesystem::exists(index), before);
        ASSERT_TRUE(other.unlock(0, 1));
        EXPECT_TRUE(finishes(a));
        EXPECT_NE(std::filesystem::exists(index), before);
        EXPECT_EQ(other.held().size(), 0U);
        if (!before) ASSERT_TRUE(succeeds(a, jobs::close(0)));
    }
    EXPECT_EQ(logTypes(), "BU FO FC ER");
}

TEST_F(LogLock, IsTakenForTheAppendAlone) {
    build(3);
    Worker a;
    openInTransaction(a);
    ASSERT_TRUE(succeeds(a, jobs::write(0, item(40))));
    std::vector<int> types;
    ASSERT_LT(a.last().lockCount, kTraceRoom);
    for (int i = 0; i < a.last().lockCount; ++i)
        if (isOfLog(a.last().locks[i])) types.push_back(a.last().locks[i].type);
    EXPECT_EQ(types, std::vector<int>({F_WRLCK, F_UNLCK}));
}

TEST_F(LogLock, OtherBytesOfTheLogAreFree) {
    build(3);
    Worker a;
    openInTransaction(a);
    RawFile other(log);
    ASSERT_TRUE(other.lock(1, 0x7fffffff, F_WRLCK));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
}

// The log says in which order a file was changed.
TEST_F(LogLock, FileStaysLockedWhileItsChangeAwaitsTheLog) {
    build(3);
    Worker a, b;
    openInTransaction(a);
    openLogged(b);
    RawFile other(log);
    ASSERT_TRUE(other.lock(0, 1, F_WRLCK));
    ASSERT_TRUE(waits(a, jobs::write(0, item(40))));
    ASSERT_TRUE(waits(b, jobs::write(0, item(50))));
    EXPECT_TRUE(isOfLog(a.last().lock));
    EXPECT_TRUE(b.last().lock.index);
    ASSERT_TRUE(other.unlock(0, 1));
    EXPECT_TRUE(finishes(a));
    EXPECT_TRUE(finishes(b));
    const auto records = logRecords();
    ASSERT_EQ(records.size(), 5U);
    EXPECT_EQ(records[3].process, static_cast<std::uint32_t>(a.pid()) & 0xffffU);
    EXPECT_EQ(records[4].process, static_cast<std::uint32_t>(b.pid()) & 0xffffU);
}

TEST_F(LogLock, WaitingProcessesAllGetTheirTurn) {
    constexpr int kProcesses = 4;
    std::vector<std::unique_ptr<Worker>> workers;
    for (int i = 0; i < kProcesses; ++i) {
        workers.push_back(std::make_unique<Worker>());
        ASSERT_TRUE(succeeds(*workers.back(), jobs::logOpen(log)));
    }
    RawFile other(log);
    ASSERT_TRUE(other.lock(0, 1, F_WRLCK));
    for (const auto &worker : workers)
        ASSERT_TRUE(waits(*worker, jobs::begin()));
    ASSERT_TRUE(other.unlock(0, 1));
    for (const auto &worker : workers)
        EXPECT_EQ(worker->finish().result, 0);
    EXPECT_EQ(logTypes(), "BW BW BW BW");
}

// An insert that died before it was in the log never was.
TEST_F(LogLock, ProcessKilledAwaitingItIsRecoveredWithoutItsChange) {
    build(3);
    keepCopies();
    Worker a;
    openInTransaction(a);
    ASSERT_TRUE(succeeds(a, jobs::write(0, item(40))));
    RawFile other(log);
    ASSERT_TRUE(other.lock(0, 1, F_WRLCK));
    ASSERT_TRUE(waits(a, jobs::write(0, item(50))));
    a.kill();
    ASSERT_TRUE(other.unlock(0, 1));
    EXPECT_EQ(logTypes(), "FO BW IN");

    recoverCopies();
    EXPECT_EQ(items(), std::vector<std::string>({item(10, 1), item(20, 2), item(30, 3), item(40)}));
    expectSound();
}

}  // namespace
}  // namespace process_testing
