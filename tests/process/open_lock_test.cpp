#include "process_test.h"

namespace process_testing {
namespace {

using OpenLock = ProcessTest;

TEST_F(OpenLock, SharedOpensGoTogether) {
    build(1);
    Worker a, b, c;
    open(a);
    open(b, ISINPUT | ISLOCKAUTO);
    open(c, ISOUTPUT);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_TRUE(succeeds(c, jobs::write(0, item(11))));
    EXPECT_EQ(read(a, ISLAST), item(11));
}

TEST_F(OpenLock, ExclusiveOpenIsRefusedWhileOpenElsewhere) {
    build(1);
    Worker a, b;
    open(a);
    EXPECT_TRUE(fails(b, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    open(b, kExclusive);
}

TEST_F(OpenLock, EveryOpenIsRefusedWhileExclusiveElsewhere) {
    build(1);
    Worker a, b;
    open(a, kExclusive);
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(b, jobs::open(base, kAutomatic), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(b, jobs::open(base, ISINPUT), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(b, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    open(b);
}

TEST_F(OpenLock, ExclusiveBuildKeepsOthersOutUntilClosed) {
    Worker a, b;
    ASSERT_TRUE(succeeds(a, jobs::build(base, kItemLength, kByKey, kExclusive)));
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    open(b);
}

TEST_F(OpenLock, SharedBuildLetsOthersIn) {
    Worker a, b;
    ASSERT_TRUE(succeeds(a, jobs::build(base, kItemLength, kByKey, kShared)));
    EXPECT_TRUE(fails(b, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    open(b);
}

TEST_F(OpenLock, CleanupGivesTheFileBack) {
    build(1);
    Worker a, b;
    open(a, kExclusive);
    ASSERT_TRUE(succeeds(a, jobs::call(0, [](Job &) { return iscleanup(); })));
    open(b, kExclusive);
}

TEST_F(OpenLock, ExclusiveHandleWorksAlone) {
    build(3);
    Worker a;
    open(a, kExclusive);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(15))));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_EQ(read(a, ISNEXT), item(15));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(20))));
    EXPECT_EQ(read(a, ISNEXT), item(30, 3));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    expectSound();
}

// Two spellings of one path are two openings with descriptors of their own, and one file to the system.
TEST_F(OpenLock, OtherSpellingIsAnotherOpenOfTheProcess) {
    build(2);
    Worker a;
    open(a);
    EXPECT_TRUE(succeeds(a, jobs::open(dir.path() + "/./items", kShared)));
    EXPECT_EQ(a.last().result, 1);
    EXPECT_TRUE(succeeds(a, jobs::systemDescriptors(0)));
    const long first = a.last().number;
    EXPECT_TRUE(succeeds(a, jobs::systemDescriptors(1)));
    EXPECT_NE(a.last().number, first);
    EXPECT_TRUE(succeeds(a, jobs::write(1, item(5))));
    EXPECT_EQ(read(a, ISFIRST), item(5));
}

}  // namespace
}  // namespace process_testing
