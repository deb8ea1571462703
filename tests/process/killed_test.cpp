#include "process_test.h"

namespace process_testing {
namespace {

// A process that dies gives back whatever it held.
using Killed = ProcessTest;

TEST_F(Killed, HolderOfTheExclusiveOpen) {
    build(2);
    Worker a, b;
    open(a, kExclusive);
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
    a.kill();
    open(b, kExclusive);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
}

TEST_F(Killed, HolderOfARecordAwaitedByAnother) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(succeeds(a, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_TRUE(fails(b, jobs::read(0, ISFIRST | ISLOCK), ISERR_LOCKED));
    ASSERT_TRUE(waits(b, jobs::read(0, ISFIRST | ISLOCK | ISWAIT)));
    a.kill();
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().text(kItemLength), item(10, 1));
    EXPECT_TRUE(succeeds(b, jobs::addIndex(0, kByGroup)));  // the dead one's open lock is gone too
}

TEST_F(Killed, HolderOfAllRecords) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(succeeds(a, jobs::lockAll(0)));
    EXPECT_TRUE(fails(b, jobs::lockAll(0), ISERR_LOCKED));
    a.kill();
    EXPECT_TRUE(succeeds(b, jobs::lockAll(0)));
}

TEST_F(Killed, WriterInsideItsPhase) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(pauses(a, jobs::write(0, item(5))));
    ASSERT_TRUE(waits(b, jobs::read(0, ISFIRST)));
    a.kill();
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().text(kItemLength), item(10, 1));  // nothing had been written yet
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectSound();
}

TEST_F(Killed, ReaderThatWaits) {
    build(2);
    Worker a, b;
    open(a);
    open(b);
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISFIRST | ISLOCK)));
    ASSERT_TRUE(waits(a, jobs::read(0, ISFIRST | ISLOCK | ISWAIT)));
    a.kill();
    EXPECT_TRUE(succeeds(b, jobs::release(0)));
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
    EXPECT_TRUE(succeeds(b, jobs::addIndex(0, kByGroup)));
}

}  // namespace
}  // namespace process_testing
