// isstart: choice of index, key length, starting point, and what the next read returns.
#include "steps.h"

namespace api {
namespace {

class StartPoint : public ApiTest {
  protected:
    // Ids 10 to 40, written as records 1 to 4; by name in the opposite order.
    int tens() {
        const int fd = build();
        add(fd, nameKey());
        const char *const names[] = {"delta", "charlie", "bravo", "alpha"};
        for (int i = 0; i < 4; ++i)
            put(fd, row(10 * (i + 1), names[i]));
        EXPECT_OK(isclose(fd));
        return open();
    }
    // Starts in the current index and reads by mode.
    long startAndRead(int fd, int start, Row record, int mode) {
        EXPECT_OK(isstart(fd, nullptr, 0, record, start));
        return readId(fd, mode);
    }
};

TEST_F(StartPoint, FirstThenNextReturnsTheFirst) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_EQ(startAndRead(fd, ISFIRST, row(0), ISNEXT), 10);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_EQ(startAndRead(fd, ISFIRST, row(0), ISPREV), -ISERR_ENDOFFILE);
}

TEST_F(StartPoint, LastThenNextOrPreviousReturnsTheLast) {
    const int fd = tens();
    EXPECT_EQ(startAndRead(fd, ISLAST, row(0), ISPREV), 40);
    EXPECT_EQ(readId(fd, ISPREV), 30);
    EXPECT_EQ(startAndRead(fd, ISLAST, row(0), ISNEXT), 40);
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
}

TEST_F(StartPoint, KeyModesThenNextReturnTheRecordFound) {
    const int fd = tens();
    EXPECT_EQ(startAndRead(fd, ISEQUAL, row(20), ISNEXT), 20);
    EXPECT_EQ(startAndRead(fd, ISGREAT, row(20), ISNEXT), 30);
    EXPECT_EQ(startAndRead(fd, ISGTEQ, row(20), ISNEXT), 20);
    EXPECT_EQ(startAndRead(fd, ISGTEQ, row(21), ISNEXT), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(StartPoint, KeyModesThenPreviousReturnTheOneBefore) {
    const int fd = tens();
    EXPECT_EQ(startAndRead(fd, ISEQUAL, row(20), ISPREV), 10);
    EXPECT_EQ(startAndRead(fd, ISGREAT, row(20), ISPREV), 20);
}

TEST_F(StartPoint, CurrentAfterAStartReturnsTheRecordFound) {
    const int fd = tens();
    EXPECT_EQ(startAndRead(fd, ISEQUAL, row(30), ISCURR), 30);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(StartPoint, NextMovesAndTheReadMovesOn) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISNEXT));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(StartPoint, NextRightAfterOpenStaysAtTheFirst) {
    const int fd = tens();
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISNEXT));
    EXPECT_EQ(isrecnum, 1);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(StartPoint, PreviousMovesAndNextReturnsThatRecord) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISPREV));
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(StartPoint, CurrentStaysAndNextReturnsThatRecord) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISCURR));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(StartPoint, SetsTheRecordNumberAndCopiesNothing) {
    const int fd = tens();
    Row key = row(30, "mine");
    isreclen = 3;
    iserrno = iserrio = 77;
    EXPECT_EQ(isstart(fd, nullptr, 0, key, ISEQUAL), 0);
    EXPECT_RESULTS(3, 3);
    EXPECT_EQ(key.name(), "mine");
}

TEST_F(StartPoint, EndsSucceedInAnEmptyFile) {
    const int fd = fill({});
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISLAST));
    KeyDesc order = noKey();
    EXPECT_OK(isstart(fd, &order, 0, nullptr, ISFIRST));
    EXPECT_OK(isstart(fd, &order, 0, nullptr, ISLAST));
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
}

TEST_F(StartPoint, OtherModesFailByMode) {
    const int fd = tens();
    EXPECT_FAILS(ISERR_NOTFOUND, isstart(fd, nullptr, 0, row(25), ISEQUAL));
    EXPECT_FAILS(ISERR_NOTFOUND, isstart(fd, nullptr, 0, row(40), ISGREAT));
    EXPECT_FAILS(ISERR_NOTFOUND, isstart(fd, nullptr, 0, row(41), ISGTEQ));
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_FAILS(ISERR_ENDOFFILE, isstart(fd, nullptr, 0, nullptr, ISNEXT));
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    EXPECT_FAILS(ISERR_ENDOFFILE, isstart(fd, nullptr, 0, nullptr, ISPREV));
    EXPECT_EQ(readId(fd, ISLAST), 40);
    EXPECT_OK(isdelete(fd, row(40)));
    EXPECT_FAILS(ISERR_NOCURRENT, isstart(fd, nullptr, 0, nullptr, ISCURR));
}

TEST_F(StartPoint, ModesOutOfRangeAreRefused) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    for (const int mode : {8, 9, 255, 256, ISFIRST | ISLOCK, 0x7fffffff, -1}) {
        EXPECT_FAILS(ISERR_ARGUMENT, isstart(fd, nullptr, 0, row(30), mode)) << mode;
        EXPECT_EQ(position(fd), 2);
    }
    EXPECT_EQ(readId(fd, ISNEXT), 30);
}

