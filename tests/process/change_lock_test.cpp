#include "process_test.h"

namespace process_testing {
namespace {

// Changes of records that somebody holds.
class ChangeUnderLock : public ProcessTest {
  protected:
    void SetUp() override {
        build(4);
        open(a);
        open(b);
    }

    Worker a, b;
};

TEST_F(ChangeUnderLock, EveryRewriteOfALockedRecordIsRefused) {
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(20, 9)), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::rewriteNumber(0, 2, item(20, 9)), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::rewriteCurrent(0, item(20, 9)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, jobs::data(0, 2)));
    EXPECT_EQ(b.last().text(kItemLength), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(30, 9))));  // the others are free
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(succeeds(a, jobs::rewriteCurrent(0, item(20, 9))));
}

TEST_F(ChangeUnderLock, RewriteAndMoveOfALockedRecordIsRefused) {
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    const Job rewriteNext =
        jobs::withRecord(jobs::call(0, [](Job &j) { return isrewnxt(j.fd, j.record); }), item(20, 9));
    EXPECT_TRUE(fails(a, rewriteNext, ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, jobs::data(0, 2)));
    EXPECT_EQ(b.last().text(kItemLength), item(20, 2));
}

TEST_F(ChangeUnderLock, EveryDeleteOfALockedRecordIsRefused) {
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(fails(a, jobs::remove(0, item(20)), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::removeNumber(0, 2), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::removeCurrent(0), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, jobs::data(0, 2)));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(10))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(succeeds(a, jobs::removeCurrent(0)));
    EXPECT_TRUE(fails(b, jobs::data(0, 2), ISERR_NOTFOUND));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectSound();
}

// Whether the new record can be locked is asked when nothing else is in its way.
TEST_F(ChangeUnderLock, DuplicateIsReportedBeforeTheLockOfAll) {
    ASSERT_TRUE(succeeds(b, jobs::lockAll(0)));
    EXPECT_TRUE(fails(a, jobs::writeLock(0, item(20, 9)), ISERR_DUPLICATE));
    EXPECT_TRUE(fails(a, jobs::writeLock(0, item(50)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, jobs::unlockAll(0)));
    EXPECT_TRUE(succeeds(a, jobs::writeLock(0, item(50))));
}

// To take the lock of the new record and give it up again would tear a hole into it.
TEST_F(ChangeUnderLock, RefusedDuplicateLeavesTheLockOfAllWhole) {
    ASSERT_TRUE(succeeds(a, jobs::lockAll(0)));
    const std::vector<HeldLock> all = RawFile(dataPath()).held();
    ASSERT_EQ(all.size(), 1U);
    EXPECT_TRUE(fails(a, jobs::writeLock(0, item(20, 9)), ISERR_DUPLICATE));
    EXPECT_EQ(RawFile(dataPath()).held(), all);
}

// The test for a lock of others must not give up a lock of one's own.
TEST_F(ChangeUnderLock, OwnLockStaysThroughARewrite) {
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(20, 9))));
    EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL | ISLOCK, item(20)), ISERR_LOCKED));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 9));
}

TEST_F(ChangeUnderLock, ChangeOfAFreeRecordLeavesNoLock) {
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 9))));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(30))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(35))));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
}

TEST_F(ChangeUnderLock, DeleteReleasesTheOwnLock) {
    ASSERT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(21))));
    EXPECT_EQ(b.last().recnum, 2);  // the number is in use again, and nobody's
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(21))));
}

TEST_F(ChangeUnderLock, WrittenAndLockedRecordIsHeld) {
    EXPECT_TRUE(succeeds(a, jobs::writeLock(0, item(50))));
    EXPECT_EQ(a.last().recnum, 5);
    EXPECT_TRUE(fails(b, jobs::read(0, ISLAST | ISLOCK), ISERR_LOCKED));
    EXPECT_EQ(b.last().text(kItemLength), item(50));
    EXPECT_TRUE(fails(b, jobs::rewrite(0, item(50, 1)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(60))));  // that one alone
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISLAST | ISLOCK)));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 5)));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(50, 1))));
}

TEST_F(ChangeUnderLock, RefusedWriteLocksNothing) {
    EXPECT_TRUE(fails(a, jobs::writeLock(0, item(10)), ISERR_DUPLICATE));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(50))));  // and a plain write after it locks nothing either
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
}

using LockChecking = ChangeUnderLock;

TEST_F(LockChecking, WantsTheLockOfThisHandle) {
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, true)));
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(20, 9)), ISERR_NOCURRENT));
    EXPECT_TRUE(fails(a, jobs::rewriteNumber(0, 2, item(20, 9)), ISERR_NOCURRENT));
    EXPECT_TRUE(fails(a, jobs::rewriteCurrent(0, item(20, 9)), ISERR_NOCURRENT));
    EXPECT_TRUE(fails(a, jobs::remove(0, item(20)), ISERR_NOCURRENT));
    EXPECT_TRUE(fails(a, jobs::removeNumber(0, 2), ISERR_NOCURRENT));
    EXPECT_TRUE(fails(a, jobs::removeCurrent(0), ISERR_NOCURRENT));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISCURR | ISLOCK)));
    EXPECT_TRUE(succeeds(a, jobs::rewriteCurrent(0, item(20, 9))));
    EXPECT_TRUE(succeeds(a, jobs::removeCurrent(0)));
}

TEST_F(LockChecking, ComesBeforeTheTestForLocksOfOthers) {
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, true)));
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(10, 9)), ISERR_NOCURRENT));
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, false)));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(10, 9)), ISERR_LOCKED));
}

TEST_F(LockChecking, IsOfOneHandleAndTakesNoLock) {
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, true)));
    EXPECT_EQ(a.last().lockCount, 0);
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(10, 9))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(50))));  // writing needs none
    EXPECT_TRUE(succeeds(a, jobs::writeLock(0, item(60))));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(60, 1))));
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, false)));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(50))));
}

// The lock of all records is not noted record by record.
TEST_F(LockChecking, LockOfAllRecordsDoesNotCount) {
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, true)));
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(10, 9)), ISERR_NOCURRENT));
}

}  // namespace
}  // namespace process_testing
