// Replacing variable-length records by every call: growing, shrinking, refused lengths.
#include "varlen.h"

namespace api {
namespace {

// Ways to replace the record with id 20, number 2.
struct Way {
    const char *name;
    int (*run)(int fd, const std::string &record);
};

int current(int fd) {
    Row key = row(20);
    return isstart(fd, nullptr, 0, key, ISEQUAL);
}

const std::vector<Way> ways = {
    {"isrewrite",
     [](int fd, const std::string &record) {
         return send(isrewrite, fd, record);
     }},
    {"isrewrec",
     [](int fd, const std::string &record) {
         return sendTo(fd, 2, record);
     }},
    {"isrewcurr",
     [](int fd, const std::string &record) {
         EXPECT_OK(current(fd));
         return send(isrewcurr, fd, record);
     }},
    {"isrewnxt",
     [](int fd, const std::string &record) {
         EXPECT_OK(current(fd));
         return send(isrewnxt, fd, record);
     }},
};

class VarRewrite : public VarTest {
  protected:
    // Ids 10, 20, 30 with tails of 700, the given length, and 900.
    int three(std::size_t tail, int mode = ISINOUT) { return fillVar({700, tail, 900}, mode); }
    void expectTail(int fd, const std::string &record) {
        const Records expected = {rec(10, 700), record, rec(30, 900)};
        EXPECT_EQ(allOf(fd), expected);
    }
};

TEST_F(VarRewrite, EveryCallGrowsAndShrinks) {
    const int fd = three(100);
    for (const Way &way : ways) {
        SCOPED_TRACE(way.name);
        for (const std::size_t tail : {101, 994, 995, 3000, 4968, 2000, 993, 1, 0, 0, 500, 499}) {
            SCOPED_TRACE(tail);
            const std::string record = rec(row(20, way.name), tail);
            EXPECT_OK(way.run(fd, record));
            EXPECT_EQ(isreclen, kRowLen + static_cast<int>(tail));
            expectTail(fd, record);
        }
    }
}

TEST_F(VarRewrite, NumberComesBack) {
    const int fd = three(100);
    iserrno = iserrio = 77;
    EXPECT_EQ(send(isrewrite, fd, rec(20, 5)), 0);
    EXPECT_RESULTS(2, kRowLen + 5);
    isrecnum = 77;
    EXPECT_EQ(sendTo(fd, 3, rec(30, 6)), 0);
    EXPECT_RESULTS(3, kRowLen + 6);
    EXPECT_OK(current(fd));
    isrecnum = 77;
    EXPECT_EQ(send(isrewcurr, fd, rec(20, 7)), 0);
    EXPECT_RESULTS(2, kRowLen + 7);
}

TEST_F(VarRewrite, UpToTheMinimumTheTailGoes) {
    const int fd = three(2000);
    for (const int length : {kRowLen, kRowLen - 1, 0, -5}) {
        EXPECT_OK(send(isrewrite, fd, rec(20, 300)));
        EXPECT_OK(sendAs(length, isrewrite, fd, rec(20)));
        EXPECT_EQ(tailPointer(base(), 2), (TailPointer{0, 0, 0})) << length;
        expectTail(fd, rec(20));
    }
}

TEST_F(VarRewrite, AboveTheMaximumNothingChanges) {
    const int fd = three(100);
    for (const Way &way : ways) {
        SCOPED_TRACE(way.name);
        for (const std::size_t tail : {kVarMax - kRowLen + 1, 10000, 32512})
            expectRefused(base(), ISERR_ROWSIZE, [&] { return way.run(fd, rec(20, tail)); });
    }
    expectTail(fd, rec(20, 100));
}

TEST_F(VarRewrite, AboveTheMaximumWithNewKeysNothingChanges) {
    const int fd = buildVar();
    add(fd, nameKey(ISNODUPS));
    EXPECT_OK(send(iswrite, fd, rec(row(1, "one"), 100)));
    EXPECT_OK(send(iswrite, fd, rec(row(2, "two"), 200)));
    expectRefused(base(), ISERR_ROWSIZE, [=] { return sendTo(fd, 2, rec(row(9, "new"), kVarMax)); });
    expectRefused(base(), ISERR_ROWSIZE, [=] { return send(isrewrite, fd, rec(row(2, "new"), kVarMax)); });
    EXPECT_EQ(allBy(fd, nameKey()), (Records{rec(row(1, "one"), 100), rec(row(2, "two"), 200)}));
}

TEST_F(VarRewrite, DuplicateIsReportedBeforeTheLengthAndChangesNothing) {
    const int fd = buildVar();
    add(fd, nameKey(ISNODUPS));
    EXPECT_OK(send(iswrite, fd, rec(row(1, "one"), 100)));
    EXPECT_OK(send(iswrite, fd, rec(row(2, "two"), 2000)));
    for (const std::size_t tail : {0, 1500, kVarMax}) {
        SCOPED_TRACE(tail);
        expectRefused(base(), ISERR_DUPLICATE, [&] { return send(isrewrite, fd, rec(row(2, "one"), tail)); });
        expectRefused(base(), ISERR_DUPLICATE, [&] { return sendTo(fd, 2, rec(row(1, "x"), tail)); });
        expectRefused(base(), ISERR_DUPLICATE, [&] { return sendTo(fd, 2, rec(row(3, "one"), tail)); });
    }
}

TEST_F(VarRewrite, KeysAndTailChangeTogether) {
    const int fd = three(100);
    EXPECT_OK(sendTo(fd, 2, rec(5, 2500)));
    EXPECT_EQ(allOf(fd), (Records{rec(5, 2500), rec(10, 700), rec(30, 900)}));
    EXPECT_EQ(takeNumber(fd, 2), rec(5, 2500));
}

TEST_F(VarRewrite, LastRecordIsReplacedThoughThereIsNoNext) {
    const int fd = three(100);
    EXPECT_EQ(take(fd, ISLAST), rec(30, 900));
    EXPECT_FAILS(ISERR_ENDOFFILE, send(isrewnxt, fd, rec(30, 2222)));
    EXPECT_EQ(allOf(fd), (Records{rec(10, 700), rec(20, 100), rec(30, 2222)}));
}

TEST_F(VarRewrite, NextAfterReplacingIsTheOneBehind) {
    const int fd = three(100);
    EXPECT_EQ(take(fd, ISFIRST), rec(10, 700));
    EXPECT_OK(send(isrewnxt, fd, rec(10, 3)));
    EXPECT_EQ(take(fd, ISCURR), rec(20, 100));
    EXPECT_OK(send(isrewnxt, fd, rec(20, 2)));
    EXPECT_EQ(take(fd, ISCURR), rec(30, 900));
    EXPECT_EQ(allOf(fd), (Records{rec(10, 3), rec(20, 2), rec(30, 900)}));
}

TEST_F(VarRewrite, SameRecordAgainLeavesEveryTail) {
    const int fd = three(1500);
    for (int i = 0; i < 5; ++i)
        for (const Way &way : ways)
            EXPECT_OK(way.run(fd, rec(20, 1500)));
    expectTail(fd, rec(20, 1500));
}

TEST_F(VarRewrite, RefusedForALockNothingChanges) {
    const int fd = three(1500);
    const int other = openVar();
    EXPECT_EQ(take(other, ISEQUAL | ISLOCK, row(20)), rec(20, 1500));
    for (const Way &way : ways) {
        SCOPED_TRACE(way.name);
        expectRefused(base(), ISERR_LOCKED, [&] { return way.run(fd, rec(20, 5)); });
        expectRefused(base(), ISERR_LOCKED, [&] { return way.run(fd, rec(20, kVarMax)); });
    }
    EXPECT_OK(send(isrewcurr, other, rec(20, 5)));
    expectTail(fd, rec(20, 5));
}

TEST_F(VarRewrite, UnknownKeysAndNumbersAreRefused) {
    const int fd = three(1500);
    expectRefused(base(), ISERR_NOTFOUND, [=] { return send(isrewrite, fd, rec(99, 5)); });
    EXPECT_OK(isdelrec(fd, 2));
    for (const long number : {2L, 0L, 4L, -1L})
        expectRefused(base(), ISERR_NOCURRENT, [=] { return sendTo(fd, number, rec(99, 5)); });
}

}  // namespace
}  // namespace api
