#include "process_test.h"

namespace process_testing {
namespace {

// Process a locks by itself, process b by hand.
class AutomaticLock : public ProcessTest {
  protected:
    using Locks = std::vector<HeldLock>;

    void SetUp() override {
        build(4);
        open(a, kAutomatic);
        open(b);
    }

    Locks one(long number) { return {{kRecordStart + number, 1, F_WRLCK, a.pid()}}; }
    Locks held() { return RawFile(dataPath()).held(); }

    Worker a, b;
};

TEST_F(AutomaticLock, EachReadLocksItsRecordAndReleasesTheOneBefore) {
    EXPECT_EQ(held(), Locks());  // the position taken by the open locks nothing
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_EQ(held(), one(1));
    EXPECT_EQ(read(a, ISNEXT), item(20, 2));
    EXPECT_EQ(held(), one(2));
    EXPECT_EQ(read(a, ISLAST), item(40, 4));
    EXPECT_EQ(held(), one(4));
    EXPECT_EQ(read(a, ISPREV), item(30, 3));
    EXPECT_EQ(held(), one(3));
    EXPECT_EQ(read(a, ISCURR), item(30, 3));
    EXPECT_EQ(held(), one(3));
    EXPECT_EQ(read(a, ISEQUAL, item(10)), item(10, 1));
    EXPECT_EQ(held(), one(1));
}

TEST_F(AutomaticLock, FlagsOfTheReadDoNotMatter) {
    EXPECT_EQ(read(a, ISFIRST | ISWAIT), item(10, 1));
    EXPECT_EQ(held(), one(1));
    EXPECT_EQ(read(a, ISNEXT | ISLOCK), item(20, 2));
    EXPECT_EQ(held(), one(2));
}

TEST_F(AutomaticLock, StartAndGotoReleaseAndLockNothing) {
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::start(0, kByKey, ISEQUAL, item(20))));
    EXPECT_EQ(held(), Locks());
    EXPECT_EQ(read(a, ISNEXT), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::go(0, 3)));
    EXPECT_EQ(held(), Locks());
    EXPECT_EQ(read(a, ISCURR), item(30, 3));
    EXPECT_EQ(held(), one(3));
}

TEST_F(AutomaticLock, ReadPastTheEndReleases) {
    EXPECT_EQ(read(a, ISLAST), item(40, 4));
    EXPECT_TRUE(fails(a, jobs::read(0, ISNEXT), ISERR_ENDOFFILE));
    EXPECT_EQ(held(), Locks());
}

TEST_F(AutomaticLock, DataByNumberLeavesTheLock) {
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::data(0, 3)));
    EXPECT_EQ(a.last().text(kItemLength), item(30, 3));
    EXPECT_EQ(held(), one(1));
}

TEST_F(AutomaticLock, ReadWaitsForALockedRecord) {
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    ASSERT_TRUE(waits(a, jobs::read(0, ISNEXT)));
    EXPECT_EQ(a.last().lock.start, kRecordStart + 2);
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISFIRST | ISLOCK)));  // a has let go of it
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(20, 8))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(20, 8));
    EXPECT_EQ(held(), one(2));
}

TEST_F(AutomaticLock, HoldsOffChangesOfOthers) {
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(fails(b, jobs::rewrite(0, item(10, 5)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(10, 6))));
    EXPECT_EQ(held(), one(1));  // a change is not a move
    EXPECT_EQ(read(a, ISNEXT), item(20, 2));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(10, 7))));
}

TEST_F(AutomaticLock, ChangeToManualReleases) {
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(a, jobs::setMode(0, ISLOCKMANUAL)));
    EXPECT_EQ(held(), Locks());
    EXPECT_EQ(read(a, ISNEXT), item(20, 2));
    EXPECT_EQ(held(), Locks());
    EXPECT_TRUE(succeeds(a, jobs::setMode(0, ISLOCKAUTO)));
    EXPECT_EQ(read(a, ISNEXT), item(30, 3));
    EXPECT_EQ(held(), one(3));
}

TEST_F(AutomaticLock, RecordNumberOrder) {
    EXPECT_TRUE(succeeds(a, jobs::start(0, testing_support::noKey(), ISFIRST)));
    EXPECT_EQ(read(a, ISNEXT), item(10, 1));
    EXPECT_EQ(held(), one(1));
    EXPECT_TRUE(succeeds(a, jobs::readNumber(0, ISEQUAL, 4)));
    EXPECT_EQ(held(), one(4));
}

}  // namespace
}  // namespace process_testing
