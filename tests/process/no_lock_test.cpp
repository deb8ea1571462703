#include "process_test.h"

#include <cerrno>
#include <sys/stat.h>

namespace process_testing {
namespace {

using WithoutLocks = ProcessTest;
constexpr int kNone = ISINOUT | ISLOCKNONE;

TEST_F(WithoutLocks, MakesNoLockCallAtAll) {
    build(3);
    Worker a;
    int calls = 0;
    const auto runs = [&](const Job &job) {
        const testing::AssertionResult result = succeeds(a, job);
        calls += a.last().lockCount;
        return result;
    };
    EXPECT_TRUE(runs(jobs::open(base, kNone)));
    EXPECT_TRUE(runs(jobs::read(0, ISFIRST)));
    EXPECT_TRUE(runs(jobs::read(0, ISNEXT | ISLOCK)));
    EXPECT_TRUE(runs(jobs::read(0, ISNEXT | ISLOCK | ISWAIT)));
    EXPECT_TRUE(runs(jobs::lockAll(0)));
    EXPECT_TRUE(runs(jobs::releaseNumber(0, 2)));
    EXPECT_TRUE(runs(jobs::unlockAll(0)));
    EXPECT_TRUE(runs(jobs::start(0, kByKey, ISLAST)));
    EXPECT_TRUE(runs(jobs::info(0)));
    EXPECT_TRUE(runs(jobs::close(0)));
    EXPECT_EQ(calls, 0);
}

TEST_F(WithoutLocks, OpensBesideAnExclusiveHandle) {
    build(3);
    Worker a, b;
    open(a, kExclusive);
    open(b, kNone);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(40))));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectSound();
}

TEST_F(WithoutLocks, ReadsPastTheLocksOfOthers) {
    build(3);
    Worker a, b;
    open(a, kNone);
    open(b);
    EXPECT_TRUE(succeeds(b, jobs::lockAll(0)));
    EXPECT_EQ(read(a, ISFIRST | ISLOCK), item(10, 1));
    ASSERT_TRUE(pauses(b, jobs::write(0, item(5))));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));  // a write in progress does not hold it up
    b.resume();
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(read(a, ISFIRST), item(5));  // and what is complete is seen
}

TEST_F(WithoutLocks, SystemDescriptorsAreReadOnly) {
    build(3);
    Worker a;
    open(a, kNone);
    ASSERT_TRUE(succeeds(a, jobs::call(0, [](Job &j) {
                             const int result = isread(j.fd, j.record, ISFIRST);
                             j.number = fcntl(isqv_idxfd(j.fd), F_GETFL) & O_ACCMODE;
                             j.other = fcntl(isqv_datfd(j.fd), F_GETFL) & O_ACCMODE;
                             return result;
                         })));
    EXPECT_EQ(a.last().number, O_RDONLY);
    EXPECT_EQ(a.last().other, O_RDONLY);
}

TEST_F(WithoutLocks, ChangesFailInTheSystemAndLeaveTheFile) {
    build(3);
    Worker a;
    open(a, kNone);
    EXPECT_TRUE(fails(a, jobs::write(0, item(40)), EBADF, 0x52));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(10, 9)), EBADF, 0x52));
    EXPECT_TRUE(fails(a, jobs::remove(0, item(10)), EBADF, 0x52));
    EXPECT_TRUE(fails(a, jobs::setUnique(0, 7), EBADF, 0x51));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_EQ(read(a, ISLAST), item(30, 3));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectSound();
}

TEST_F(WithoutLocks, FileWithoutWritePermissionIsEnough) {
    build(2);
    ASSERT_EQ(chmod(indexPath().c_str(), 0444), 0);
    ASSERT_EQ(chmod(dataPath().c_str(), 0444), 0);
    Worker a;
    open(a, ISINPUT | ISLOCKNONE);
    EXPECT_EQ(read(a, ISLAST), item(20, 2));
}

// Locks taken before the handle went without are not left behind.
TEST_F(WithoutLocks, ChangeOfAnOpenHandleKeepsWhatItHeld) {
    build(3);
    Worker a, b;
    open(a);
    open(b);
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(succeeds(a, jobs::setMode(0, ISLOCKNONE)));
    EXPECT_EQ(RawFile(indexPath()).held().size(), 1U);  // a shared open lock, the phase lock is gone
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISNEXT | ISLOCK)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::open(base, kExclusive)));
}

}  // namespace
}  // namespace process_testing
