// Files without records: keys, each with a number that the caller gives.
#include "steps.h"

namespace api {
namespace {

class PureKey : public ApiTest {
  protected:
    static KeyDesc key(int flags = ISNODUPS) { return keyDesc(flags, {{0, 4, LONGTYPE}, {kNameAt, kNameLen}}); }
    int keys(int flags = ISNODUPS) { return build(ISINOUT, key(flags), 0); }
    void putKey(int fd, long id, const std::string &name, long number) {
        isrecnum = number;
        EXPECT_OK(iswrite(fd, row(id, name)));
        EXPECT_EQ(isrecnum, number);
    }
    // Keys 10, 20, 30 with the numbers 101, 102, 103.
    int tens() {
        const int fd = keys();
        putKey(fd, 20, "b", 102);
        putKey(fd, 10, "a", 101);
        putKey(fd, 30, "c", 103);
        return fd;
    }
    // The number that comes with a key, or the error below 0.
    long readNumber(int fd, int mode, Row record = row(-1)) {
        return isread(fd, record, mode) == 0 ? isrecnum : -static_cast<long>(iserrno);
    }
    std::vector<long> numbers(int fd) {
        std::vector<long> all;
        for (long number = readNumber(fd, ISFIRST); number > 0 && all.size() < 100; number = readNumber(fd, ISNEXT))
            all.push_back(number);
        return all;
    }
};

TEST_F(PureKey, ReadGivesTheKeyAndItsNumber) {
    const int fd = tens();
    Row got = row(-1, "?", 55, "untouched");
    isreclen = 9;
    iserrio = 77;
    EXPECT_EQ(isread(fd, got, ISFIRST), 0);
    EXPECT_RESULTS(101, 0);
    EXPECT_EQ(got.id(), 10);
    EXPECT_EQ(got.name(), "a");
    EXPECT_EQ(got.group(), 55);
    EXPECT_EQ(got.note(), "untouched");
}

TEST_F(PureKey, WalksBothWays) {
    const int fd = tens();
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
    EXPECT_EQ(idsOf(fd, ISLAST), (Ids{30, 20, 10}));
}

TEST_F(PureKey, KeyModesFind) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "x")), -ISERR_NOTFOUND);
    EXPECT_EQ(readNumber(fd, ISGREAT, row(20, "b")), 103);
    EXPECT_EQ(readNumber(fd, ISGTEQ, row(11)), 102);
    KeyDesc whole = key();
    EXPECT_OK(isstart(fd, &whole, 4, row(30), ISEQUAL));
    EXPECT_EQ(isrecnum, 103);
    EXPECT_EQ(readNumber(fd, ISNEXT), 103);
}

TEST_F(PureKey, TurnsRoundAtBothEnds) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISLAST), 103);
    EXPECT_EQ(readNumber(fd, ISNEXT), -ISERR_ENDOFFILE);
    EXPECT_EQ(readNumber(fd, ISPREV), 103);
    EXPECT_EQ(readNumber(fd, ISFIRST), 101);
    EXPECT_EQ(readNumber(fd, ISPREV), -ISERR_ENDOFFILE);
    EXPECT_EQ(readNumber(fd, ISNEXT), 101);
}

TEST_F(PureKey, NextAfterDeleteReturnsTheOneThatFollowed) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    EXPECT_OK(isdelete(fd, row(20, "b")));
    EXPECT_EQ(readNumber(fd, ISNEXT), 103);
}

TEST_F(PureKey, DuplicatesFollowTheFlags) {
    const int fd = tens();
    isrecnum = 7;
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(20, "b")));
    EXPECT_EQ(numbers(fd), (std::vector<long>{101, 102, 103}));
    EXPECT_OK(isclose(fd));
    const int dups = buildNamed(path("dups"), ISINOUT, key(ISDUPS), 0);
    putKey(dups, 1, "x", 9);
    putKey(dups, 1, "x", 3);
    putKey(dups, 1, "x", 9);
    EXPECT_EQ(numbers(dups), (std::vector<long>{9, 3, 9}));
}

TEST_F(PureKey, DeleteByKeyAndCurrent) {
    const int fd = tens();
    EXPECT_OK(isdelete(fd, row(10, "a")));
    EXPECT_FAILS(ISERR_NOTFOUND, isdelete(fd, row(10, "a")));
    EXPECT_EQ(readNumber(fd, ISFIRST), 102);
    EXPECT_OK(isdelcurr(fd));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelcurr(fd));
    EXPECT_EQ(numbers(fd), (std::vector<long>{103}));
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelcurr(fd));
}

TEST_F(PureKey, DeleteByKeyNeedsAUniqueIndex) {
    const int fd = keys(ISDUPS);
    putKey(fd, 1, "x", 9);
    EXPECT_FAILS(ISERR_NOPRIMARYKEY, isdelete(fd, row(1, "x")));
    EXPECT_EQ(readNumber(fd, ISFIRST), 9);
    EXPECT_OK(isdelcurr(fd));
    EXPECT_EQ(numbers(fd), (std::vector<long>{}));
}

TEST_F(PureKey, RewriteCurrentReplacesKeyAndNumber) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISFIRST), 101);
    isrecnum = 555;
    EXPECT_OK(isrewcurr(fd, row(25, "z")));
    EXPECT_EQ(isrecnum, 555);
    EXPECT_EQ(numbers(fd), (std::vector<long>{102, 555, 103}));
    EXPECT_EQ(idsOf(fd), (Ids{20, 25, 30}));
}

