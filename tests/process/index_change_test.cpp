#include "process_test.h"

namespace process_testing {
namespace {

// Adding and dropping an index needs the file for oneself.
class IndexChange : public ProcessTest {
  protected:
    // Worker holds the open lock shared: another process can open the file, but not for itself alone.
    void expectShared(const Worker &worker) {
        const std::vector<HeldLock> open = {{kOpenStart, kAreaLength, F_RDLCK, worker.pid()}};
        EXPECT_EQ(RawFile(indexPath()).held(), open);
        Worker probe;
        EXPECT_TRUE(fails(probe, jobs::open(base, kExclusive), ISERR_FILEINUSE));
        EXPECT_TRUE(succeeds(probe, jobs::open(base, kShared)));
        EXPECT_TRUE(succeeds(probe, jobs::close(0)));
    }

    Worker a;
};

TEST_F(IndexChange, IsRefusedWhileOpenElsewhere) {
    build(3);
    {
        Worker other;
        ASSERT_TRUE(succeeds(other, jobs::open(base, kShared)));
        ASSERT_TRUE(succeeds(other, jobs::addIndex(0, kByGroup)));
    }
    Worker b;
    open(a);
    open(b);
    EXPECT_TRUE(fails(a, jobs::addIndex(0, keyDesc(ISDUPS, {{16, 4}})), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(a, jobs::dropIndex(0, kByGroup), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(a, jobs::info(0)));
    EXPECT_EQ(a.last().other, 2);
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectShared(a);
    EXPECT_TRUE(succeeds(a, jobs::dropIndex(0, kByGroup)));
    expectShared(a);
    EXPECT_TRUE(succeeds(a, jobs::addIndex(0, kByGroup)));
    expectShared(a);
}

TEST_F(IndexChange, HoldsTheFileAloneMeanwhile) {
    build(3);
    open(a);
    ASSERT_TRUE(pauses(a, jobs::addIndex(0, kByGroup)));
    const std::vector<HeldLock> expected = {{kPhaseStart, kAreaLength, F_WRLCK, a.pid()},
                                            {kOpenStart, kAreaLength, F_WRLCK, a.pid()}};
    EXPECT_EQ(RawFile(indexPath()).held(), expected);
    Worker b;
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
    a.resume();
    EXPECT_TRUE(finishes(a));
    open(b);
    EXPECT_TRUE(succeeds(b, jobs::start(0, kByGroup, ISFIRST)));
    EXPECT_EQ(read(b, ISNEXT), item(10, 1));
}

// The lock is turned into a shared one, never given up in between.
TEST_F(IndexChange, TurnsTheOpenLockBackWithoutAGap) {
    build(3);
    open(a);
    for (const bool add : {true, false}) {
        const Job job = add ? jobs::addIndex(0, kByGroup) : jobs::dropIndex(0, kByGroup);
        ASSERT_TRUE(succeeds(a, job));
        ASSERT_LE(a.last().lockCount, kTraceRoom);
        std::vector<int> types;
        for (int i = 0; i < a.last().lockCount; ++i)
            if (a.last().locks[i].index && a.last().locks[i].start == kOpenStart)
                types.push_back(a.last().locks[i].type);
        EXPECT_EQ(types, std::vector<int>({F_WRLCK, F_RDLCK}));
    }
}

TEST_F(IndexChange, DuplicateTakesEverythingBack) {
    build(0);
    open(a);
    for (int i = 0; i < 200; ++i)  // enough for several nodes before the one that fails
        ASSERT_TRUE(succeeds(a, jobs::write(0, item(i, i < 199 ? i : 0))));
    EXPECT_TRUE(fails(a, jobs::addIndex(0, keyDesc(ISNODUPS, {{8, 8}})), ISERR_DUPLICATE));
    expectShared(a);
    EXPECT_TRUE(succeeds(a, jobs::info(0)));
    EXPECT_EQ(a.last().other, 1);
    Worker b;
    open(b);
    EXPECT_TRUE(fails(b, jobs::start(0, kByGroup, ISFIRST), ISERR_KEYDESC));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(500))));
    EXPECT_EQ(read(a, ISLAST), item(500));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::addIndex(0, kByGroup)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectSound();
}

TEST_F(IndexChange, RefusedArgumentsLeaveTheLockAlone) {
    build(2);
    open(a);
    EXPECT_TRUE(fails(a, jobs::addIndex(0, kByKey), ISERR_INDEXEXISTS));
    EXPECT_EQ(a.last().lockCount, 0);
    expectShared(a);
    EXPECT_TRUE(fails(a, jobs::addIndex(0, keyDesc(ISNODUPS, {{38, 8}})), ISERR_KEYDESC));
    expectShared(a);
    EXPECT_TRUE(fails(a, jobs::dropIndex(0, kByKey), ISERR_PRIMARYKEY));
    expectShared(a);
    EXPECT_TRUE(fails(a, jobs::addIndex(0, testing_support::noKey()), ISERR_PRIMARYKEY));
    expectShared(a);
}

TEST_F(IndexChange, ArgumentsAreCheckedBeforeOtherProcesses) {
    build(2);
    Worker b;
    open(a);
    open(b);
    EXPECT_TRUE(fails(a, jobs::addIndex(0, kByKey), ISERR_INDEXEXISTS));
    EXPECT_TRUE(fails(a, jobs::dropIndex(0, kByKey), ISERR_PRIMARYKEY));
}

TEST_F(IndexChange, ExclusiveHandleStaysExclusive) {
    build(3);
    open(a, kExclusive);
    const std::vector<HeldLock> exclusive = {{kOpenStart, kAreaLength, F_WRLCK, a.pid()}};
    EXPECT_TRUE(succeeds(a, jobs::addIndex(0, kByGroup)));
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    EXPECT_TRUE(succeeds(a, jobs::dropIndex(0, kByGroup)));
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40, 4))));
    EXPECT_TRUE(fails(a, jobs::addIndex(0, keyDesc(ISNODUPS, {{20, 4}})), ISERR_DUPLICATE));
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    Worker b;
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
}

TEST_F(IndexChange, AnotherHandleOfTheProcessRefusesIt) {
    build(3);
    open(a);
    open(a, kShared, 1);
    EXPECT_TRUE(fails(a, jobs::addIndex(0, kByGroup), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(a, jobs::addIndex(1, kByGroup), ISERR_FILEINUSE));
    expectShared(a);
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::addIndex(1, kByGroup)));
    expectShared(a);
    open(a);
    EXPECT_TRUE(fails(a, jobs::dropIndex(1, kByGroup), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    EXPECT_TRUE(succeeds(a, jobs::dropIndex(0, kByGroup)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectSound();
}

}  // namespace
}  // namespace process_testing
