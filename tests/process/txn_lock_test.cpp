#include "txn_process_test.h"

namespace process_testing {
namespace {

using Numbers = std::vector<long>;

// What a transaction changes is kept from other processes until it ends.
class LockOfTransaction : public TxnProcessTest {
  protected:
    void SetUp() override {
        build(3);
        openInTransaction(a);
        open(b);
    }

    void expectKeptFromB(const std::string &record) {
        EXPECT_TRUE(fails(b, jobs::read(0, ISEQUAL | ISLOCK, record), ISERR_LOCKED));
        EXPECT_TRUE(fails(b, jobs::rewrite(0, record), ISERR_LOCKED));
        EXPECT_TRUE(fails(b, jobs::remove(0, record), ISERR_LOCKED));
    }

    Worker a, b;
};

TEST_F(LockOfTransaction, InsertedRecordUntilCommit) {
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(25))));
    EXPECT_EQ(lockedRecords(), Numbers({4}));
    expectKeptFromB(item(25));
    EXPECT_EQ(read(b, ISEQUAL, item(25)), item(25));  // a plain read asks for no lock
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(25, 7))));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(25))));
}

TEST_F(LockOfTransaction, InsertedRecordUntilRollback) {
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(25))));
    expectKeptFromB(item(25));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(b, jobs::writeLock(0, item(26))));
    EXPECT_EQ(b.last().recnum, 4);  // the number is free again
}

// Who waits for a record that goes has its lock for a moment. The rollback brings the record back and goes on with it.
TEST_F(LockOfTransaction, LockOfOneWhoWaitedDoesNotStandInTheWayOfARollback) {
    const std::vector<std::string> before = items();
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(25))));  // takes its number
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(25, 7))));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(25))));
    RawFile waiting(dataPath());
    ASSERT_TRUE(waiting.lock(kRecordStart + 2, 1, F_WRLCK));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(items(), before);
}

// It is theirs when the transaction has let go of it.
TEST_F(LockOfTransaction, LockOfAnotherOnARecordThatStayedStandsInTheWayOfARollback) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    EXPECT_TRUE(succeeds(a, jobs::release(0)));
    RawFile other(dataPath());
    ASSERT_TRUE(other.lock(kRecordStart + 2, 1, F_WRLCK));
    EXPECT_TRUE(fails(a, jobs::rollback(), ISERR_LOCKED));
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 8));
}

TEST_F(LockOfTransaction, RewrittenRecordUntilCommit) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    EXPECT_EQ(lockedRecords(), Numbers({2}));
    expectKeptFromB(item(20));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(10, 8))));  // the others are free
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(b.last().text(kItemLength), item(20, 8));
}

TEST_F(LockOfTransaction, RewrittenRecordUntilRollback) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    expectKeptFromB(item(20));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(b.last().text(kItemLength), item(20, 2));
}

TEST_F(LockOfTransaction, IsAwaitedByAReadThatWaits) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    ASSERT_TRUE(waits(b, jobs::read(0, ISEQUAL | ISLOCK | ISWAIT, item(20))));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().text(kItemLength), item(20, 2));
}

TEST_F(LockOfTransaction, EveryWayOfWritingTakesIt) {
    EXPECT_TRUE(succeeds(a, jobs::writeCurrent(0, item(40))));
    EXPECT_EQ(lockedRecords(), Numbers({4}));
    EXPECT_TRUE(succeeds(a, jobs::writeLock(0, item(50))));
    EXPECT_EQ(lockedRecords(), Numbers({4, 5}));
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(lockedRecords(), Numbers());
}

TEST_F(LockOfTransaction, EveryWayOfRewritingTakesIt) {
    EXPECT_TRUE(succeeds(a, jobs::rewriteNumber(0, 3, item(30, 8))));
    EXPECT_EQ(lockedRecords(), Numbers({3}));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::rewriteCurrent(0, item(10, 8))));
    EXPECT_EQ(lockedRecords(), Numbers({1, 3}));
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::rewriteNext(0, item(20, 8))));
    EXPECT_EQ(lockedRecords(), Numbers({1, 2, 3}));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(lockedRecords(), Numbers());
}

