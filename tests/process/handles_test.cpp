#include "process_test.h"

namespace process_testing {
namespace {

// Several handles of one process on one file. The system sees one owner, so they look after each other.
class Handles : public ProcessTest {
  protected:
    void start(int handles, int mode = kShared) {
        build(4);
        for (int i = 0; i < handles; ++i)
            open(a, mode, i);
    }

    static Job lockRecord(int fd, int key) { return jobs::read(fd, ISEQUAL | ISLOCK, item(key)); }

    // The lock calls on the data file of the last job.
    static int dataCalls(const Worker &worker) {
        int calls = 0;
        for (int i = 0; i < std::min(worker.last().lockCount, kTraceRoom); ++i)
            calls += worker.last().locks[i].index ? 0 : 1;
        return calls;
    }

    Worker a;
};

TEST_F(Handles, ShareTheSystemsDescriptorsAndLock) {
    start(2);
    EXPECT_TRUE(succeeds(a, jobs::systemDescriptors(0)));
    const long index = a.last().number, data = a.last().other;
    EXPECT_GT(index, 2);
    EXPECT_GT(data, 2);
    EXPECT_TRUE(succeeds(a, jobs::systemDescriptors(1)));
    EXPECT_EQ(a.last().number, index);
    EXPECT_EQ(a.last().other, data);
    EXPECT_EQ(RawFile(indexPath()).held().size(), 1U);
}

TEST_F(Handles, SecondOpenTakesNoOpenLock) {
    build(2);
    open(a);
    EXPECT_TRUE(succeeds(a, jobs::open(base, kShared)));
    for (int i = 0; i < a.last().lockCount; ++i)
        EXPECT_NE(a.last().locks[i].start, kOpenStart);
}

TEST_F(Handles, RecordOfAnotherHandleIsRefusedWithoutTheSystem) {
    start(3);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    for (const int other : {1, 2}) {
        EXPECT_TRUE(fails(a, lockRecord(other, 20), ISERR_LOCKED));
        EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
        EXPECT_EQ(dataCalls(a), 0);
        EXPECT_TRUE(fails(a, jobs::rewrite(other, item(20, 9)), ISERR_LOCKED));
        EXPECT_EQ(dataCalls(a), 0);
        EXPECT_TRUE(fails(a, jobs::remove(other, item(20)), ISERR_LOCKED));
    }
    EXPECT_TRUE(succeeds(a, lockRecord(2, 30)));  // any other record is free
    EXPECT_TRUE(fails(a, lockRecord(0, 30), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 2)));
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    EXPECT_TRUE(fails(a, lockRecord(0, 20), ISERR_LOCKED));
}

// A refused test must not give up the lock that the other handle has with the system.
TEST_F(Handles, RefusalLeavesTheLockAgainstOtherProcesses) {
    start(2);
    Worker b;
    open(b);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(fails(a, lockRecord(1, 20), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::rewrite(1, item(20, 9)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(1, 2)));  // not its own
    EXPECT_TRUE(fails(b, lockRecord(0, 20), ISERR_LOCKED));
}

TEST_F(Handles, ReleaseOfOneKeepsTheNotesOfTheOther) {
    start(2);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(succeeds(a, lockRecord(1, 30)));
    EXPECT_TRUE(succeeds(a, jobs::release(1)));
    EXPECT_TRUE(fails(a, lockRecord(1, 20), ISERR_LOCKED));  // still the other handle's
    EXPECT_TRUE(succeeds(a, lockRecord(0, 30)));
}

TEST_F(Handles, LockOfAllRecordsIsRefusedWhileAnotherHandleHoldsOne) {
    start(3);
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    EXPECT_TRUE(fails(a, jobs::lockAll(0), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::lockAll(2), ISERR_LOCKED));
    EXPECT_EQ(dataCalls(a), 0);
    EXPECT_TRUE(succeeds(a, jobs::lockAll(1)));  // its own do not count
    EXPECT_TRUE(succeeds(a, jobs::release(1)));
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
}

TEST_F(Handles, CloseOfOneLeavesTheOthersUsable) {
    start(3);
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(fails(a, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISFIRST)));
    EXPECT_TRUE(succeeds(a, jobs::write(2, item(50))));
    EXPECT_TRUE(succeeds(a, jobs::close(2)));
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISLAST)));
    EXPECT_EQ(a.last().text(kItemLength), item(50));
    const std::vector<HeldLock> open = {{kOpenStart, kAreaLength, F_RDLCK, a.pid()}};
    EXPECT_EQ(RawFile(indexPath()).held(), open);  // the open lock is there to the last
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    EXPECT_EQ(RawFile(indexPath()).held().size(), 0U);
    expectSound();
}

TEST_F(Handles, CloseGivesUpItsRecordsForTheOtherHandle) {
    start(2);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
}

TEST_F(Handles, ExclusiveOpensAreRefused) {
    build(2);
    open(a);
    EXPECT_TRUE(fails(a, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    open(a, kShared, 1);  // the refused one left no slot
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    open(a, kExclusive);
    EXPECT_TRUE(fails(a, jobs::open(base, kShared), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(a, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST)));  // and did the first no harm
    const std::vector<HeldLock> exclusive = {{kOpenStart, kAreaLength, F_WRLCK, a.pid()}};
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
}

TEST_F(Handles, EachHasItsPositionAndSeesTheOthersChanges) {
    start(2);
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISLAST)));
    EXPECT_TRUE(succeeds(a, jobs::write(1, item(15))));
    EXPECT_EQ(read(a, ISNEXT), item(15));
    EXPECT_TRUE(succeeds(a, jobs::remove(1, item(15))));
    EXPECT_EQ(read(a, ISNEXT), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISPREV)));
    EXPECT_EQ(a.last().text(kItemLength), item(30, 3));
}

TEST_F(Handles, SplitTheTreeByTurns) {
    start(2);
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(succeeds(a, jobs::write(i % 2, item(1000 + i))));
        ASSERT_TRUE(succeeds(a, jobs::write(1 - i % 2, item(5000 - i))));
    }
    for (int i = 0; i < 300; ++i) {
        ASSERT_TRUE(succeeds(a, jobs::read(i % 2, ISEQUAL, item(1000 + i))));
        ASSERT_TRUE(succeeds(a, jobs::remove(i % 2, item(5000 - i))));
    }
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectSound();
}

TEST_F(Handles, LockCheckGoesByTheHandle) {
    start(2);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(1, true)));
    EXPECT_TRUE(fails(a, jobs::rewrite(1, item(20, 9)), ISERR_NOCURRENT));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 9))));
}

}  // namespace
}  // namespace process_testing
