// Changes that cannot be undone: the transaction has ended all the same.
#include "logs.h"

namespace api {
namespace {

class FailedUndo : public LogTest {
  protected:
    int fd = -1, other = -1;
    void SetUp() override {
        startLog();
        fd = buildTrans();
        putIds(fd, {10, 20, 30});
        EXPECT_OK(isrelease(fd));
        other = open();
        EXPECT_OK(isbegin());
    }
    void expectFailedEnd(int code) {
        EXPECT_FAILS(code, isrollback());
        EXPECT_EQ(lastType(log()), "RW");
        EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
        EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
        EXPECT_OK(isbegin());
        EXPECT_OK(iscommit());
    }
};

TEST_F(FailedUndo, KeyOfARemovedRecordIsTaken) {
    EXPECT_OK(iswrite(fd, row(5)));
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(isrewrite(fd, row(30, "new")));
    EXPECT_OK(iswrite(other, row(10, "mine")));
    expectFailedEnd(ISERR_DUPLICATE);
    // The last change is undone, the first one stays.
    EXPECT_EQ(idsOf(other), (Ids{5, 10, 20, 30}));
    EXPECT_EQ(take(other, ISEQUAL, row(10)), rec(row(10, "mine")));
    EXPECT_EQ(take(other, ISEQUAL, row(30)), rec(row(30, "n30", 30)));
    for (long number = 1; number <= 4; ++number)
        EXPECT_TRUE(lockable(other, number)) << number;
}

TEST_F(FailedUndo, DescriptorThatWasNotReachedIsLoggedOn) {
    const int reachedNot = buildTrans("second");
    EXPECT_OK(iswrite(reachedNot, row(1)));
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(iswrite(other, row(10, "mine")));
    expectFailedEnd(ISERR_DUPLICATE);
    int mode = 0;
    EXPECT_OK(isgetmode(reachedNot, &mode));
    EXPECT_EQ(mode & ISNOLOG, 0);
    EXPECT_OK(isgetmode(fd, &mode));
    EXPECT_EQ(mode & ISNOLOG, ISNOLOG);
    EXPECT_OK(iswrite(reachedNot, row(2)));
    EXPECT_EQ(lastType(log()), "IN");
}

TEST_F(FailedUndo, KeyOfAReplacedRecordIsTaken) {
    EXPECT_OK(isrewrec(fd, 1, row(15)));
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(iswrite(other, row(10, "mine")));
    expectFailedEnd(ISERR_DUPLICATE);
    EXPECT_EQ(idsOf(other), (Ids{10, 15, 20, 30}));
    EXPECT_TRUE(lockable(other, 1));
}

TEST_F(FailedUndo, RecordIsLockedByAnotherHandle) {
    EXPECT_OK(isrewrite(fd, row(10, "new")));
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrelrec(fd, 4));
    Row got = row(40);
    EXPECT_OK(isread(other, got, ISEQUAL | ISLOCK));
    expectFailedEnd(ISERR_LOCKED);
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30, 40}));
    EXPECT_EQ(take(fd, ISEQUAL, row(10)), rec(row(10, "new")));
    // The lock of the other handle has nothing to do with it.
    EXPECT_FALSE(lockable(fd, 4));
    EXPECT_TRUE(lockable(other, 1));
}

TEST_F(FailedUndo, AddedRecordIsGoneAlready) {
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrelrec(fd, 4));
    EXPECT_OK(isdelete(other, row(40)));
    expectFailedEnd(ISERR_NOCURRENT);
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
}

TEST_F(FailedUndo, OfVariableLength) {
    EXPECT_OK(iscommit());
    const int varlen = buildVarTrans("var"), plain = isopen(path("var").c_str(), ISINOUT | ISVARLEN);
    EXPECT_OK(send(iswrite, varlen, rec(1, 2000)));
    EXPECT_OK(send(iswrite, varlen, rec(2, 10)));
    EXPECT_OK(isbegin());
    EXPECT_OK(send(isrewrite, varlen, rec(2, 1200)));
    EXPECT_OK(isdelete(varlen, row(1)));
    EXPECT_OK(send(iswrite, plain, rec(1, 5)));
    expectFailedEnd(ISERR_DUPLICATE);
    EXPECT_EQ(allOf(plain), (Records{rec(1, 5), rec(2, 1200)}));
}

TEST_F(FailedUndo, ParkedHandlesAreClosedAllTheSame) {
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(iswrite(other, row(10, "mine")));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(isclose(other));
    const int open_ones = openDescriptors();
    EXPECT_FAILS(ISERR_DUPLICATE, isrollback());
    EXPECT_EQ(openDescriptors(), open_ones - 2);
    EXPECT_OK(isclose(open(ISINOUT | ISLOCKEXCL)));
}

TEST_F(FailedUndo, DamagedChain) {
    EXPECT_OK(iswrite(fd, row(40)));
    const LogRecord last = logOf(log()).back();
    patchFile(log(), last.offset + 2, "??");
    EXPECT_FAILS(ISERR_BADLOG, isrollback());
    EXPECT_EQ(lastType(log()), "RW");
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30, 40}));
}

TEST_F(FailedUndo, ChainThatLeadsToAFileWithoutRecords) {
    const int keys = buildNamed(path("keys"), ISINOUT, idKey(), 0);
    EXPECT_OK(iswrite(fd, row(40)));
    patchFile(log(), logOf(log()).back().offset + 18, int2(static_cast<unsigned long>(keys)));
    EXPECT_FAILS(ISERR_BADLOG, isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30, 40}));
    EXPECT_OK(isclose(keys));
}

TEST_F(FailedUndo, LogThatWasCutOff) {
    EXPECT_OK(iswrite(fd, row(40)));
    cutFile(log(), logOf(log()).back().offset + 5);
    EXPECT_FAILS(ISERR_LOGREAD, isrollback());
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30, 40}));
}

TEST_F(FailedUndo, LogThatLostTheBody) {
    EXPECT_OK(iswrite(fd, row(40)));
    cutFile(log(), logOf(log()).back().offset + 19);
    EXPECT_FAILS(ISERR_LOGREAD, isrollback());
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30, 40}));
}

}  // namespace
}  // namespace api
