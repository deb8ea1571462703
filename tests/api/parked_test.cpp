// Files closed inside a transaction: they wait for its end, or are taken back.
#include "calls.h"
#include "logs.h"

namespace api {
namespace {

class Parked : public LogTest {
  protected:
    void expectClosed(int fd) {
        EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
        for (const Call &call : allCalls())
            EXPECT_FAILS(ISERR_NOTOPEN, call.run(fd)) << call.name;
        int mode = 0;
        EXPECT_EQ(isgetmode(fd, &mode), -1);
        EXPECT_EQ(isqv_name(fd), nullptr);
        EXPECT_EQ(isqv_idxfd(fd), -1);
    }
};

TEST_F(Parked, CloseIsDoneAtTheEndOfTheTransaction) {
    for (int (*const end)() : {iscommit, isrollback}) {
        const std::string name = end == iscommit ? "a" : "b";
        startLog();
        const int before = openDescriptors();
        const int fd = buildTrans(name);
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(1)));
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(openDescriptors(), before + 2);
        EXPECT_EQ(lastType(log()), "IN");
        expectClosed(fd);
        EXPECT_OK(end());
        EXPECT_EQ(openDescriptors(), before);
        expectClosed(fd);
        const int again = openTrans(name);
        EXPECT_EQ(again, fd);
        EXPECT_EQ(idsOf(again), end == iscommit ? (Ids{1}) : (Ids{}));
        EXPECT_OK(isclose(again));
        EXPECT_OK(islogclose());
    }
}

TEST_F(Parked, ClosingIsLoggedBeforeTheEnd) {
    startLog();
    EXPECT_OK(isclose(buildTrans("a")));
    const int a = openTrans("a"), b = buildTrans("b");
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(b));
    EXPECT_OK(isclose(a));
    EXPECT_OK(iscommit());
    EXPECT_EQ(types(), "BU FO FC FO BU FO BW FC FC CW");
    const std::vector<LogRecord> records = logOf(log());
    // In the order of the closes, and chained.
    EXPECT_EQ(records[7].body, fileBody(b, path("b")));
    EXPECT_EQ(records[8].body, fileBody(a, path("a")));
    for (std::size_t i = 7; i < 10; ++i)
        EXPECT_EQ(records[i].previous, records[i - 1].offset) << i;
}

TEST_F(Parked, OpenTakesTheSameDescriptorBack) {
    startLog();
    const int fd = buildTrans();
    const int before = openDescriptors();
    EXPECT_OK(isbegin());
    for (int round = 0; round < 5; ++round) {
        EXPECT_OK(iswrite(fd, row(round)));
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(openTrans(), fd);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(types(), "BU FO BW IN IN IN IN IN");
    EXPECT_EQ(idsOf(fd), (Ids{0, 1, 2, 3, 4}));
    EXPECT_OK(iscommit());
    // It was taken back, so it is not closed now.
    EXPECT_EQ(types(), "BU FO BW IN IN IN IN IN CW");
    EXPECT_EQ(idsOf(fd), (Ids{0, 1, 2, 3, 4}));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(lastType(log()), "FC");
}

TEST_F(Parked, AnotherModeIsAnotherDescriptor) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isclose(fd));
    const int plain = open(), reader = isopen(base(), ISINPUT | ISTRANS), automatic = openTrans("file", ISLOCKAUTO);
    for (const int another : {plain, reader, automatic})
        EXPECT_NE(another, fd);
    EXPECT_EQ(idsOf(plain), (Ids{1}));
    EXPECT_FALSE(lockable(plain, 1));
    EXPECT_EQ(openTrans(), fd);
    EXPECT_OK(iscommit());
    EXPECT_TRUE(lockable(plain, 1));
}

TEST_F(Parked, AnotherNameIsAnotherDescriptor) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(fd));
    const int other = buildTrans("other");
    EXPECT_NE(other, fd);
    const int spelt = isopen((directory() + "/./file").c_str(), ISINOUT | ISTRANS);
    EXPECT_NE(spelt, fd);
    EXPECT_GE(spelt, 0);
    EXPECT_OK(iscommit());
}

TEST_F(Parked, VariableLengthBitsDoNotCount) {
    startLog();
    const int fd = buildVarTrans("file", ISCOMPRESS);
    EXPECT_OK(send(iswrite, fd, rec(1, 2000)));
    EXPECT_OK(isbegin());
    for (const int mode : {ISVARLEN, ISVARLEN | ISCOMPRESS, 0, ISVARAUTO, ISVARAUTO | ISVARLEN}) {
        EXPECT_OK(isclose(fd));
        EXPECT_EQ(openTrans("file", mode), fd) << mode;
        EXPECT_EQ(take(fd, ISFIRST), rec(1, 2000));
    }
    EXPECT_OK(iscommit());
}

TEST_F(Parked, LockModeGivenAndAssumedIsTheSame) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(openTrans("file", ISLOCKMANUAL), fd);
    EXPECT_OK(iscommit());
}

TEST_F(Parked, LocksAreKept) {
    startLog();
    const int fd = buildTrans();
    putIds(fd, {10, 20, 30});
    EXPECT_OK(isrelease(fd));
    const int other = open();
    EXPECT_OK(isbegin());
    Row got = row(10);
    EXPECT_OK(isread(fd, got, ISEQUAL | ISLOCK));
    EXPECT_OK(isrewrite(fd, row(20, "new")));
    EXPECT_OK(isclose(fd));
    EXPECT_FALSE(lockable(other, 1));
    EXPECT_FALSE(lockable(other, 2));
    EXPECT_EQ(openTrans(), fd);
    EXPECT_OK(isrewrite(fd, row(20, "newer")));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(iscommit());
    for (long number = 1; number <= 3; ++number)
        EXPECT_TRUE(lockable(other, number)) << number;
}

