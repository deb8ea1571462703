#include "process_test.h"

namespace process_testing {
namespace {

using CloseLock = ProcessTest;

TEST_F(CloseLock, ClosingOneOfTwoHandlesLetsGoOfItsRecords) {
    build(3);
    Worker a, b;
    open(a, kShared, 0);
    open(a, kShared, 1);
    open(b);
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISEQUAL | ISLOCK, item(10))));
    EXPECT_TRUE(fails(b, jobs::read(0, ISEQUAL | ISLOCK, item(10)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISEQUAL | ISLOCK, item(10))));
}

}  // namespace
}  // namespace process_testing
