#include "process_test.h"

#include <cerrno>

namespace process_testing {
namespace {

using Deadlock = ProcessTest;

// Two readers wait for each other's record: the system refuses one of them.
TEST_F(Deadlock, IsReportedToOneOfTwoWaitingReaders) {
    build(3);
    Worker a, b, c;
    open(a);
    open(b);
    open(c);
    ASSERT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(10))));
    ASSERT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(20))));
    ASSERT_TRUE(waits(a, jobs::read(0, ISEQUAL | ISLOCK | ISWAIT, item(20))));
    ASSERT_TRUE(waits(b, jobs::read(0, ISEQUAL | ISLOCK | ISWAIT, item(10))));

    // Whoever came to the system second is refused; the other one goes on waiting.
    Worker *const loser = Worker::firstToAnswer(a, b);
    Worker *const winner = loser == &a ? &b : &a;
    ASSERT_TRUE(finishesWith(*loser, EDEADLK, 0x62));

    // The refused one holds no phase lock: others can write.
    EXPECT_TRUE(succeeds(c, jobs::write(0, item(40))));
    for (const HeldLock &lock : RawFile(indexPath()).held())
        EXPECT_NE(lock.start, kPhaseStart);

    EXPECT_TRUE(succeeds(*loser, jobs::release(0)));
    EXPECT_TRUE(finishes(*winner));
    EXPECT_TRUE(succeeds(*winner, jobs::rewrite(0, item(winner == &a ? 20 : 10, 9))));
    EXPECT_TRUE(succeeds(*loser, jobs::read(0, ISFIRST)));
}

}  // namespace
}  // namespace process_testing
