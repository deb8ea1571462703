#include "txn_process_test.h"

#include <optional>

namespace process_testing {
namespace {

// Recovery undoes a transaction where the log has its end. Until the end is there, nobody may change what was undone.
class RollbackOrder : public TxnProcessTest {
  protected:
    // Starts a's rollback, which undoes and then waits for the log.
    void rollBackUpToTheLog() {
        ASSERT_TRUE(logFile.emplace(log).lock(0, 1, F_WRLCK));
        ASSERT_TRUE(waits(a, jobs::rollback()));
        ASSERT_FALSE(a.last().lock.index);
    }
    void letGo() {
        ASSERT_TRUE(logFile->unlock(0, 1));
        EXPECT_TRUE(finishes(a));
    }

    void closeAndRecover() {
        EXPECT_TRUE(succeeds(a, jobs::close(0)));
        EXPECT_TRUE(succeeds(b, jobs::close(0)));
        expectRecovered();
    }

    Worker a, b;
    std::optional<RawFile> logFile;
};

TEST_F(RollbackOrder, ChangesOfOthersComeAfterIt) {
    build(3);
    keepCopies();
    openInTransaction(a);
    openLogged(b);
    ASSERT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    ASSERT_TRUE(succeeds(a, jobs::write(0, item(25))));
    rollBackUpToTheLog();
    ASSERT_TRUE(waits(b, jobs::write(0, item(50))));
    EXPECT_TRUE(b.last().lock.index);
    letGo();
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().recnum, 4);  // freed by the undoing
    EXPECT_EQ(logTypes(), "FO BW FO DE IN RW IN");
    closeAndRecover();
}

TEST_F(RollbackOrder, EveryUndoneFileIsKept) {
    build(3);
    const std::string other = dir.file("other");
    ASSERT_TRUE(succeeds(a, jobs::build(other, kItemLength, kByKey, kExclusive)));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    openInTransaction(a);
    ASSERT_TRUE(succeeds(a, jobs::open(other, kInTransactions)));
    ASSERT_TRUE(succeeds(a, jobs::write(1, item(1))));
    ASSERT_TRUE(succeeds(a, jobs::write(0, item(2))));
    open(b);
    Worker c;
    ASSERT_TRUE(succeeds(c, jobs::open(other, kShared)));
    rollBackUpToTheLog();
    ASSERT_TRUE(waits(b, jobs::write(0, item(3))));
    ASSERT_TRUE(waits(c, jobs::write(0, item(4))));
    letGo();
    EXPECT_TRUE(finishes(b));
    EXPECT_TRUE(finishes(c));
}

TEST_F(RollbackOrder, FilesNotChangedAreFree) {
    build(3);
    const std::string other = dir.file("other");
    ASSERT_TRUE(succeeds(a, jobs::build(other, kItemLength, kByKey, kExclusive)));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    openInTransaction(a);
    ASSERT_TRUE(succeeds(a, jobs::open(other, kInTransactions)));
    ASSERT_TRUE(succeeds(a, jobs::write(0, item(2))));
    ASSERT_TRUE(succeeds(b, jobs::open(other, kShared)));
    rollBackUpToTheLog();
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(3))));
    letGo();
}

// Closing a file lets go of everything, so it comes after the end, though it is told before.
TEST_F(RollbackOrder, ClosedFileIsKept) {
    build(3);
    keepCopies();
    openInTransaction(a);
    openLogged(b);
    ASSERT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    rollBackUpToTheLog();
    ASSERT_TRUE(waits(b, jobs::remove(0, item(20))));
    EXPECT_TRUE(b.last().lock.index);
    letGo();
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(logTypes(), "FO BW FO UP RW DE");
    open(a);
    closeAndRecover();
}

TEST_F(RollbackOrder, CommitKeepsNobodyWaiting) {
    build(3);
    openInTransaction(a);
    open(b);
    ASSERT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    RawFile other(log);
    ASSERT_TRUE(other.lock(0, 1, F_WRLCK));
    ASSERT_TRUE(waits(a, jobs::commit()));
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 8));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(40))));
    ASSERT_TRUE(other.unlock(0, 1));
    EXPECT_TRUE(finishes(a));
}

// Both roll back two files at once, over and over, each having changed them in another order.
int rollBackBoth(Job &job) {
    for (int i = 0; i < 150; ++i) {
        if (isbegin() != 0) return -1;
        for (const int fd : {job.mode, 1 - job.mode}) {
            std::string record = item(static_cast<int>(job.number) + i);
            if (iswrite(fd, record.data()) != 0) return -1;
        }
        if (isrollback() != 0) return -1;
        for (const int fd : {0, 1}) {  // logged anew
            int mode = 0;
            const std::string name = isqv_name(fd);
            if (isgetmode(fd, &mode) != 0 || isclose(fd) != 0 || isopen(name.c_str(), mode & ~ISNOLOG) != fd) return -1;
        }
    }
    return 0;
}

TEST_F(RollbackOrder, TwoRollbacksDoNotWaitForEachOther) {
    build(3);
    const std::string other = dir.file("other");
    ASSERT_TRUE(succeeds(a, jobs::build(other, kItemLength, kByKey, kExclusive)));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    for (Worker *worker : {&a, &b}) {
        openLogged(*worker);
        ASSERT_TRUE(succeeds(*worker, jobs::open(other, kInTransactions)));
    }
    a.start(jobs::quiet(jobs::withNumber(jobs::withMode(jobs::call(0, rollBackBoth), 0), 1000)));
    b.start(jobs::quiet(jobs::withNumber(jobs::withMode(jobs::call(0, rollBackBoth), 1), 5000)));
    for (Worker *worker : {&a, &b})
        EXPECT_EQ(worker->finish().result, 0) << "error " << worker->last().error << ", io " << worker->last().io;
    EXPECT_EQ(items().size(), 3U);
    expectSound();
    logRecords();
}

}  // namespace
}  // namespace process_testing
