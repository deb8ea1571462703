#include "process_test.h"

#include <unistd.h>

namespace process_testing {
namespace {

using PhaseLock = ProcessTest;

TEST_F(PhaseLock, ReaderWaitsForAForeignExclusiveLock) {
    build(2);
    Worker a;
    open(a);
    RawFile index(indexPath());
    ASSERT_TRUE(index.lock(kPhaseStart, kAreaLength, F_WRLCK));
    ASSERT_TRUE(waits(a, jobs::read(0, ISFIRST)));
    EXPECT_EQ(a.last().lock.start, kPhaseStart);
    EXPECT_EQ(a.last().lock.length, kAreaLength);
    EXPECT_EQ(a.last().lock.type, F_RDLCK);
    EXPECT_TRUE(a.last().lock.index);
    ASSERT_TRUE(index.unlock(kPhaseStart, kAreaLength));
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(10, 1));
}

TEST_F(PhaseLock, WriterWaitsForAForeignSharedLockAndAReaderDoesNot) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    RawFile index(indexPath());
    ASSERT_TRUE(index.lock(kPhaseStart, kAreaLength, F_RDLCK));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    ASSERT_TRUE(waits(b, jobs::write(0, item(30))));
    EXPECT_EQ(b.last().lock.type, F_WRLCK);
    EXPECT_EQ(b.last().lock.start, kPhaseStart);
    EXPECT_EQ(b.last().lock.length, kAreaLength);
    EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL, item(30)), ISERR_NOTFOUND));
    ASSERT_TRUE(index.unlock(kPhaseStart, kAreaLength));
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(read(a, ISEQUAL, item(30)), item(30));
}

TEST_F(PhaseLock, ReadersGoTogether) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(pauses(a, jobs::read(0, ISFIRST)));
    EXPECT_EQ(read(b, ISLAST), item(20, 2));
    a.resume();
    EXPECT_TRUE(finishes(a));
}

TEST_F(PhaseLock, WriterWaitsForAReaderAndReaderForAWriter) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(pauses(a, jobs::read(0, ISFIRST)));
    ASSERT_TRUE(waits(b, jobs::write(0, item(5))));
    a.resume();
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(10, 1));  // the write came after
    EXPECT_TRUE(finishes(b));

    ASSERT_TRUE(pauses(b, jobs::write(0, item(3))));
    ASSERT_TRUE(waits(a, jobs::read(0, ISFIRST)));
    b.resume();
    EXPECT_TRUE(finishes(b));
    EXPECT_TRUE(finishes(a));
    EXPECT_EQ(a.last().text(kItemLength), item(3));  // the write came before
}

TEST_F(PhaseLock, WritersGoOneAfterTheOther) {
    build(0);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(pauses(a, jobs::write(0, item(1))));
    ASSERT_TRUE(waits(b, jobs::write(0, item(1))));
    a.resume();
    EXPECT_TRUE(finishes(a));
    EXPECT_TRUE(finishesWith(b, ISERR_DUPLICATE));
}

// An open reads the header, so it too waits until a change is complete.
TEST_F(PhaseLock, OpenWaitsForAWriter) {
    build(2);
    Worker a, b;
    open(a);
    ASSERT_TRUE(pauses(a, jobs::write(0, item(5))));
    ASSERT_TRUE(waits(b, jobs::open(base, kShared)));
    EXPECT_EQ(b.last().lock.type, F_RDLCK);
    a.resume();
    EXPECT_TRUE(finishes(a));
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(read(b, ISNEXT), item(5));
}

TEST_F(PhaseLock, WriteIsSeenWholeByTheNextReader) {
    build(1);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(pauses(a, jobs::rewrite(0, item(10, 7, "new"))));
    ASSERT_TRUE(waits(b, jobs::data(0, 1)));
    a.resume();
    EXPECT_TRUE(finishes(a));
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().text(kItemLength), item(10, 7, "new"));
}

class PhaseLockAfterError : public ProcessTest {
  protected:
    // A failed call leaves only the open lock, and another process can write at once.
    void expectReleased(const Worker &worker) {
        const std::vector<HeldLock> open = {{kOpenStart, kAreaLength, F_RDLCK, worker.pid()}};
        EXPECT_EQ(RawFile(indexPath()).held(), open);
    }

    // Gives the first index's root a length that no node can have.
    void damageRoot() {
        testing_support::FileReader reader(base);
        std::vector<std::string> problems;
        ASSERT_TRUE(reader.refresh(&problems));
        const off_t root = static_cast<off_t>(reader.indexes().at(0).root - 1) * reader.header().nodeSize;
        const int fd = ::open(indexPath().c_str(), O_RDWR | O_CLOEXEC);
        const unsigned char length[2] = {0xff, 0xff};
        EXPECT_EQ(pwrite(fd, length, sizeof length, root), 2);
        ::close(fd);
    }
};

TEST_F(PhaseLockAfterError, ReadThatFindsNothing) {
    build(1);
    Worker a;
    open(a);
    EXPECT_TRUE(fails(a, jobs::read(0, ISEQUAL, item(11)), ISERR_NOTFOUND));
    expectReleased(a);
    EXPECT_TRUE(fails(a, jobs::start(0, kByGroup, ISFIRST), ISERR_KEYDESC));
    expectReleased(a);
    EXPECT_TRUE(fails(a, jobs::data(0, 7), ISERR_ARGUMENT));
    expectReleased(a);
    EXPECT_TRUE(fails(a, jobs::go(0, 7), ISERR_NOTFOUND));
    expectReleased(a);
}

TEST_F(PhaseLockAfterError, ChangeThatIsRefused) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    EXPECT_TRUE(fails(a, jobs::write(0, item(10)), ISERR_DUPLICATE));
    EXPECT_TRUE(fails(a, jobs::rewrite(0, item(11)), ISERR_NOTFOUND));
    EXPECT_TRUE(fails(a, jobs::removeNumber(0, 9), ISERR_NOCURRENT));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(fails(a, jobs::remove(0, item(10)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectReleased(a);
}

TEST_F(PhaseLockAfterError, DamagedNode) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(succeeds(b, jobs::write(0, item(30))));  // a has to read its nodes again
    ASSERT_TRUE(succeeds(b, jobs::close(0)));
    damageRoot();
    EXPECT_TRUE(fails(a, jobs::read(0, ISFIRST), ISERR_CORRUPT));
    expectReleased(a);
    EXPECT_TRUE(fails(a, jobs::write(0, item(15)), ISERR_CORRUPT));
    expectReleased(a);
}

TEST_F(PhaseLockAfterError, MissingSlot) {
    build(2);
    Worker a;
    open(a);
    ASSERT_EQ(truncate(dataPath().c_str(), kItemLength), 0);
    a.run(jobs::read(0, ISLAST));
    EXPECT_EQ(a.last().result, -1);
    EXPECT_EQ(a.last().io, 0x42);
    expectReleased(a);
    a.run(jobs::rewriteNumber(0, 2, item(20)));
    EXPECT_EQ(a.last().result, -1);
    EXPECT_EQ(a.last().io, 0x42);
    expectReleased(a);
}

}  // namespace
}  // namespace process_testing