TEST_F(StartPoint, LengthsOutOfRangeAreRefused) {
    const int fd = tens();
    KeyDesc key = nameKey();
    EXPECT_FAILS(ISERR_ARGUMENT, isstart(fd, &key, kNameLen + 1, row(0), ISFIRST));
    EXPECT_FAILS(ISERR_ARGUMENT, isstart(fd, &key, 0x10000, row(0), ISFIRST));
    EXPECT_FAILS(ISERR_ARGUMENT, isstart(fd, &key, -1, row(0), ISFIRST));
    EXPECT_OK(isstart(fd, &key, kNameLen, row(0), ISFIRST));
}

TEST_F(StartPoint, RefusedLengthHasChosenTheIndex) {
    const int fd = tens();
    KeyDesc key = nameKey();
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_FAILS(ISERR_ARGUMENT, isstart(fd, &key, kNameLen + 1, row(0), ISFIRST));
    EXPECT_EQ(currentIndex(fd), 2);
    EXPECT_EQ(readId(fd, ISFIRST), 40);
}

TEST_F(StartPoint, WithoutAKeyTheLengthIsThatOfTheLastReadOrStart) {
    const int fd = tens();
    KeyDesc key = nameKey();
    EXPECT_OK(isstart(fd, &key, 2, row(0, "charm"), ISEQUAL));
    EXPECT_OK(isstart(fd, nullptr, 0, row(0, "brain"), ISEQUAL));
    EXPECT_EQ(isrecnum, 3);
    EXPECT_EQ(readId(fd, ISNEXT), 30);
    // A read in order compares whole keys,
    EXPECT_FAILS(ISERR_NOTFOUND, isstart(fd, nullptr, 0, row(0, "brain"), ISEQUAL));
    EXPECT_OK(isstart(fd, nullptr, 0, row(0, "bravo"), ISEQUAL));
    // one by key the length of the start,
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "alps")), 40);
    EXPECT_OK(isstart(fd, nullptr, 0, row(0, "brain"), ISEQUAL));
    // and so does a start without a key, whatever its mode.
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISLAST));
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISPREV));
    EXPECT_OK(isstart(fd, nullptr, 0, row(0, "brain"), ISEQUAL));
    EXPECT_EQ(isrecnum, 3);
}

TEST_F(StartPoint, LengthDoesNotBlurWhereRelativeModesStart) {
    const int fd = build();
    KeyDesc key = nameKey();
    key.flags = ISNODUPS;
    EXPECT_OK(isaddindex(fd, &key));
    const char *const names[] = {"ant", "anvil", "apple", "beech"};
    for (int i = 0; i < 4; ++i)
        put(fd, row(10 * (i + 1), names[i]));
    EXPECT_EQ(readId(fd, ISEQUAL, row(30)), 30);
    EXPECT_OK(isstart(fd, &key, 1, nullptr, ISNEXT));
    EXPECT_EQ(isrecnum, 4);
    EXPECT_OK(isstart(fd, &key, 1, row(0, "a"), ISEQUAL));
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISPREV));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_OK(isstart(fd, nullptr, 0, row(0, "bear"), ISEQUAL));
    EXPECT_EQ(isrecnum, 4);
    // Nor when the place has to be found again.
    EXPECT_OK(isstart(fd, &key, 1, row(0, "a"), ISEQUAL));
    EXPECT_OK(isgoto(fd, 2));
    put(open(), row(50, "cedar"));
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISCURR));
    EXPECT_EQ(isrecnum, 2);
}

