#include "process_test.h"

namespace process_testing {
namespace {

// Process a reads in the file, process b holds the lock on record 2 (key 20).
class ReadLock : public ProcessTest {
  protected:
    void SetUp() override {
        build(4);
        open(a);
        open(b);
    }

    void lockSecond() { ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20)))); }

    bool held(Worker &by, long number) {
        for (const HeldLock &lock : RawFile(dataPath()).held())
            if (lock.pid == by.pid() && lock.start <= kRecordStart + number &&
                lock.start + lock.length > kRecordStart + number)
                return true;
        return false;
    }

    Worker a, b;
};

TEST_F(ReadLock, PlainReadNeitherTakesNorHeedsLocks) {
    lockSecond();
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 1U);
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_FALSE(held(a, 1));
}

TEST_F(ReadLock, LockFlagKeepsTheLock) {
    EXPECT_EQ(read(a, ISFIRST | ISLOCK), item(10, 1));
    EXPECT_TRUE(held(a, 1));
    EXPECT_EQ(read(a, ISNEXT | ISLOCK), item(20, 2));
    EXPECT_TRUE(held(a, 1));  // manual locks stay on a move
    EXPECT_TRUE(held(a, 2));
}

TEST_F(ReadLock, LockFlagIsRefusedAndTheRecordReadAllTheSame) {
    lockSecond();
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(fails(a, jobs::read(0, ISNEXT | ISLOCK), ISERR_LOCKED));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(a.last().recnum, 2);
    EXPECT_EQ(a.last().reclen, kItemLength);
    EXPECT_FALSE(held(a, 2));
    EXPECT_EQ(read(a, ISNEXT), item(30, 3));  // the position had moved to 20
}

TEST_F(ReadLock, RefusedReadClearsThePendingStart) {
    lockSecond();
    ASSERT_TRUE(succeeds(a, jobs::start(0, kByKey, ISEQUAL, item(20))));
    EXPECT_TRUE(fails(a, jobs::read(0, ISNEXT | ISLOCK), ISERR_LOCKED));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(read(a, ISNEXT), item(30, 3));
}

TEST_F(ReadLock, RefusedInRecordNumberOrderToo) {
    lockSecond();
    ASSERT_TRUE(succeeds(a, jobs::start(0, testing_support::noKey(), ISFIRST)));
    EXPECT_TRUE(fails(a, jobs::readNumber(0, ISEQUAL | ISLOCK, 2), ISERR_LOCKED));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(read(a, ISNEXT | ISLOCK), item(30, 3));
    EXPECT_TRUE(held(a, 3));
}

TEST_F(ReadLock, WaitAloneTestsAndKeepsNothing) {
    EXPECT_EQ(read(a, ISFIRST | ISWAIT), item(10, 1));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
}

TEST_F(ReadLock, WaitAloneAwaitsTheLockAndKeepsNothing) {
    lockSecond();
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | ISWAIT, item(20))));
    EXPECT_FALSE(a.last().lock.index);
    EXPECT_EQ(a.last().lock.start, kRecordStart + 2);
    EXPECT_EQ(a.last().lock.length, 1);
    EXPECT_EQ(a.last().lock.type, F_WRLCK);
    EXPECT_TRUE(succeeds(b, jobs::releaseNumber(0, 2)));
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_FALSE(held(a, 2));
}

TEST_F(ReadLock, LockAndWaitAwaitsTheLockAndKeepsIt) {
    lockSecond();
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | ISLOCK | ISWAIT, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(a.last().recnum, 2);
    EXPECT_TRUE(held(a, 2));
    EXPECT_TRUE(fails(b, jobs::read(0, ISEQUAL | ISLOCK, item(20)), ISERR_LOCKED));
}

TEST_F(ReadLock, SkipLockTestsAndKeepsNothing) {
    EXPECT_EQ(read(a, ISFIRST | ISSKIPLOCK), item(10, 1));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(10))));
}

TEST_F(ReadLock, SkipLockGoesPastWhatIsLocked) {
    lockSecond();
    EXPECT_EQ(read(a, ISFIRST | ISSKIPLOCK), item(10, 1));
    EXPECT_TRUE(fails(a, jobs::read(0, ISNEXT | ISSKIPLOCK), ISERR_LOCKED));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(a.last().recnum, 2);
    EXPECT_EQ(read(a, ISNEXT | ISSKIPLOCK), item(30, 3));
    EXPECT_TRUE(fails(a, jobs::read(0, ISPREV | ISSKIPLOCK), ISERR_LOCKED));
    EXPECT_EQ(read(a, ISPREV | ISSKIPLOCK), item(10, 1));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 1U);
}

TEST_F(ReadLock, SkipLockChangesNothingBesideTheOtherFlags) {
    lockSecond();
    EXPECT_EQ(read(a, ISFIRST | ISSKIPLOCK | ISLOCK), item(10, 1));
    EXPECT_TRUE(held(a, 1));
    EXPECT_TRUE(fails(a, jobs::read(0, ISNEXT | ISSKIPLOCK | ISLOCK), ISERR_LOCKED));
    EXPECT_FALSE(held(a, 2));
    ASSERT_TRUE(waits(a, jobs::read(0, ISCURR | ISSKIPLOCK | ISLCKW)));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_TRUE(held(a, 2));
}

TEST_F(ReadLock, WaitingReaderHoldsNoPhaseLock) {
    lockSecond();
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | ISLOCK | ISWAIT, item(20))));
    for (const HeldLock &lock : RawFile(indexPath()).held())
        EXPECT_NE(lock.start, kPhaseStart);
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(25))));  // a writer is not held up
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(finishes(a));
}

TEST_F(ReadLock, LockedRecordIsLockedAgainWithoutTheSystem) {
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISCURR | ISLOCK)));
    for (int i = 0; i < a.last().lockCount; ++i)
        EXPECT_TRUE(a.last().locks[i].index);  // the phase lock alone
    EXPECT_EQ(a.last().lockCount, 2);
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 1)));
    EXPECT_FALSE(held(a, 1));  // one release is enough
}

// The lock a handle has already must not be lost to a test of it.
TEST_F(ReadLock, PlainAndTestingReadsOfAHeldRecord) {
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_EQ(read(a, ISCURR), item(10, 1));
    EXPECT_TRUE(held(a, 1));
}

TEST_F(ReadLock, FailedReadLocksNothing) {
    EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL | ISLOCK | ISWAIT, item(21)), ISERR_NOTFOUND));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
}

TEST_F(ReadLock, MoreThanTenLocksAreKept) {
    Worker c;
    open(c);
    for (int key = 100; key < 125; ++key)
        ASSERT_TRUE(succeeds(c, jobs::writeLock(0, item(key))));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 1U);  // neighbouring bytes of one owner are one range
    for (int key = 100; key < 125; ++key)
        EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL | ISLOCK, item(key)), ISERR_LOCKED)) << key;
    EXPECT_TRUE(succeeds(c, jobs::releaseNumber(0, 5)));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(100))));
    EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL | ISLOCK, item(101)), ISERR_LOCKED));
}

// A read mode past the known ones returns record isrecnum where it stands; its flags count as ever.
TEST_F(ReadLock, UnknownModeLocksTheRecordItReturns) {
    lockSecond();
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(fails(a, jobs::readNumber(0, 9 | ISLOCK, 2), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::readNumber(0, 9 | ISLOCK, 3)));
    EXPECT_TRUE(held(a, 3));
}

}  // namespace
}  // namespace process_testing
