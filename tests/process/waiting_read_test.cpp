#include "process_test.h"

namespace process_testing {
namespace {

// Process b holds a record, changes the file while process a waits for it, and lets go.
class WaitingRead : public ProcessTest {
  protected:
    void SetUp() override {
        build(4);
        open(a);
        open(b);
    }

    void lockByKey(Worker &worker, int key) {
        ASSERT_TRUE(succeeds(worker, jobs::read(0, ISEQUAL | ISLOCK, item(key))));
    }

    // What a finds in the end, and that it holds the lock on just that record.
    void expectFound(long number, const std::string &record) {
        EXPECT_TRUE(finishes(a));
        EXPECT_EQ(a.last().text(kItemLength), record);
        EXPECT_EQ(a.last().recnum, number);
        const std::vector<HeldLock> one = {{kRecordStart + number, 1, F_WRLCK, a.pid()}};
        EXPECT_EQ(RawFile(dataPath()).held(), one);
    }

    static constexpr int kLockWait = ISLOCK | ISWAIT;
    Worker a, b;
};

TEST_F(WaitingRead, FindsTheRecordRewritten) {
    lockByKey(b, 20);
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | kLockWait, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(20, 77, "changed"))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(2, item(20, 77, "changed"));
}

TEST_F(WaitingRead, EqualFindsTheRecordDeleted) {
    lockByKey(b, 20);
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | kLockWait, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(20))));  // lets go of the lock as well
    EXPECT_TRUE(finishesWith(a, ISERR_NOTFOUND));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
    EXPECT_EQ(RawFile(indexPath()).held().size(), 1U);
}

TEST_F(WaitingRead, EqualFindsTheKeyInAnotherRecord) {
    lockByKey(b, 20);
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | kLockWait, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::rewriteNumber(0, 2, item(25))));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(20, 9))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(5, item(20, 9));
}

TEST_F(WaitingRead, GreatOrEqualFindsTheNextOne) {
    lockByKey(b, 20);
    ASSERT_TRUE(waits(a, jobs::read(0, ISGTEQ | kLockWait, item(15))));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(20))));
    expectFound(3, item(30, 3));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISNEXT)));
    EXPECT_EQ(a.last().text(kItemLength), item(40, 4));
}

TEST_F(WaitingRead, FirstFindsANewFirst) {
    lockByKey(b, 10);
    ASSERT_TRUE(waits(a, jobs::read(0, ISFIRST | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(5))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(5, item(5));
}

TEST_F(WaitingRead, LastFindsANewLast) {
    lockByKey(b, 40);
    ASSERT_TRUE(waits(a, jobs::read(0, ISLAST | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(40))));
    expectFound(3, item(30, 3));
}

TEST_F(WaitingRead, NextReturnsTheRecordItMovedTo) {
    lockByKey(b, 20);
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(15))));  // too late to be the next one
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(2, item(20, 2));
}

TEST_F(WaitingRead, NextReturnsTheFollowerOfADeletedRecord) {
    lockByKey(b, 20);
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(20))));
    expectFound(3, item(30, 3));
}

TEST_F(WaitingRead, NextReturnsTheFollowerOfAMovedRecord) {
    lockByKey(b, 20);
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::rewriteNumber(0, 2, item(35))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(3, item(30, 3));
    EXPECT_TRUE(succeeds(a, jobs::release(0)));
    EXPECT_EQ(read(a, ISNEXT), item(35));
}

TEST_F(WaitingRead, NextFindsNothingWhenTheLastOneWasDeleted) {
    lockByKey(b, 40);
    EXPECT_EQ(read(a, ISEQUAL, item(30)), item(30, 3));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(40))));
    a.finish();
    EXPECT_EQ(a.last().result, -1);
    EXPECT_EQ(a.last().error, ISERR_ENDOFFILE);
    EXPECT_EQ(RawFile(indexPath()).held().size(), 1U);
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
}

// The repeat goes by the position, which is the deleted record's place.
TEST_F(WaitingRead, PreviousReturnsTheFollowerOfADeletedRecord) {
    lockByKey(b, 20);
    EXPECT_EQ(read(a, ISEQUAL, item(30)), item(30, 3));
    ASSERT_TRUE(waits(a, jobs::read(0, ISPREV | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(20))));
    expectFound(3, item(30, 3));
}

TEST_F(WaitingRead, CurrentReturnsTheFollowerOfADeletedRecord) {
    lockByKey(b, 20);
    EXPECT_EQ(read(a, ISEQUAL, item(20)), item(20, 2));
    ASSERT_TRUE(waits(a, jobs::read(0, ISCURR | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(20))));
    expectFound(3, item(30, 3));
}

TEST_F(WaitingRead, GoesByRecordNumberInRecordNumberOrder) {
    lockByKey(b, 20);
    ASSERT_TRUE(succeeds(a, jobs::start(0, testing_support::noKey(), ISFIRST)));
    EXPECT_EQ(read(a, ISNEXT), item(10, 1));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::rewriteNumber(0, 2, item(99, 5))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(2, item(99, 5));
}

TEST_F(WaitingRead, SkipsADeletedSlotInRecordNumberOrder) {
    lockByKey(b, 20);
    ASSERT_TRUE(succeeds(a, jobs::start(0, testing_support::noKey(), ISFIRST)));
    EXPECT_EQ(read(a, ISNEXT), item(10, 1));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::removeNumber(0, 2)));
    expectFound(3, item(30, 3));
}

// The record found after the first wait may be locked as well: then it is awaited in turn.
TEST_F(WaitingRead, WaitsAgainForTheRecordItFindsNext) {
    lockByKey(b, 20);
    lockByKey(b, 30);
    ASSERT_TRUE(waits(a, jobs::read(0, ISGTEQ | kLockWait, item(15))));
    EXPECT_EQ(a.last().lock.start, kRecordStart + 2);
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(20))));
    EXPECT_TRUE(keepsWaiting(a));
    EXPECT_EQ(a.last().lock.start, kRecordStart + 3);
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(3, item(30, 3));
}

TEST_F(WaitingRead, WaitsForTheLockOfAllRecords) {
    EXPECT_TRUE(succeeds(b, jobs::lockAll(0)));
    ASSERT_TRUE(waits(a, jobs::read(0, ISFIRST | kLockWait)));
    EXPECT_TRUE(succeeds(b, jobs::unlockAll(0)));
    expectFound(1, item(10, 1));
}

TEST_F(WaitingRead, SeesTheTreeAnewAfterTheWait) {
    lockByKey(b, 20);
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | kLockWait, item(20))));
    for (int key = 1000; key < 1200; ++key)  // the root splits meanwhile
        ASSERT_TRUE(succeeds(b, jobs::write(0, item(key))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    expectFound(2, item(20, 2));
    EXPECT_EQ(read(a, ISLAST), item(1199));
}

TEST_F(WaitingRead, EveryWaiterGetsItsTurn) {
    lockByKey(b, 20);
    Worker c;
    open(c);
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | ISWAIT, item(20))));
    ASSERT_TRUE(waits(c, jobs::read(0, ISEQUAL | ISWAIT, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    a.finish();
    c.finish();
    EXPECT_EQ(a.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(c.last().text(kItemLength), item(20, 2));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
}

}  // namespace
}  // namespace process_testing
