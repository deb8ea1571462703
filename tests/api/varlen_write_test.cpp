// Adding variable-length records: what isreclen means, and refused lengths.
#include "varlen.h"

namespace api {
namespace {

struct WritingCall {
    const char *name;
    int (*call)(int, char *);
};

class VarWrite : public VarTest {
  protected:
    const std::vector<WritingCall> ways = {{"iswrite", iswrite}, {"iswrlock", iswrlock}, {"iswrcurr", iswrcurr}};
};

TEST_F(VarWrite, SetsAllResultsAndKeepsTheLength) {
    const int fd = buildVar();
    long number = 1;
    for (const WritingCall &way : ways) {
        SCOPED_TRACE(way.name);
        iserrno = iserrio = 77;
        isrecnum = 77;
        EXPECT_EQ(send(way.call, fd, rec(number, 100)), 0);
        EXPECT_RESULTS(number, kRowLen + 100);
        ++number;
    }
}

TEST_F(VarWrite, LengthGivenDecidesHowMuchIsStored) {
    const int fd = buildVar();
    long id = 0;
    for (const int length : {kRowLen + 1, kRowLen + 2, 100, 1000, 2000, kVarMax - 1, kVarMax}) {
        SCOPED_TRACE(length);
        const std::string record = rec(row(++id), letters(kVarMax)).substr(0, static_cast<std::size_t>(length));
        EXPECT_OK(send(iswrite, fd, record));
        EXPECT_EQ(takeNumber(fd, id), record);
        EXPECT_EQ(isreclen, length);
    }
}

TEST_F(VarWrite, UpToTheMinimumThereIsNoTail) {
    const int fd = buildVar();
    long id = 0;
    for (const int length : {kRowLen, kRowLen - 1, 4, 1, 0, -1, -40000}) {
        SCOPED_TRACE(length);
        EXPECT_OK(sendAs(length, iswrite, fd, rec(++id)));
        EXPECT_EQ(isreclen, length);
        EXPECT_EQ(takeNumber(fd, id), rec(id));
        EXPECT_EQ(isreclen, kRowLen);
        EXPECT_EQ(tailPointer(base(), id), (TailPointer{0, 0, 0}));
    }
    EXPECT_EQ(lastNode(base()), 3U);
}

TEST_F(VarWrite, TailPointerTellsLengthAndPlace) {
    const int fd = buildVar();
    EXPECT_OK(send(iswrite, fd, rec(1, 100)));
    EXPECT_OK(send(iswrite, fd, rec(2, 50)));
    // Header, description and root come first; both tails share one node.
    EXPECT_EQ(tailPointer(base(), 1), (TailPointer{100, 0, 4}));
    EXPECT_EQ(tailPointer(base(), 2), (TailPointer{50, 1, 4}));
}

TEST_F(VarWrite, AboveTheMaximumNothingChanges) {
    const int fd = fillVar({0, 100});
    const std::string record = rec(row(99), letters(40000));
    for (const WritingCall &way : ways) {
        SCOPED_TRACE(way.name);
        for (const int length : {kVarMax + 1, kVarMax + 2, 32511, 32512, 40000})
            expectRefused(base(), ISERR_ROWSIZE, [&] { return sendAs(length, way.call, fd, record); });
    }
    EXPECT_EQ(takeNumber(fd, 3), error(ISERR_ARGUMENT));
    // Number and nodes are still free.
    EXPECT_OK(send(iswrite, fd, rec(30, 10)));
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(allOf(fd), (Records{rec(10), rec(20, 100), rec(30, 10)}));
}

TEST_F(VarWrite, LongestOfAllLengthsIsRefusedByAnInteger) {
    const int fd = fillVar({0});
    expectRefused(base(), ISERR_ROWSIZE, [=] { return sendAs(0x7fffffff, iswrite, fd, rec(1)); });
    expectRefused(base(), ISERR_ROWSIZE, [=] { return sendAs(65536 + kRowLen, iswrite, fd, rec(1)); });
}

TEST_F(VarWrite, DuplicateIsReportedBeforeTheLength) {
    const int fd = fillVar({0, 100});
    for (const WritingCall &way : ways) {
        SCOPED_TRACE(way.name);
        expectRefused(base(), ISERR_DUPLICATE, [&] { return send(way.call, fd, rec(10, kVarMax)); });
        expectRefused(base(), ISERR_DUPLICATE, [&] { return send(way.call, fd, rec(20, 3000)); });
    }
}

TEST_F(VarWrite, DuplicateInALaterIndexLeavesNoTail) {
    const int fd = buildVar();
    add(fd, nameKey(ISNODUPS));
    add(fd, groupKey(ISNODUPS));
    EXPECT_OK(send(iswrite, fd, rec(row(1, "one", 1), 1500)));
    expectRefused(base(), ISERR_DUPLICATE, [=] { return send(iswrite, fd, rec(row(2, "two", 1), 2500)); });
    EXPECT_OK(send(iswrite, fd, rec(row(2, "two", 2), 2500)));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(allBy(fd, nameKey()), (Records{rec(row(1, "one", 1), 1500), rec(row(2, "two", 2), 2500)}));
}

TEST_F(VarWrite, WrittenRecordBecomesCurrentOnlyWhereAsked) {
    const int fd = fillVar({0, 100, 200});
    EXPECT_EQ(take(fd, ISFIRST), rec(10));
    EXPECT_OK(send(iswrite, fd, rec(25, 2000)));
    EXPECT_EQ(take(fd, ISCURR), rec(10));
    EXPECT_OK(send(iswrcurr, fd, rec(26, 3000)));
    EXPECT_EQ(isreclen, kRowLen + 3000);
    EXPECT_EQ(take(fd, ISCURR), rec(26, 3000));
    EXPECT_EQ(take(fd, ISPREV), rec(25, 2000));
}

TEST_F(VarWrite, WrittenAndLockedRecordStaysLocked) {
    const int fd = fillVar({100});
    const int other = openVar();
    EXPECT_OK(send(iswrlock, fd, rec(20, 2000)));
    expectRefused(base(), ISERR_LOCKED, [=] { return send(isrewrite, other, rec(20, 1)); });
    expectRefused(base(), ISERR_LOCKED, [=] { return isdelrec(other, 2); });
    EXPECT_OK(isrelrec(fd, 2));
    EXPECT_OK(send(isrewrite, other, rec(20, 1)));
    EXPECT_EQ(allOf(fd), (Records{rec(10, 100), rec(20, 1)}));
}

TEST_F(VarWrite, ManyTailsComeBackWhole) {
    const int fd = buildVar();
    Records expected;
    for (long id = 1; id <= 300; ++id) {
        expected.push_back(rec(id, static_cast<std::size_t>(id * 37 % 2100)));
        ASSERT_OK(send(iswrite, fd, expected.back()));
    }
    EXPECT_EQ(allOf(fd), expected);
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(allOf(openVar(ISINPUT)), expected);
}

TEST_F(VarWrite, AnyByteMayStandInATail) {
    const int fd = buildVar();
    std::string bytes;
    for (int i = 0; i < 2048; ++i)
        bytes += static_cast<char>(i % 256);
    for (const std::string &tail : {bytes, std::string(1500, '\0'), std::string(1, '\xff')}) {
        EXPECT_OK(send(iswrite, fd, rec(row(isrecnum + 1), tail)));
        EXPECT_EQ(takeNumber(fd, isrecnum), rec(row(isrecnum), tail));
    }
}

}  // namespace
}  // namespace api