TEST_F(StartPoint, UnknownIndexIsRefused) {
    const int fd = tens();
    EXPECT_EQ(readId(fd, ISFIRST), 10);
    KeyDesc key = groupKey();
    EXPECT_FAILS(ISERR_KEYDESC, isstart(fd, &key, 0, row(0), ISFIRST));
    KeyDesc shorter = keyDesc(ISDUPS, {{kNameAt, kNameLen - 1}});
    EXPECT_FAILS(ISERR_KEYDESC, isstart(fd, &shorter, 0, row(0), ISFIRST));
    KeyDesc descending = keyDesc(ISDUPS, {{kNameAt, kNameLen, CHARTYPE | ISDESC}});
    EXPECT_FAILS(ISERR_KEYDESC, isstart(fd, &descending, 0, row(0), ISFIRST));
    KeyDesc suppressing = nameKey(ISDUPS | ISNULLKEY);
    EXPECT_FAILS(ISERR_KEYDESC, isstart(fd, &suppressing, 0, row(0), ISFIRST));
    EXPECT_EQ(currentIndex(fd), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(StartPoint, FlagsForDuplicatesAndCompressionDoNotCount) {
    const int fd = tens();
    KeyDesc key = nameKey(ISNODUPS | ISLEADCOMP | ISTRAILCOMP);
    EXPECT_OK(isstart(fd, &key, 0, nullptr, ISFIRST));
    EXPECT_EQ(currentIndex(fd), 2);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(StartPoint, AnotherIndexKeepsTheCurrentRecordForRelativeModes) {
    const int fd = tens();
    KeyDesc key = nameKey();
    EXPECT_EQ(readId(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isstart(fd, &key, 0, nullptr, ISCURR));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(readId(fd, ISNEXT), 20);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(StartPoint, AnotherIndexWithNextGoesToTheFollowingKeyThere) {
    const int fd = tens();
    KeyDesc key = nameKey();
    EXPECT_EQ(readId(fd, ISEQUAL, row(30)), 30);
    EXPECT_OK(isstart(fd, &key, 0, nullptr, ISNEXT));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(StartPoint, AnotherIndexWithPreviousGoesToTheKeyBeforeThere) {
    const int fd = tens();
    KeyDesc key = nameKey();
    EXPECT_EQ(readId(fd, ISEQUAL, row(30)), 30);
    EXPECT_OK(isstart(fd, &key, 0, nullptr, ISPREV));
    EXPECT_EQ(isrecnum, 4);
    EXPECT_EQ(readId(fd, ISNEXT), 40);
}

TEST_F(StartPoint, NoPartsSelectRecordNumberOrder) {
    const int fd = tens();
    KeyDesc order = noKey();
    EXPECT_OK(isstart(fd, &order, 0, nullptr, ISLAST));
    EXPECT_EQ(currentIndex(fd), 0);
    EXPECT_EQ(readId(fd, ISPREV), 40);
    isrecnum = 2;
    EXPECT_OK(isstart(fd, &order, 0, row(0), ISEQUAL));
    EXPECT_EQ(readId(fd, ISNEXT), 20);
}

TEST_F(StartPoint, NoPartsTakeAnyLength) {
    const int fd = tens();
    KeyDesc order = noKey();
    EXPECT_OK(isstart(fd, &order, 50, nullptr, ISFIRST));
    EXPECT_EQ(readId(fd, ISNEXT), 10);
}

TEST_F(StartPoint, NoCurrentRecordForADeleteAfterAnEnd) {
    const int fd = tens();
    for (const int mode : {ISFIRST, ISLAST}) {
        EXPECT_OK(isstart(fd, nullptr, 0, nullptr, mode));
        EXPECT_FAILS(ISERR_NOCURRENT, isdelcurr(fd));
    }
    EXPECT_OK(isstart(fd, nullptr, 0, row(20), ISEQUAL));
    EXPECT_OK(isdelcurr(fd));
    EXPECT_EQ(idsOf(fd), (Ids{10, 30, 40}));
}

TEST_F(StartPoint, PartialLengthCountsInKeyModes) {
    const int fd = build();
    add(fd, nameKey());
    const char *const names[] = {"abcd", "abce", "abdd", "b"};
    for (int i = 0; i < 4; ++i)
        put(fd, row(i + 1, names[i]));
    KeyDesc key = nameKey();
    EXPECT_OK(isstart(fd, &key, 3, row(0, "abczz"), ISEQUAL));
    EXPECT_EQ(readId(fd, ISNEXT), 1);
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abdxx")), 3);
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abc")), 1);
    EXPECT_EQ(readId(fd, ISGREAT, row(0, "abc")), 3);
    EXPECT_EQ(readId(fd, ISGTEQ, row(0, "abczz")), 1);
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abe")), -ISERR_NOTFOUND);
}

TEST_F(StartPoint, PartialLengthStaysUntilTheNextStartWithAKey) {
    const int fd = build();
    add(fd, nameKey());
    put(fd, row(1, "abcd"));
    KeyDesc key = nameKey();
    EXPECT_OK(isstart(fd, &key, 2, row(0, "abxx"), ISEQUAL));
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abyy")), 1);
    EXPECT_OK(isindex(fd, 1, 0));
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abyy")), 1);
    EXPECT_OK(isstart(fd, &key, 0, nullptr, ISFIRST));
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abyy")), -ISERR_NOTFOUND);
    EXPECT_EQ(readId(fd, ISEQUAL, row(0, "abcd")), 1);
}

TEST_F(StartPoint, PartialLengthLeavesTheOrderOfReadsAlone) {
    const int fd = build();
    add(fd, nameKey());
    const char *const names[] = {"aaaa", "aabb", "aacc"};
    for (int i = 0; i < 3; ++i)
        put(fd, row(i + 1, names[i]));
    KeyDesc key = nameKey();
    EXPECT_OK(isstart(fd, &key, 2, row(0, "aa"), ISEQUAL));
    EXPECT_EQ(readId(fd, ISNEXT), 1);
    EXPECT_EQ(readId(fd, ISNEXT), 2);
    EXPECT_EQ(readId(fd, ISNEXT), 3);
    EXPECT_EQ(readId(fd, ISPREV), 2);
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_EQ(readId(fd, ISCURR), 3);
}

}  // namespace
}  // namespace api
