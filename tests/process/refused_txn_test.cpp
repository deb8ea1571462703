#include "txn_process_test.h"

namespace process_testing {
namespace {

// Locks a byte of a file for as long as the process lives. The test itself reads the file, which would end a lock of
// its own.
int holdByte(Job &job) {
    struct flock request = {};
    request.l_type = F_WRLCK;
    request.l_whence = SEEK_SET;
    request.l_start = static_cast<off_t>(job.number);
    request.l_len = 1;
    return fcntl(::open(job.name, O_RDWR | O_CLOEXEC), F_SETLK, &request);
}

// A logged change that cannot have its lock changes nothing.
class RefusedInTransaction : public TxnProcessTest {
  protected:
    void SetUp() override {
        build(3);
        openInTransaction(a);
        open(b);
    }

    void expectRefused(const Job &job) {
        const auto index = fileBytes(indexPath()), data = fileBytes(dataPath()), records = fileBytes(log);
        EXPECT_TRUE(fails(a, job, ISERR_LOCKED));
        EXPECT_TRUE(fileBytes(indexPath()) == index);
        EXPECT_TRUE(fileBytes(dataPath()) == data);
        EXPECT_TRUE(fileBytes(log) == records);
        // A second try shows what the handle itself has kept of the first.
        EXPECT_TRUE(fails(a, job, ISERR_LOCKED));
    }

    Job lockOf(long number) const {
        const Job job = jobs::withNumber(jobs::call(0, holdByte), static_cast<long>(kRecordStart + number));
        return jobs::withName(job, dataPath());
    }

    Worker a, b;
};

TEST_F(RefusedInTransaction, InsertUnderIslock) {
    ASSERT_TRUE(succeeds(b, jobs::lockAll(0)));
    expectRefused(jobs::write(0, item(40)));
    expectRefused(jobs::writeCurrent(0, item(40)));
    expectRefused(jobs::writeLock(0, item(40)));
    EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL, item(40)), ISERR_NOTFOUND));
    EXPECT_TRUE(succeeds(b, jobs::unlockAll(0)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_EQ(a.last().recnum, 4);
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(logTypes(), "FO BW IN CW");
}

TEST_F(RefusedInTransaction, InsertWhoseNumberIsLocked) {
    Worker holder;
    ASSERT_TRUE(succeeds(holder, lockOf(4)));
    expectRefused(jobs::write(0, item(40)));
    holder.kill();
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_EQ(a.last().recnum, 4);
}

// A number given up and locked by somebody else: the insert waits for another occasion, the number too.
TEST_F(RefusedInTransaction, InsertWithAUsedNumberThatIsLocked) {
    ASSERT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    Worker holder;
    ASSERT_TRUE(succeeds(holder, lockOf(2)));
    expectRefused(jobs::write(0, item(40)));
    holder.kill();
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_EQ(a.last().recnum, 2);
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 2));
}

TEST_F(RefusedInTransaction, RewriteAndDeleteOfALockedRecord) {
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    expectRefused(jobs::rewrite(0, item(20, 9)));
    expectRefused(jobs::rewriteNumber(0, 2, item(20, 9)));
    expectRefused(jobs::rewriteCurrent(0, item(20, 9)));
    expectRefused(jobs::remove(0, item(20)));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 9))));
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 9));
}

// What it has changed before stays its own, and goes on to be undone.
TEST_F(RefusedInTransaction, TransactionGoesOn) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(10, 9))));
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    expectRefused(jobs::rewrite(0, item(20, 9)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_EQ(lockedRecords(), std::vector<long>({1, 2, 4}));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(lockedRecords(), std::vector<long>({2}));
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_EQ(read(b, ISLAST), item(30, 3));
    EXPECT_EQ(logTypes(), "FO BW UP IN RW");
}

TEST_F(RefusedInTransaction, FileOutsideTransactionsNeedsNoLock) {
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    open(a, kShared);
    ASSERT_TRUE(succeeds(b, jobs::lockAll(0)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
}

}  // namespace
}  // namespace process_testing