TEST_F(Parked, ChangesThroughParkedHandlesAreUndone) {
    startLog();
    const int fd = buildTrans(), varlen = buildVarTrans("var");
    putIds(fd, {10, 20});
    EXPECT_OK(send(iswrite, varlen, rec(1, 3000)));
    EXPECT_OK(isbegin());
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(isrewrite(fd, row(20, "new")));
    EXPECT_OK(send(isrewrite, varlen, rec(1, 10)));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(isclose(varlen));
    EXPECT_OK(isrollback());
    EXPECT_EQ(types(), "BU FO BU FO IN IN IN BW DE UP UP RW");  // handles that undid are not logged any more
    EXPECT_EQ(idsOf(open()), (Ids{10, 20}));
    EXPECT_EQ(allOf(isopen(path("var").c_str(), ISINPUT | ISVARLEN)), (Records{rec(1, 3000)}));
}

TEST_F(Parked, HandlesWithoutTheModeCloseAtOnce) {
    startLog();
    const int before = openDescriptors();
    const int plain = buildNamed(path("a"));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(plain, row(1)));
    EXPECT_OK(isclose(plain));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(types(), "BU FO BW IN FC");
    EXPECT_OK(iscommit());
    EXPECT_EQ(types(), "BU FO BW IN FC CW");
}

TEST_F(Parked, WithoutTransactionTheyCloseAtOnce) {
    startLog();
    const int before = openDescriptors();
    EXPECT_OK(isclose(buildTrans()));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_OK(isbegin());
    EXPECT_OK(iscommit());
    EXPECT_OK(isclose(openTrans()));
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(Parked, FileStaysInUse) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(fd));
    EXPECT_FAILS(ISERR_FILEINUSE, iserase(base()));
    EXPECT_FAILS(ISERR_FILEINUSE, isrename(base(), path("other").c_str()));
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_OK(iscommit());
    EXPECT_OK(isrename(base(), path("other").c_str()));
    EXPECT_OK(iserase(path("other").c_str()));
    dontCheck();
}

TEST_F(Parked, MoreThanTenFilesWait) {
    startLog();
    const int before = openDescriptors();
    constexpr int kFiles = 25;
    std::vector<int> fds;
    for (int i = 0; i < kFiles; ++i)
        fds.push_back(buildTrans("f" + std::to_string(i)));
    EXPECT_OK(isbegin());
    for (int i = 0; i < kFiles; ++i) {
        const int fd = fds[static_cast<std::size_t>(i)];
        EXPECT_OK(iswrite(fd, row(i)));
        EXPECT_OK(isclose(fd));
    }
    for (int i = 1; i < kFiles; i += 2)
        EXPECT_EQ(openTrans("f" + std::to_string(i)), fds[static_cast<std::size_t>(i)]);
    EXPECT_EQ(openDescriptors(), before + 2 * kFiles);
    EXPECT_OK(isrollback());
    EXPECT_EQ(openDescriptors(), before + 2 * (kFiles / 2));
    for (int i = 0; i < kFiles; ++i) {
        const int fd = i % 2 != 0 ? fds[static_cast<std::size_t>(i)] : openTrans("f" + std::to_string(i));
        EXPECT_EQ(idsOf(fd), (Ids{})) << i;
    }
}

TEST_F(Parked, TheyAreClosedFromTheTableOfTenOnTop) {
    startLog();
    std::vector<int> fds;
    for (int i = 0; i < 12; ++i)
        fds.push_back(buildTrans("f" + std::to_string(i)));
    EXPECT_OK(isbegin());
    for (const int fd : fds)
        EXPECT_OK(isclose(fd));
    EXPECT_OK(iscommit());
    std::vector<unsigned long> closed;
    for (const LogRecord &record : logOf(log()))
        if (record.type == "FC") closed.push_back(record.fd());
    // The eleventh and twelfth wait in the second ten places.
    EXPECT_EQ(closed, (std::vector<unsigned long>{10, 11, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9}));
}

TEST_F(Parked, SeveralHandlesOfOneFileAreTakenBackOneByOne) {
    startLog();
    const int one = buildTrans(), two = openTrans(), three = openTrans();
    EXPECT_OK(isbegin());
    for (const int fd : {one, two, three}) {
        EXPECT_OK(iswrite(fd, row(fd)));
        EXPECT_OK(isclose(fd));
    }
    std::vector<int> back = {openTrans(), openTrans(), openTrans()};
    std::sort(back.begin(), back.end());
    EXPECT_EQ(back, (std::vector<int>{one, two, three}));
    const int more = openTrans();
    EXPECT_EQ(more, three + 1);
    EXPECT_OK(iscommit());
    EXPECT_EQ(idsOf(more), (Ids{0, 1, 2}));
}

TEST_F(Parked, HandleTakenBackReadsFromItsOwnLength) {
    startLog();
    const int fd = buildVarTrans();
    EXPECT_OK(send(iswrite, fd, rec(1, 500)));
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(openTrans("file", ISVARLEN), fd);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(take(fd, ISFIRST), rec(1, 500));
    EXPECT_OK(send(isrewrite, fd, rec(1, 501)));
    EXPECT_OK(iscommit());
    EXPECT_EQ(take(fd, ISFIRST), rec(1, 501));
}

}  // namespace
}  // namespace api