TEST_F(PureKey, RewriteCurrentWithTheSameKeyAndNumberChangesNoNode) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    const Image before = imageOf(base());
    EXPECT_OK(isrewcurr(fd, row(20, "b")));
    const Image after = imageOf(base());
    EXPECT_EQ(before.index.substr(1024), after.index.substr(1024));
    EXPECT_EQ(changeCounter(after), changeCounter(before) + 1);
}

TEST_F(PureKey, RewriteCurrentWithAnotherNumberKeepsTheKey) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    isrecnum = 777;
    EXPECT_OK(isrewcurr(fd, row(20, "b")));
    EXPECT_EQ(numbers(fd), (std::vector<long>{101, 777, 103}));
}

TEST_F(PureKey, RewriteCurrentOfAKeyThatIsGoneFails) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    EXPECT_OK(isdelete(fd, row(20, "b")));
    EXPECT_FAILS(ISERR_NOCURRENT, isrewcurr(fd, row(20, "c")));
    EXPECT_EQ(numbers(fd), (std::vector<long>{101, 103}));
}

TEST_F(PureKey, RewriteThatDuplicatesIsRefusedAndChangesNothing) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    const Image before = imageOf(base());
    EXPECT_FAILS(ISERR_DUPLICATE, isrewcurr(fd, row(30, "c")));
    EXPECT_TRUE(before == imageOf(base()));
    EXPECT_EQ(numbers(fd), (std::vector<long>{101, 102, 103}));
}

TEST_F(PureKey, RewriteAndNextReplacesTheEntryMovedTo) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISFIRST), 101);
    isrecnum = 888;
    EXPECT_EQ(isrewnxt(fd, row(21, "y")), 0);
    EXPECT_EQ(idsOf(fd), (Ids{10, 21, 30}));
}

TEST_F(PureKey, CallsThatNeedRecordsAreRefused) {
    const int fd = tens();
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(20, "b")), 102);
    const Image before = imageOf(base());
    KeyDesc name = nameKey();
    Row got;
    EXPECT_FAILS(ISERR_ARGUMENT, iswrlock(fd, row(5)));
    EXPECT_FAILS(ISERR_ARGUMENT, iswrcurr(fd, row(5)));
    EXPECT_FAILS(ISERR_ARGUMENT, isrewrite(fd, row(20, "b")));
    EXPECT_FAILS(ISERR_ARGUMENT, isrewrec(fd, 1, row(5)));
    EXPECT_FAILS(ISERR_ARGUMENT, isdelrec(fd, 1));
    EXPECT_FAILS(ISERR_ARGUMENT, isaddindex(fd, &name));
    EXPECT_FAILS(ISERR_ARGUMENT, isdata(fd, got, 1));
    EXPECT_FAILS(ISERR_ARGUMENT, isread(fd, got, ISNEXT | ISLOCK));
    EXPECT_FAILS(ISERR_ARGUMENT, isread(fd, got, ISNEXT | ISWAIT));
    EXPECT_FAILS(ISERR_ARGUMENT, issetmode(fd, ISLOCKAUTO));
    EXPECT_FAILS(ISERR_NOTFOUND, isgoto(fd, 102));
    EXPECT_TRUE(before == imageOf(base()));
    EXPECT_EQ(position(fd), 102);
    EXPECT_EQ(readNumber(fd, ISNEXT), 103);
}

TEST_F(PureKey, RecordNumberOrderIsEmpty) {
    const int fd = tens();
    EXPECT_OK(isindex(fd, 0, 0));
    for (const int mode : {ISFIRST, ISLAST, ISNEXT, ISPREV})
        EXPECT_EQ(readNumber(fd, mode), -ISERR_ENDOFFILE) << mode;
    EXPECT_EQ(readNumber(fd, ISCURR), -ISERR_NOCURRENT);
    isrecnum = 101;
    EXPECT_EQ(readNumber(fd, ISEQUAL), -ISERR_NOTFOUND);
}

TEST_F(PureKey, DescribesItself) {
    const int fd = tens();
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    EXPECT_EQ(info.keyCount, 1);
    EXPECT_EQ(info.recordLength, 0);
    EXPECT_EQ(info.recordCount, 0);
    EXPECT_EQ(isqv_datlen(fd), 0);
    EXPECT_EQ(isqv_datfd(fd), -1);
}

TEST_F(PureKey, SurvivesReopening) {
    EXPECT_OK(isclose(tens()));
    const int fd = open();
    EXPECT_EQ(isrecnum, 101);
    EXPECT_EQ(readNumber(fd, ISNEXT), 101);
    EXPECT_EQ(numbers(fd), (std::vector<long>{101, 102, 103}));
    EXPECT_EQ(soundEntries(base(), false), (std::vector<std::size_t>{3}));
}

TEST_F(PureKey, ManyKeysSplitNodes) {
    const int fd = keys();
    for (long i = 1; i <= 500; ++i)
        putKey(fd, (i * 37) % 503, "k", i);
    EXPECT_EQ(idsOf(fd).size(), 500U);
    EXPECT_EQ(soundEntries(base(), false), (std::vector<std::size_t>{500}));
    EXPECT_EQ(readNumber(fd, ISEQUAL, row(37, "k")), 1);
}

}  // namespace
}  // namespace api