TEST_F(LockOfTransaction, RecordsOnlyReadStayAsTheyWere) {
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(10))));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(lockedRecords(), Numbers({1}));
    EXPECT_TRUE(fails(b, jobs::rewrite(0, item(10, 8)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::begin()));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(30))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(lockedRecords(), Numbers({1, 3}));
    EXPECT_TRUE(succeeds(a, jobs::release(0)));
    EXPECT_EQ(lockedRecords(), Numbers());
}

TEST_F(LockOfTransaction, RecordReadUnderALockAndRewrittenIsFreeAfterwards) {
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(10))));
    EXPECT_TRUE(succeeds(a, jobs::rewriteCurrent(0, item(10, 8))));
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(lockedRecords(), Numbers());
}

TEST_F(LockOfTransaction, DeletedRecordHasNone) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_EQ(read(b, ISEQUAL, item(20)), item(20, 2));
}

TEST_F(LockOfTransaction, RefusedChangeLeavesNone) {
    EXPECT_TRUE(fails(a, jobs::write(0, item(20)), ISERR_DUPLICATE));
    EXPECT_TRUE(fails(a, jobs::rewriteNumber(0, 1, item(20)), ISERR_DUPLICATE));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(99)), ISERR_NOTFOUND));
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(10, 8))));
}

// A file closed in a transaction is closed to its caller alone.
TEST_F(LockOfTransaction, ClosedFileKeepsItsLocksUntilTheEnd) {
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(fails(b, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    open(b);
    expectKeptFromB(item(40));
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(40, 1))));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    open(b, kExclusive);
}

TEST_F(LockOfTransaction, EndsWithTheProcess) {
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(10, 8))));
    expectKeptFromB(item(40));
    a.kill();
    EXPECT_EQ(lockedRecords(), Numbers());
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(40))));
    EXPECT_EQ(read(b, ISFIRST), item(10, 8));  // nobody has undone it
}

// When the lock is taken at all.
class LockWithoutTransaction : public TxnProcessTest {
  protected:
    void SetUp() override { build(3); }

    Numbers lockedAfterWriting(int mode) {
        open(a, mode);
        EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
        EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(10, 8))));
        return lockedRecords();
    }

    Worker a;
};

TEST_F(LockWithoutTransaction, IsTakenUnderALogAndReleasedByTheCaller) {
    ASSERT_TRUE(succeeds(a, jobs::logOpen(log)));
    EXPECT_EQ(lockedAfterWriting(kInTransactions), Numbers({1, 4}));
    EXPECT_TRUE(succeeds(a, jobs::begin()));
    EXPECT_TRUE(succeeds(a, jobs::commit()));
    EXPECT_EQ(lockedRecords(), Numbers({1, 4}));
    EXPECT_TRUE(succeeds(a, jobs::release(0)));
    EXPECT_EQ(lockedRecords(), Numbers());
}

TEST_F(LockWithoutTransaction, IsNotTakenWithoutALog) { EXPECT_EQ(lockedAfterWriting(kInTransactions), Numbers()); }

TEST_F(LockWithoutTransaction, IsNotTakenForAFileOutsideTransactions) {
    ASSERT_TRUE(succeeds(a, jobs::logOpen(log)));
    ASSERT_TRUE(succeeds(a, jobs::begin()));
    EXPECT_EQ(lockedAfterWriting(kShared), Numbers());
}

TEST_F(LockWithoutTransaction, IsNotTakenForAFileThatIsNotLogged) {
    ASSERT_TRUE(succeeds(a, jobs::logOpen(log)));
    ASSERT_TRUE(succeeds(a, jobs::begin()));
    EXPECT_EQ(lockedAfterWriting(kInTransactions | ISNOLOG), Numbers());
}

}  // namespace
}  // namespace process_testing
