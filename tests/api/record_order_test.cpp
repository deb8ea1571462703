// Reading in record-number order.
#include "steps.h"

namespace api {
namespace {

class SlotOrder : public ApiTest {
  protected:
    // Records 1 to 5 with ids 50, 40, 30, 20, 10, read in record-number order.
    int numbered() {
        const int fd = fill({50, 40, 30, 20, 10});
        EXPECT_OK(isindex(fd, 0, 0));
        return fd;
    }
    long readNumber(int fd, long number, int mode = ISEQUAL) {
        isrecnum = number;
        return readId(fd, mode);
    }
};

TEST_F(SlotOrder, WalksTheSlots) {
    const int fd = numbered();
    EXPECT_EQ(idsOf(fd), (Ids{50, 40, 30, 20, 10}));
    EXPECT_EQ(idsOf(fd, ISLAST), (Ids{10, 20, 30, 40, 50}));
}

TEST_F(SlotOrder, DeletedSlotsAreSkippedBothWays) {
    const int fd = numbered();
    for (const long number : {1, 3, 5})
        EXPECT_OK(isdelrec(fd, number));
    EXPECT_EQ(idsOf(fd), (Ids{40, 20}));
    EXPECT_EQ(idsOf(fd, ISLAST), (Ids{20, 40}));
}

TEST_F(SlotOrder, NextOverADeletedSlot) {
    const int fd = numbered();
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_EQ(readNumber(fd, 1), 50);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_EQ(isrecnum, 3);
}

TEST_F(SlotOrder, EqualReadsTheRecordNumberGiven) {
    const int fd = numbered();
    EXPECT_EQ(readNumber(fd, 4), 20);
    EXPECT_RESULTS(4, kRowLen);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
    EXPECT_OK(isdelrec(fd, 2));
    for (const long number : {2L, 0L, -1L, 6L, 0x7fffffffL})
        EXPECT_EQ(readNumber(fd, number), -ISERR_NOTFOUND) << number;
    if (sizeof(long) == 8) {
        EXPECT_EQ(readNumber(fd, static_cast<long>((1LL << 32) + 4)), -ISERR_NOTFOUND);
    }
    EXPECT_EQ(position(fd), 5);
}

TEST_F(SlotOrder, GreatMeansNextAndGreatOrEqualMeansCurrent) {
    const int fd = numbered();
    EXPECT_EQ(readNumber(fd, 2), 40);
    EXPECT_EQ(readNumber(fd, 5, ISGREAT), 30);
    EXPECT_EQ(readNumber(fd, 5, ISGTEQ), 30);
    EXPECT_EQ(readId(fd, ISLAST), 10);
    EXPECT_EQ(readId(fd, ISGREAT), -ISERR_NOTFOUND);
    EXPECT_EQ(position(fd), 5);
}

TEST_F(SlotOrder, CurrentOnADeletedRecordReturnsTheNextPresentOne) {
    const int fd = numbered();
    EXPECT_EQ(readNumber(fd, 2), 40);
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isdelrec(fd, 3));
    EXPECT_EQ(readId(fd, ISCURR), 20);
    EXPECT_EQ(isrecnum, 4);
}

TEST_F(SlotOrder, CurrentWithNothingLeftBehindFails) {
    const int fd = numbered();
    EXPECT_EQ(readId(fd, ISLAST), 10);
    EXPECT_OK(isdelrec(fd, 5));
    EXPECT_EQ(readId(fd, ISCURR), -ISERR_NOCURRENT);
    EXPECT_EQ(readId(fd, ISPREV), 20);
}

TEST_F(SlotOrder, EmptyFileFailsByMode) {
    EXPECT_OK(isclose(build(ISINOUT, noKey())));
    const int fd = open();
    for (const int mode : {ISFIRST, ISLAST, ISNEXT, ISPREV})
        EXPECT_EQ(readId(fd, mode), -ISERR_ENDOFFILE) << mode;
    EXPECT_EQ(readId(fd, ISCURR), -ISERR_NOCURRENT);
    isrecnum = 1;
    for (const int mode : {ISEQUAL, ISGREAT, ISGTEQ})
        EXPECT_EQ(readId(fd, mode), -ISERR_NOTFOUND) << mode;
}

TEST_F(SlotOrder, AllDeletedIsLikeEmpty) {
    const int fd = numbered();
    for (long number = 1; number <= 5; ++number)
        EXPECT_OK(isdelrec(fd, number));
    for (const int mode : {ISFIRST, ISLAST})
        EXPECT_EQ(readId(fd, mode), -ISERR_ENDOFFILE) << mode;
}

TEST_F(SlotOrder, TurnsRoundAtBothEnds) {
    const int fd = numbered();
    EXPECT_EQ(readId(fd, ISLAST), 10);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISPREV), 10);
    EXPECT_EQ(readId(fd, ISPREV), 20);
    EXPECT_EQ(readId(fd, ISFIRST), 50);
    EXPECT_EQ(readId(fd, ISPREV), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISNEXT), 50);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(SlotOrder, HigherModesReturnTheSlotLastRead) {
    const int fd = numbered();
    EXPECT_EQ(readNumber(fd, 3), 30);
    EXPECT_EQ(readId(fd, 9), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(SlotOrder, FreshlyBuiltFileHasNoPosition) {
    const int fd = build(ISINOUT, noKey());
    putIds(fd, {7, 8});
    EXPECT_EQ(readId(fd, ISFIRST), 7);
    EXPECT_EQ(readId(fd, ISNEXT), 8);
    soundEntries(base());
}

TEST_F(SlotOrder, FileWithoutPrimaryKeyCountsItsDescription) {
    const int fd = build(ISINOUT, noKey());
    putIds(fd, {7, 8});
    EXPECT_EQ(indexCount(fd), 1);
    KeyDesc key{};
    EXPECT_FAILS(ISERR_ARGUMENT, isindexinfo(fd, &key, 1));
    add(fd, nameKey());
    EXPECT_EQ(indexCount(fd), 2);
    EXPECT_OK(isindexinfo(fd, &key, 1));
    EXPECT_TRUE(testing_support::sameKeyDesc(key, nameKey()));
}

TEST_F(SlotOrder, FileWithoutPrimaryKeyCannotRewriteOrDeleteByKey) {
    const int fd = build(ISINOUT, noKey());
    putIds(fd, {7, 8});
    EXPECT_FAILS(ISERR_NOPRIMARYKEY, isrewrite(fd, row(7)));
    EXPECT_FAILS(ISERR_NOPRIMARYKEY, isdelete(fd, row(7)));
}

// Record-number order is the number behind the last index, which is the new index's own.
TEST_F(SlotOrder, AddedIndexBecomesCurrentWithoutAPosition) {
    const int fd = build(ISINOUT, noKey());
    putIds(fd, {9, 8});
    EXPECT_EQ(readId(fd, ISFIRST), 9);
    add(fd, idKey());
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(idsOf(fd), (Ids{8, 9}));
    EXPECT_EQ(idsBy(fd, noKey()), (Ids{9, 8}));
}

}  // namespace
}  // namespace api
