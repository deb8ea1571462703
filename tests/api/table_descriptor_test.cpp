// Every call on a descriptor that is not open, and the calls that take none.
#include "table.h"

#include <climits>

namespace api {
namespace {

using TableDescriptors = Bench;

void refuse(const TableCall &call, int fd) {
    SCOPED_TRACE(std::string(call.name) + " of " + std::to_string(fd));
    prime();
    EXPECT_EQ(call.run(fd), call.bad);
    EXPECT_EQ(globals(), (Globals{call.badError, kPrimed.io, kPrimed.recnum, kPrimed.reclen}));
}

void refuseAll(int fd) {
    for (const TableCall &call : wholeTable().calls)
        if (call.needs != Needs::kNoFile) refuse(call, fd);
}

TEST_F(TableDescriptors, ClosedOneIsRefused) {
    const int fd = usual();
    layBeside();
    EXPECT_OK(isclose(fd));
    refuseAll(fd);
}

TEST_F(TableDescriptors, NeverOpenedOneIsRefused) {
    refuseAll(0);
    layBeside();
    refuseAll(usual() + 1);
}

TEST_F(TableDescriptors, NegativeOneIsRefused) {
    layBeside();
    refuseAll(-1);
    refuseAll(INT_MIN);
}

TEST_F(TableDescriptors, HugeOneIsRefused) {
    layBeside();
    refuseAll(10);  // the first one beyond the table
    refuseAll(1000);
    refuseAll(INT_MAX);
}

TEST_F(TableDescriptors, OneThatWaitsForATransactionsEndIsRefused) {
    EXPECT_OK(isclose(usual()));
    layBeside();
    startLog();
    const int fd = usual(ISINOUT | ISTRANS);
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrec(fd, 2, row(2)));
    EXPECT_OK(isclose(fd));
    const Image before = imageOf(base());
    refuseAll(fd);
    EXPECT_TRUE(imageOf(base()) == before);
    EXPECT_EQ(openTrans(), fd);
    EXPECT_OK(iscommit());
}

// What takes no descriptor: its result and the globals that it sets.
TEST_F(TableDescriptors, CallsWithoutAnySetWhatTheySay) {
    forgetRecovery();
    for (const TableCall &call : wholeTable().calls) {
        if (call.needs != Needs::kNoFile) continue;
        SCOPED_TRACE(call.name);
        layBeside();
        prime();
        expectSuccess(call, call.run(-1));
        EXPECT_OK(islogclose());
        EXPECT_OK(iscleanup());
        EXPECT_EQ(isTxnInit(nullptr), 1);
        clear();
    }
}

}  // namespace
}  // namespace api
