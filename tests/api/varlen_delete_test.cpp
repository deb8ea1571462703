// Removing variable-length records: tails, their nodes, and what is used again.
#include "varlen.h"

namespace api {
namespace {

class VarDelete : public VarTest {
  protected:
    void expectAll(int fd, const Records &expected) { EXPECT_EQ(allOf(fd), expected); }
};

TEST_F(VarDelete, EveryCallRemovesTheRecordAndItsTail) {
    const int fd = fillVar({100, 2000, 0, 994, 1500});
    EXPECT_OK(isdelete(fd, row(20)));
    expectAll(fd, {rec(10, 100), rec(30), rec(40, 994), rec(50, 1500)});
    EXPECT_OK(isdelrec(fd, 4));
    expectAll(fd, {rec(10, 100), rec(30), rec(50, 1500)});
    EXPECT_EQ(take(fd, ISEQUAL, row(30)), rec(30));
    EXPECT_OK(isdelcurr(fd));
    expectAll(fd, {rec(10, 100), rec(50, 1500)});
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(isdelete(fd, row(50)));
    expectAll(fd, {});
    for (std::size_t bucket = 0; bucket < 5; ++bucket)
        EXPECT_EQ(bucketHead(base(), bucket), 0U) << bucket;
}

TEST_F(VarDelete, LengthAndPositionStay) {
    const int fd = fillVar({100, 2000, 300});
    EXPECT_EQ(take(fd, ISFIRST), rec(10, 100));
    isreclen = 777;
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_EQ(isreclen, 777);
    EXPECT_EQ(take(fd, ISNEXT), rec(30, 300));
}

TEST_F(VarDelete, LengthDoesNotCount) {
    const int fd = fillVar({100, 2000, 300});
    for (const int length : {0, -1, kRowLen, 40000}) {
        SCOPED_TRACE(length);
        isreclen = length;
        EXPECT_OK(isdelete(fd, row(20)));
        EXPECT_OK(send(iswrite, fd, rec(20, 2000)));
    }
    expectAll(fd, {rec(10, 100), rec(20, 2000), rec(30, 300)});
}

TEST_F(VarDelete, SlotKeepsFixedPartAndPointer) {
    const int fd = fillVar({100, 2000});
    const Image before = imageOf(base());
    EXPECT_OK(isdelrec(fd, 2));
    Image after = imageOf(base());
    const std::size_t status = (kRowLen + 7) + kRowLen;
    EXPECT_EQ(before.data.at(status), '\n');
    EXPECT_EQ(after.data.at(status), '\0');
    after.data[status] = '\n';
    EXPECT_TRUE(before.data == after.data);
}

TEST_F(VarDelete, NodesAreUsedAgain) {
    const int fd = fillVar({4000, 3000, 2000});
    const unsigned long nodes = lastNode(base());
    for (int round = 0; round < 10; ++round) {
        for (const long id : {10, 20, 30})
            EXPECT_OK(isdelete(fd, row(id)));
        EXPECT_OK(send(iswrite, fd, rec(30, 2000)));
        EXPECT_OK(send(iswrite, fd, rec(20, 3000)));
        EXPECT_OK(send(iswrite, fd, rec(10, 4000)));
        EXPECT_EQ(lastNode(base()), nodes) << round;
    }
    expectAll(fd, {rec(10, 4000), rec(20, 3000), rec(30, 2000)});
}

TEST_F(VarDelete, NewRecordUnderAnOldNumberHasItsOwnTail) {
    const int fd = fillVar({100, 2000, 300});
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(send(iswrite, fd, rec(99)));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(takeNumber(fd, 2), rec(99));
    EXPECT_EQ(tailPointer(base(), 2), (TailPointer{0, 0, 0}));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(send(iswrite, fd, rec(98, 1)));
    EXPECT_EQ(takeNumber(fd, 2), rec(98, 1));
}

TEST_F(VarDelete, SecondDeleteOfTheCurrentRecordIsRefused) {
    const int fd = fillVar({100, 2000, 300});
    EXPECT_EQ(take(fd, ISEQUAL, row(20)), rec(20, 2000));
    EXPECT_OK(isdelcurr(fd));
    expectRefused(base(), ISERR_NOCURRENT, [=] { return isdelcurr(fd); });
    expectRefused(base(), ISERR_NOCURRENT, [=] { return isdelrec(fd, 2); });
    expectRefused(base(), ISERR_NOTFOUND, [=] { return isdelete(fd, row(20)); });
}

TEST_F(VarDelete, SlotsBehindTheHighestNumberAreNone) {
    const int fd = fillVar({100, 2000});
    EXPECT_OK(isclose(fd));
    const std::string data = contents(path("file.dat"));
    patchFile(path("file.dat"), data.size(), data);
    dontCheck();
    const int again = openVar();
    for (const long number : {3L, 4L}) {
        expectRefused(base(), ISERR_NOCURRENT, [=] { return isdelrec(again, number); });
        expectRefused(base(), ISERR_NOCURRENT, [=] { return sendTo(again, number, rec(99, 5)); });
        EXPECT_EQ(takeNumber(again, number), error(ISERR_ARGUMENT));
    }
}

TEST_F(VarDelete, RefusedForALockNothingChanges) {
    const int fd = fillVar({100, 2000, 300});
    const int other = openVar();
    EXPECT_EQ(take(other, ISEQUAL | ISLOCK, row(20)), rec(20, 2000));
    expectRefused(base(), ISERR_LOCKED, [=] { return isdelete(fd, row(20)); });
    expectRefused(base(), ISERR_LOCKED, [=] { return isdelrec(fd, 2); });
    EXPECT_OK(isdelcurr(other));
    expectAll(fd, {rec(10, 100), rec(30, 300)});
}

TEST_F(VarDelete, ShuffledDeletesLeaveTheOthersWhole) {
    const int fd = buildVar();
    std::vector<std::string> left(200);
    for (std::size_t i = 0; i < left.size(); ++i) {
        left[i] = rec(static_cast<long>(i), i * 61 % 1300);
        ASSERT_OK(send(iswrite, fd, left[i]));
    }
    for (std::size_t step = 0; step < left.size(); ++step) {
        const std::size_t i = step * 83 % left.size();
        ASSERT_OK(isdelete(fd, row(static_cast<long>(i))));
        left[i].clear();
        if (step % 20 != 0) continue;
        Records expected;
        for (const std::string &record : left)
            if (!record.empty()) expected.push_back(record);
        ASSERT_EQ(allOf(fd), expected);
    }
    expectAll(fd, {});
}

}  // namespace
}  // namespace api
