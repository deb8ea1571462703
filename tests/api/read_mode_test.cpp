// isread by every mode: what it returns, where it leaves the position.
#include "steps.h"

namespace api {
namespace {

class ReadStep : public ApiTest {
  protected:
    // Ids 10 to 40, written as records 1 to 4.
    int tens() { return fill({10, 20, 30, 40}); }
    void erase(int fd, long id) { EXPECT_OK(isdelete(fd, row(id))); }
};

TEST_F(ReadStep, SetsAllResults) {
    const int fd = fill({20, 10});
    Row got;
    isreclen = 1;
    isrecnum = 77;
    iserrno = iserrio = 77;
    EXPECT_EQ(isread(fd, got, ISFIRST), 0);
    EXPECT_RESULTS(2, kRowLen);
    EXPECT_EQ(isread(fd, got, ISNEXT), 0);
    EXPECT_RESULTS(1, kRowLen);
}

TEST_F(ReadStep, KeyModesFindEqualGreaterOrEither) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_EQ(readId(fd, ISEQUAL, row(21)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISGREAT, row(20)), 30);
    EXPECT_EQ(readId(fd, ISGREAT, row(19)), 20);
    EXPECT_EQ(readId(fd, ISGREAT, row(40)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISGTEQ, row(20)), 20);
    EXPECT_EQ(readId(fd, ISGTEQ, row(21)), 30);
    EXPECT_EQ(readId(fd, ISGTEQ, row(41)), -ISERR_NOTFOUND);
}

TEST_F(ReadStep, FailuresLeaveTheBufferAndTheGlobals) {
    const int fd = tens();
    Row got = row(25, "mine");
    isrecnum = 77;
    isreclen = 5;
    EXPECT_FAILS(ISERR_NOTFOUND, isread(fd, got, ISEQUAL));
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(isrecnum, 77);
    EXPECT_EQ(isreclen, 5);
    EXPECT_EQ(got.name(), "mine");
}

TEST_F(ReadStep, EmptyFileFailsByMode) {
    const int fd = fill({});
    for (const int mode : {ISFIRST, ISLAST, ISNEXT, ISPREV})
        EXPECT_EQ(readId(fd, mode), -ISERR_ENDOFFILE) << mode;
    EXPECT_EQ(readId(fd, ISCURR), -ISERR_NOCURRENT);
    for (const int mode : {ISEQUAL, ISGREAT, ISGTEQ})
        EXPECT_EQ(readId(fd, mode, row(1)), -ISERR_NOTFOUND) << mode;
}

TEST_F(ReadStep, PreviousAfterTheEndReturnsTheLast) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISPREV), 40);
    EXPECT_EQ(readId(fd, ISPREV), 30);
}

TEST_F(ReadStep, NextAfterTheBeginningReturnsTheFirst) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISPREV), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISPREV), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(ReadStep, CurrentAfterTheEndForgetsTheTurn) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISCURR), 40);
    EXPECT_EQ(readId(fd, ISPREV), 30);
}

TEST_F(ReadStep, NextAtTheEndSeesWhatWasAddedBehind) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    put(fd, row(50));
    EXPECT_EQ(readId(fd, ISNEXT), 50);
}

TEST_F(ReadStep, NextAfterDeleteReturnsTheOneThatFollowed) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    erase(fd, 20);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(ReadStep, PreviousAfterDeleteReturnsTheOneBefore) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(30)), 30);
    erase(fd, 30);
    EXPECT_EQ(readId(fd, ISPREV), 20);
}

TEST_F(ReadStep, CurrentAfterDeleteReturnsTheOneThatFollowed) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    erase(fd, 20);
    EXPECT_EQ(readId(fd, ISCURR), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(ReadStep, NothingFollowsADeletedLastRecord) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    erase(fd, 40);
    EXPECT_EQ(readId(fd, ISCURR), -ISERR_NOCURRENT);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
}

TEST_F(ReadStep, PreviousReturnsTheLastWhenAllAreBefore) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    erase(fd, 40);
    EXPECT_EQ(readId(fd, ISPREV), 30);
}

TEST_F(ReadStep, DeleteThroughAnotherHandleIsFollowedAlike) {
    const int fd = tens();
    const int other = open();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    erase(other, 20);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    erase(other, 30);
    erase(other, 40);
    EXPECT_EQ(readId(fd, ISPREV), 10);
}

TEST_F(ReadStep, RecordWrittenBetweenIsMet) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    put(fd, row(25));
    EXPECT_EQ(readId(fd, ISNEXT), 25);
    put(fd, row(24));
    EXPECT_EQ(readId(fd, ISPREV), 24);
}

