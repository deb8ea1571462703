#include "process_test.h"

namespace process_testing {
namespace {

class LockRange : public ProcessTest {
  protected:
    using Locks = std::vector<HeldLock>;

    static HeldLock openLock(const Worker &worker, int type) { return {kOpenStart, kAreaLength, type, worker.pid()}; }
    static HeldLock recordLock(const Worker &worker, long number) {
        return {kRecordStart + number, 1, F_WRLCK, worker.pid()};
    }
};

TEST_F(LockRange, SharedOpenLock) {
    build(1);
    Worker a;
    open(a);
    const RawFile index(indexPath()), data(dataPath());
    EXPECT_EQ(index.held(), Locks({openLock(a, F_RDLCK)}));
    EXPECT_EQ(data.held(), Locks());
}

TEST_F(LockRange, ExclusiveOpenLock) {
    build(1);
    Worker a;
    open(a, kExclusive);
    const RawFile index(indexPath()), data(dataPath());
    EXPECT_EQ(index.held(), Locks({openLock(a, F_WRLCK)}));
    EXPECT_EQ(data.held(), Locks());
}

TEST_F(LockRange, BuildTakesTheOpenLock) {
    Worker a, b;
    ASSERT_TRUE(succeeds(a, jobs::build(base, kItemLength, kByKey, kExclusive)));
    ASSERT_TRUE(succeeds(b, jobs::build(dir.file("other"), kItemLength, kByKey, kShared)));
    EXPECT_EQ(RawFile(indexPath()).held(), Locks({openLock(a, F_WRLCK)}));
    EXPECT_EQ(RawFile(dir.file("other.idx")).held(), Locks({openLock(b, F_RDLCK)}));
}

TEST_F(LockRange, CloseLeavesNoLock) {
    build(2);
    Worker a;
    open(a);
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_EQ(RawFile(indexPath()).held(), Locks());
    EXPECT_EQ(RawFile(dataPath()).held(), Locks());
}

TEST_F(LockRange, PhaseLockOfAReadIsShared) {
    build(1);
    Worker a;
    open(a);
    const RawFile index(indexPath());
    ASSERT_TRUE(pauses(a, jobs::read(0, ISFIRST)));
    EXPECT_EQ(index.held(), Locks({{kPhaseStart, kAreaLength, F_RDLCK, a.pid()}, openLock(a, F_RDLCK)}));
    a.resume();
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(index.held(), Locks({openLock(a, F_RDLCK)}));
}

TEST_F(LockRange, PhaseLockOfAWriteIsExclusive) {
    build(1);
    Worker a;
    open(a);
    const RawFile index(indexPath());
    ASSERT_TRUE(pauses(a, jobs::write(0, item(20))));
    EXPECT_EQ(index.held(), Locks({{kPhaseStart, kAreaLength, F_WRLCK, a.pid()}, openLock(a, F_RDLCK)}));
    a.resume();
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(index.held(), Locks({openLock(a, F_RDLCK)}));
}

// The two areas of the index file have one byte between them.
TEST_F(LockRange, ByteBetweenTheAreasBelongsToNone) {
    build(1);
    Worker a;
    RawFile index(indexPath());
    ASSERT_TRUE(index.lock(kPhaseStart + kAreaLength, 1, F_WRLCK));
    ASSERT_TRUE(index.lock(kOpenStart + kAreaLength, 1, F_WRLCK));
    open(a, kExclusive);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(20))));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(index.unlock(kPhaseStart + kAreaLength, 1));
}

TEST_F(LockRange, EachEndOfTheOpenAreaCounts) {
    build(1);
    Worker a;
    RawFile index(indexPath());
    for (const std::int64_t at : {kOpenStart, kOpenStart + kAreaLength - 1}) {
        ASSERT_TRUE(index.lock(at, 1, F_WRLCK));
        EXPECT_TRUE(fails(a, jobs::open(base, kShared), ISERR_FILEINUSE)) << at;
        ASSERT_TRUE(index.lock(at, 1, F_RDLCK));
        EXPECT_TRUE(fails(a, jobs::open(base, kExclusive), ISERR_FILEINUSE)) << at;
        ASSERT_TRUE(index.unlock(at, 1));
    }
    open(a);
}

TEST_F(LockRange, EachEndOfThePhaseAreaCounts) {
    build(1);
    Worker a;
    open(a);
    RawFile index(indexPath());
    for (const std::int64_t at : {kPhaseStart, kPhaseStart + kAreaLength - 1}) {
        ASSERT_TRUE(index.lock(at, 1, F_WRLCK));
        EXPECT_TRUE(waits(a, jobs::read(0, ISFIRST))) << at;
        ASSERT_TRUE(index.unlock(at, 1));
        EXPECT_TRUE(finishes(a));
    }
}

TEST_F(LockRange, RecordLockIsOneByte) {
    build(3);
    Worker a;
    open(a);
    const RawFile data(dataPath());
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_EQ(data.held(), Locks({recordLock(a, 1)}));
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISLAST | ISLOCK)));
    EXPECT_EQ(data.held(), Locks({recordLock(a, 1), recordLock(a, 3)}));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 1)));
    EXPECT_EQ(data.held(), Locks({recordLock(a, 3)}));
}

TEST_F(LockRange, WrittenRecordIsLockedByItsNumber) {
    build(3);
    Worker a;
    open(a);
    EXPECT_TRUE(succeeds(a, jobs::writeLock(0, item(40))));
    EXPECT_EQ(a.last().recnum, 4);
    EXPECT_EQ(RawFile(dataPath()).held(), Locks({recordLock(a, 4)}));
}

TEST_F(LockRange, LockOfAllRecords) {
    build(3);
    Worker a;
    open(a);
    const RawFile data(dataPath());
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_EQ(data.held(), Locks({{kRecordStart, kAllRecordsLength, F_WRLCK, a.pid()}}));
    EXPECT_TRUE(succeeds(a, jobs::unlockAll(0)));
    EXPECT_EQ(data.held(), Locks());
}

// The bytes past two gigabytes are where the last records lie; offsets must not wrap.
TEST_F(LockRange, HighRecordNumbersLieBeyondTwoGigabytes) {
    build(1);
    constexpr long kHigh = 2000000000;
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(
        succeeds(a, jobs::withNumber(jobs::call(0, [](Job &j) { return issetlastrec(j.fd, j.number); }), kHigh - 1)));
    ASSERT_TRUE(succeeds(a, jobs::writeLock(0, item(20))));
    EXPECT_EQ(a.last().recnum, kHigh);
    EXPECT_EQ(RawFile(dataPath()).held(), Locks({{kRecordStart + kHigh, 1, F_WRLCK, a.pid()}}));
    EXPECT_TRUE(fails(b, jobs::read(0, ISEQUAL | ISLOCK, item(20)), ISERR_LOCKED));
    EXPECT_EQ(b.last().text(kItemLength), item(20));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, kHigh)));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    EXPECT_TRUE(succeeds(b, jobs::release(0)));  // all at once reaches as far
    EXPECT_EQ(RawFile(dataPath()).held(), Locks());
}

}  // namespace
}  // namespace process_testing
