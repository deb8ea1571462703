#include "process_test.h"

namespace process_testing {
namespace {

// islock, isunlock, isrelease, isrelrec and isrelcurr between two processes.
class LockCalls : public ProcessTest {
  protected:
    void SetUp() override {
        build(4);
        open(a);
        open(b);
    }

    void lockNumbers(Worker &worker, std::initializer_list<int> numbers) {
        for (const int number : numbers)
            ASSERT_TRUE(succeeds(worker, jobs::read(0, ISEQUAL | ISLOCK, item(10 * number))));
    }

    // Numbers of the records that b cannot lock.
    std::vector<int> lockedForB() {
        std::vector<int> out;
        for (int number = 1; number <= 4; ++number) {
            b.run(jobs::read(0, ISEQUAL | ISLOCK, item(10 * number)));
            if (b.last().result == 0)
                EXPECT_TRUE(succeeds(b, jobs::releaseNumber(0, number)));
            else {
                EXPECT_EQ(b.last().error, ISERR_LOCKED);
                out.push_back(number);
            }
        }
        return out;
    }

    using Numbers = std::vector<int>;
    Worker a, b;
};

TEST_F(LockCalls, LockTakesEveryRecord) {
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_EQ(lockedForB(), Numbers({1, 2, 3, 4}));
    EXPECT_TRUE(succeeds(a, jobs::unlockAll(0)));
    EXPECT_EQ(lockedForB(), Numbers());
}

TEST_F(LockCalls, LockIsRefusedWhileAnotherProcessHoldsARecord) {
    lockNumbers(b, {3});
    EXPECT_TRUE(fails(a, jobs::lockAll(0), ISERR_LOCKED));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 1U);
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
}

TEST_F(LockCalls, LockIsRefusedWhileAnotherProcessHoldsAllRecords) {
    EXPECT_TRUE(succeeds(b, jobs::lockAll(0)));
    EXPECT_TRUE(fails(a, jobs::lockAll(0), ISERR_LOCKED));
}

TEST_F(LockCalls, LockGoesWithTheOwnRecordLocks) {
    lockNumbers(a, {2});
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_EQ(lockedForB(), Numbers({1, 2, 3, 4}));
}

TEST_F(LockCalls, LockHoldsOffChangesOfOthersAndLetsThemRead) {
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_TRUE(fails(b, jobs::rewrite(0, item(10, 5)), ISERR_LOCKED));
    EXPECT_TRUE(fails(b, jobs::remove(0, item(20)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(50))));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(10, 6))));
    EXPECT_EQ(read(b, ISFIRST), item(10, 6));
}

TEST_F(LockCalls, LockOfAWriterOnlyHandleIsRefused) {
    Worker c;
    open(c, ISOUTPUT);
    EXPECT_TRUE(fails(c, jobs::lockAll(0), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(c, jobs::unlockAll(0), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(c, jobs::release(0), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(c, jobs::releaseNumber(0, 1), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(c, jobs::releaseCurrent(0, 1), ISERR_ARGUMENT));
}

TEST_F(LockCalls, UnlockAndReleaseGiveBackEverything) {
    for (const bool unlock : {true, false}) {
        lockNumbers(a, {1, 3, 4});
        EXPECT_EQ(lockedForB(), Numbers({1, 3, 4}));
        EXPECT_TRUE(succeeds(a, unlock ? jobs::unlockAll(0) : jobs::release(0)));
        EXPECT_EQ(lockedForB(), Numbers());
        EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
        EXPECT_TRUE(succeeds(a, unlock ? jobs::unlockAll(0) : jobs::release(0)));
        EXPECT_EQ(lockedForB(), Numbers());
    }
}

TEST_F(LockCalls, ReleaseForgetsTheLocksToo) {
    EXPECT_TRUE(succeeds(a, jobs::lockCheck(0, true)));
    lockNumbers(a, {1});
    EXPECT_TRUE(succeeds(a, jobs::release(0)));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(10, 5)), ISERR_NOCURRENT));
}

TEST_F(LockCalls, ReleaseOfOneRecord) {
    lockNumbers(a, {1, 2, 3, 4});
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 2)));
    EXPECT_EQ(lockedForB(), Numbers({1, 3, 4}));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 2)));    // not held any more
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 999)));  // never was
    EXPECT_TRUE(fails(a, jobs::releaseNumber(0, 0), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(a, jobs::releaseNumber(0, -1), ISERR_ARGUMENT));
    EXPECT_EQ(lockedForB(), Numbers({1, 3, 4}));
}

TEST_F(LockCalls, ReleaseOfARecordOfOthersLeavesTheirLock) {
    lockNumbers(a, {2});
    EXPECT_TRUE(succeeds(b, jobs::releaseNumber(0, 2)));
    EXPECT_EQ(lockedForB(), Numbers({2}));
}

// The record that isrecnum names, whatever the position is.
TEST_F(LockCalls, ReleaseOfTheRecordJustRead) {
    lockNumbers(a, {1, 2, 3});
    EXPECT_TRUE(succeeds(a, jobs::call(0, [](Job &j) { return isrelcurr(j.fd); })));
    EXPECT_EQ(lockedForB(), Numbers({1, 2}));
    EXPECT_TRUE(succeeds(a, jobs::releaseCurrent(0, 1)));
    EXPECT_EQ(lockedForB(), Numbers({2}));
    EXPECT_TRUE(succeeds(a, jobs::releaseCurrent(0, 0)));
    EXPECT_EQ(lockedForB(), Numbers({2}));
}

TEST_F(LockCalls, RecordMayBeLockedAgainAfterARelease) {
    lockNumbers(a, {1});
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 1)));
    lockNumbers(b, {1});
    EXPECT_TRUE(fails(a, jobs::read(0, ISFIRST | ISLOCK), ISERR_LOCKED));
}

TEST_F(LockCalls, CloseGivesTheRecordsBack) {
    lockNumbers(a, {1, 4});
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_EQ(lockedForB(), Numbers());
}

}  // namespace
}  // namespace process_testing
