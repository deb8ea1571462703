// A transaction that outlives its log: what it changes from then on has no chain in the next one.
#include "logs.h"

namespace api {
namespace {

using LogOther = LogTest;

TEST_F(LogOther, ChangesOfTheTransactionAreNotChainedThere) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(10)));
    EXPECT_OK(islogclose());
    EXPECT_OK(islogopen(path("other").c_str()));
    EXPECT_OK(iswrite(fd, row(20)));
    EXPECT_OK(islogclose());
    const std::string bytes = contents(path("other"));
    ASSERT_GE(bytes.size(), 18U);
    EXPECT_EQ(bytes.substr(2, 2), "IN");
    EXPECT_EQ(bytes.substr(12, 6), std::string(6, '\0')) << "the record before";
}

}  // namespace
}  // namespace api