TEST_F(ReadStep, FailedKeyModeLetsNextGoOnFromTheSearchedKey) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISEQUAL, row(25)), -ISERR_NOTFOUND);
    EXPECT_EQ(position(fd), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(ReadStep, FailedKeyModeLetsPreviousGoOnFromTheSearchedKey) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISEQUAL, row(25)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISPREV), 20);
}

TEST_F(ReadStep, FailedKeyModeLetsCurrentReturnWhatFollowsTheSearchedKey) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_EQ(readId(fd, ISEQUAL, row(25)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISCURR), 30);
}

TEST_F(ReadStep, FailedKeyModeBehindTheEndLeavesTheEnd) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_EQ(readId(fd, ISGREAT, row(99)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISCURR), -ISERR_NOCURRENT);
}

TEST_F(ReadStep, FailedKeyModeBehindTheEndLetsPreviousReturnTheLast) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_EQ(readId(fd, ISGTEQ, row(99)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISPREV), 40);
}

TEST_F(ReadStep, EveryFailedModeKeepsThePosition) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(position(fd), 4);
    EXPECT_EQ(readId(fd, ISEQUAL, row(1)), -ISERR_NOTFOUND);
    EXPECT_EQ(position(fd), 4);
    EXPECT_EQ(readId(fd, ISGREAT, row(40)), -ISERR_NOTFOUND);
    EXPECT_EQ(position(fd), 4);
}

TEST_F(ReadStep, PreviousRightAfterOpenHasNothingBefore) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISPREV), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(ReadStep, CurrentRightAfterOpenReturnsTheFirst) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISCURR), 10);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(ReadStep, FailedKeyModeAfterOpenKeepsTheFirstNextInPlace) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(25)), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(ReadStep, HigherModesReturnTheRecordNumberGivenWithoutMoving) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    for (const int mode : {8, 9, 100, 255}) {
        SCOPED_TRACE(mode);
        isrecnum = 2;
        EXPECT_EQ(readId(fd, mode), 20);
        isrecnum = 4;
        EXPECT_EQ(readId(fd, mode), 40);
        EXPECT_RESULTS(4, kRowLen);
        EXPECT_EQ(position(fd), 2);
    }
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(ReadStep, HigherModesRefuseNumbersOutOfRange) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    for (const long number : {0L, -1L, 5L, 0x7fffffffL}) {
        isrecnum = number;
        EXPECT_EQ(readId(fd, 9), -ISERR_NOCURRENT) << number;
    }
    if (sizeof(long) == 8) {
        isrecnum = static_cast<long>((1LL << 32) + 1);
        EXPECT_EQ(readId(fd, 9), -ISERR_NOCURRENT);
    }
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(ReadStep, HigherModeClearsTheFirstNextInPlace) {
    const int fd = tens();
    isrecnum = 1;
    EXPECT_EQ(readId(fd, 9), 10);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(ReadStep, FreshlyBuiltHandleTurnsRoundAtAnEndItNeverReached) {
    const int fd = build();
    putIds(fd, {10, 20, 30});
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISPREV), 30);
}

TEST_F(ReadStep, FreshlyBuiltHandleHasNothingBeforeEither) {
    const int fd = build();
    putIds(fd, {10, 20, 30});
    EXPECT_EQ(readId(fd, ISPREV), -ISERR_ENDOFFILE);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(ReadStep, DuplicatesComeInTheOrderTheyWereWritten) {
    const int fd = build();
    add(fd, nameKey());
    for (const long id : {5, 3, 9, 1})
        put(fd, row(id, id == 9 ? "b" : "a"));
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{5, 3, 1, 9}));
    EXPECT_EQ(idsBy(fd, nameKey(), ISLAST), (Ids{9, 1, 3, 5}));
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "a")), 5);
    EXPECT_EQ(readId(fd, ISGREAT, row(0, "a")), 9);
}

TEST_F(ReadStep, DeletedDuplicateIsFollowedByTheNextOne) {
    const int fd = build();
    add(fd, nameKey());
    for (const long id : {1, 2, 3, 4})
        put(fd, row(id, "same"));
    KeyDesc key = nameKey();
    EXPECT_OK(isstart(fd, &key, 0, row(0, "same"), ISEQUAL));
    EXPECT_EQ(readId(fd, ISNEXT), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 2);
    const int other = open();
    EXPECT_OK(isdelrec(other, 2));
    EXPECT_EQ(readId(fd, ISNEXT), 3);
    EXPECT_OK(isdelrec(other, 3));
    EXPECT_EQ(readId(fd, ISPREV), 1);
}

}  // namespace
}  // namespace api
