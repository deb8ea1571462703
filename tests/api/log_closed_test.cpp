// Transactions whose log or files are gone before they end.
#include "logs.h"

namespace api {
namespace {

class LogClosed : public LogTest {
  protected:
    int fd = -1;
    void SetUp() override {
        startLog();
        fd = buildTrans();
        putIds(fd, {10, 20});
        EXPECT_OK(isrelease(fd));
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(30)));
    }
};

TEST_F(LogClosed, TransactionCanOnlyBeEnded) {
    for (int (*const end)() : {isrollback, iscommit}) {
        const std::string before = contents(log());
        EXPECT_OK(islogclose());
        EXPECT_FAILS(ISERR_NOLOG, isbegin());
        EXPECT_EQ(end(), -1);
        EXPECT_NE(iserrno, 0);
        EXPECT_NE(iserrno, ISERR_NOTRANSACTION);
        EXPECT_FAILS(ISERR_NOTRANSACTION, end());
        EXPECT_EQ(contents(log()), before);
        EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
        startLog();
        EXPECT_OK(isbegin());
    }
}

TEST_F(LogClosed, ChangesAfterItAreNotLogged) {
    const std::string before = contents(log());
    EXPECT_OK(islogclose());
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_EQ(isrollback(), -1);
    EXPECT_EQ(contents(log()), before);
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30, 40}));
}

TEST_F(LogClosed, FilesClosedInItAreClosedAtItsEnd) {
    const int before = openDescriptors();
    EXPECT_OK(isclose(fd));
    EXPECT_OK(islogclose());
    EXPECT_EQ(openDescriptors(), before - 1);
    EXPECT_EQ(iscommit(), -1);
    EXPECT_EQ(openDescriptors(), before - 3);
    EXPECT_OK(isclose(open(ISINOUT | ISLOCKEXCL)));
}

TEST_F(LogClosed, AnotherLogHasNothingToDoWithIt) {
    EXPECT_OK(islogclose());
    EXPECT_OK(islogopen(path("other").c_str()));
    EXPECT_EQ(isrollback(), -1);
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
}

TEST_F(LogClosed, NextBeginEndsTheOldTransaction) {
    const int parked = buildTrans("parked");
    EXPECT_OK(isclose(parked));
    const int before = openDescriptors();
    EXPECT_OK(islogclose());
    EXPECT_OK(islogopen(path("other").c_str()));
    EXPECT_OK(isbegin());
    EXPECT_EQ(openDescriptors(), before - 2);
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrollback());
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
    EXPECT_EQ(typesOf(path("other")), "BW IN RW");
}

TEST_F(LogClosed, CleanupClosesFilesInsideATransaction) {
    const int parked = buildTrans("parked");
    EXPECT_OK(iswrite(parked, row(1)));
    EXPECT_OK(isclose(parked));
    EXPECT_OK(iscleanup());
    for (const int closed : {fd, parked})
        EXPECT_FAILS(ISERR_NOTOPEN, isclose(closed));
    EXPECT_OK(isclose(open(ISINOUT | ISLOCKEXCL)));
    EXPECT_OK(isclose(isopen(path("parked").c_str(), ISINOUT | ISLOCKEXCL)));
    // The transaction is still to be ended.
    EXPECT_OK(iscommit());
    EXPECT_EQ(lastType(log()), "CW");
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30}));
}

TEST_F(LogClosed, CleanupKeepsWhatCanNoLongerBeUndone) {
    EXPECT_OK(iscleanup());
    EXPECT_EQ(isrollback(), -1);
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(lastType(log()), "RW");
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30}));
}

TEST_F(LogClosed, AnotherFileUnderTheNumberIsNotTakenForIt) {
    EXPECT_OK(iscleanup());
    const int other = buildNamed(path("other"));
    EXPECT_EQ(other, fd);
    putIds(other, {1, 2, 3, 4});
    EXPECT_EQ(isrollback(), -1);
    EXPECT_EQ(idsOf(other), (Ids{1, 2, 3, 4}));
}

TEST_F(LogClosed, AnotherFileUnderTheNumberKeepsItsLocks) {
    EXPECT_OK(iscleanup());
    const int other = buildNamed(path("other"));
    const int second = isopen(path("other").c_str(), ISINOUT);
    EXPECT_EQ(other, fd);
    putIds(other, {1, 2, 3, 4});
    Row got = row(3);
    EXPECT_OK(isread(other, got, ISEQUAL | ISLOCK));
    EXPECT_OK(iscommit());
    EXPECT_FALSE(lockable(second, 3));
}

}  // namespace
}  // namespace api
