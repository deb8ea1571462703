// isindex, isgoto, isdata, ispush and ispop.
#include "steps.h"

namespace api {
namespace {

class Select : public ApiTest {
  protected:
    // Records 1 to 4 with ids 10 to 40, by name in the opposite order; one name twice.
    int tens() {
        const int fd = build();
        add(fd, nameKey());
        const char *const names[] = {"same", "same", "bravo", "alpha"};
        for (int i = 0; i < 4; ++i)
            put(fd, row(10 * (i + 1), names[i]));
        EXPECT_OK(isclose(fd));
        return open();
    }
    static std::vector<long> impossible() {
        std::vector<long> numbers = {0, -1, 5, 0x7fffffffL};
        if (sizeof(long) == 8) {
            numbers.push_back(static_cast<long>((1LL << 32) + 2));
            numbers.push_back(static_cast<long>(-(1LL << 32) + 2));
            numbers.push_back(static_cast<long>(1ULL << 63));
        }
        return numbers;
    }
};

TEST_F(Select, IndexNumbersOutOfRangeAreRefused) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    for (const int index : {-1, 3, 10, 0x7fffffff})
        EXPECT_FAILS(ISERR_KEYDESC, isindex(fd, index, 0));
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(Select, IndexZeroSwitchesToRecordNumberOrder) {
    const int fd = tens();
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(currentIndex(fd), 0);
    EXPECT_EQ(idsOf(fd), (Ids{10, 30, 40}));
}

TEST_F(Select, IndexKeepsItsOwnPosition) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(readId(fd, ISFIRST), 40);
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(Select, IndexWithRepositionGoesToTheRecordNumberGiven) {
    const int fd = tens();
    isrecnum = 3;
    EXPECT_OK(isindex(fd, 2, 1));
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(readId(fd, ISCURR), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
    isrecnum = 99;
    EXPECT_FAILS(ISERR_NOTFOUND, isindex(fd, 1, 1));
}

TEST_F(Select, GotoPositionsInTheCurrentIndex) {
    const int fd = tens();
    iserrio = 77;
    EXPECT_EQ(isgoto(fd, 3), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(readId(fd, ISCURR), 30);
    EXPECT_EQ(readId(fd, ISPREV), 20);
}

TEST_F(Select, GotoKeepsTheFirstNextInPlace) {
    const int fd = tens();
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_OK(isgoto(fd, 2));
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(Select, GotoFindsTheRightDuplicate) {
    const int fd = tens();
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(isgoto(fd, 2));
    EXPECT_EQ(readId(fd, ISCURR), 20);
    EXPECT_EQ(readId(fd, ISPREV), 10);
    EXPECT_OK(isgoto(fd, 1));
    EXPECT_EQ(readId(fd, ISCURR), 10);
}

TEST_F(Select, GotoRefusesNumbersOfNoRecord) {
    const int fd = tens();
    EXPECT_OK(isdelrec(fd, 4));
    for (const int index : {0, 1, 2}) {
        SCOPED_TRACE(index);
        EXPECT_OK(isindex(fd, index, 0));
        EXPECT_OK(isgoto(fd, 2));
        for (const long number : impossible()) {
            EXPECT_FAILS(ISERR_NOTFOUND, isgoto(fd, number)) << number;
            EXPECT_EQ(iserrio, 0);
        }
        EXPECT_FAILS(ISERR_NOTFOUND, isgoto(fd, 4));
        EXPECT_EQ(position(fd), 2);
        EXPECT_EQ(readId(fd, ISCURR), 20);
    }
}

TEST_F(Select, GotoInRecordNumberOrder) {
    const int fd = tens();
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_OK(isgoto(fd, 2));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(readId(fd, ISCURR), 20);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(Select, GotoSearchesTheWholeKeyAfterAPartialStart) {
    const int fd = build();
    add(fd, nameKey(ISNODUPS));
    const char *const names[] = {"abc1", "abc2", "abc3"};
    for (int i = 0; i < 3; ++i)
        put(fd, row(i + 1, names[i]));
    KeyDesc key = nameKey();
    EXPECT_OK(isstart(fd, &key, 3, row(0, "abc"), ISEQUAL));
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_EQ(readId(fd, ISCURR), 3);
    EXPECT_OK(isstart(fd, &key, 3, row(0, "abc"), ISEQUAL));
    EXPECT_OK(iswrcurr(fd, row(4, "abc4")));
    EXPECT_EQ(position(fd), 4);
}

TEST_F(Select, DataReadsWithoutMoving) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    Row got;
    isreclen = 1;
    iserrio = 77;
    EXPECT_EQ(isdata(fd, got, 4), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(isreclen, kRowLen);
    EXPECT_EQ(got.id(), 40);
    EXPECT_EQ(position(fd), 2);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(Select, DataKeepsTheFirstNextInPlace) {
    const int fd = tens();
    Row got;
    EXPECT_OK(isdata(fd, got, 3));
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(Select, DataRefusesNumbersOutOfRangeAndDeletedRecords) {
    const int fd = tens();
    EXPECT_OK(isdelrec(fd, 2));
    Row got = row(77);
    for (const long number : impossible())
        EXPECT_FAILS(ISERR_ARGUMENT, isdata(fd, got, number)) << number;
    EXPECT_EQ(got.id(), 77);
    EXPECT_FAILS(ISERR_NOTFOUND, isdata(fd, got, 2));
    EXPECT_EQ(got.id(), 20) << "what the record was";
}

TEST_F(Select, DataLocksNothing) {
    const int fd = tens();
    const int other = open();
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 10);
    Row got;
    EXPECT_OK(isdata(fd, got, 1));
    EXPECT_OK(isdata(fd, got, 2));
    EXPECT_EQ(readId(other, ISNEXT | ISLOCK), 20);
}

TEST_F(Select, PushAndPopComeBackToIndexAndRecord) {
    const int fd = tens();
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(isgoto(fd, 2));
    int index = -1;
    long number = -1;
    iserrio = 77;
    EXPECT_EQ(ispush(fd, &index, &number), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(index, 2);
    EXPECT_EQ(number, 2);
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_OK(ispop(fd, index, number));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(currentIndex(fd), 2);
    EXPECT_EQ(readId(fd, ISCURR), 20);
    EXPECT_EQ(readId(fd, ISPREV), 10);
}

TEST_F(Select, PushInRecordNumberOrder) {
    const int fd = tens();
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(isgoto(fd, 3));
    int index = -1;
    long number = -1;
    EXPECT_OK(ispush(fd, &index, &number));
    EXPECT_EQ(index, 0);
    EXPECT_EQ(number, 3);
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_OK(ispop(fd, index, number));
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(Select, PushWithoutPositionGivesZero) {
    const int fd = build();
    int index = -1;
    long number = -1;
    EXPECT_OK(ispush(fd, &index, &number));
    EXPECT_EQ(index, 1);
    EXPECT_EQ(number, 0);
}

TEST_F(Select, PopOfNumberZeroChoosesTheIndexAlone) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_OK(ispop(fd, 1, 0));
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(Select, PopRefusesBadNumbers) {
    const int fd = tens();
    EXPECT_FAILS(ISERR_KEYDESC, ispop(fd, 3, 1));
    EXPECT_FAILS(ISERR_KEYDESC, ispop(fd, -1, 1));
    for (const long number : impossible()) {
        if (number != 0) EXPECT_FAILS(ISERR_NOTFOUND, ispop(fd, 1, number)) << number;
    }
}

}  // namespace
}  // namespace api
