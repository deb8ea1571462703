// What a file keeps beside its records: precious mode, unique ids, highest number, the application's bytes.
#include "steps.h"

#include <climits>

namespace api {
namespace {

constexpr long kHighest = 2147483647L;

class Settings : public ApiTest {
  protected:
    long uniqueId(int fd) {
        long id = -77;
        EXPECT_OK(isuniqueid(fd, &id));
        return id;
    }
    long lastNumber(int fd) {
        long number = -77;
        EXPECT_OK(isgetlastrec(fd, &number));
        return number;
    }
};

TEST_F(Settings, PreciousNumbersAreNotUsedAgain) {
    const int fd = fill({1, 2, 3});
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_EQ(put(fd, row(4)), 4);
    EXPECT_OK(isdelrec(fd, 4));
    EXPECT_EQ(put(fd, row(5)), 5);
}

TEST_F(Settings, NumbersFreedBeforePreciousAreNotUsedEither) {
    const int fd = fill({1, 2, 3});
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_EQ(put(fd, row(4)), 4);
}

TEST_F(Settings, EndOfPreciousFreesTheNumbersLowestFirst) {
    const int fd = fill({1, 2, 3, 4});
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isdelrec(fd, 3));
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_EQ(recordCount(fd), 2);
    EXPECT_EQ(put(fd, row(5)), 2);
    EXPECT_EQ(put(fd, row(6)), 3);
    EXPECT_EQ(put(fd, row(7)), 5);
}

TEST_F(Settings, PreciousIsKeptInTheFile) {
    int fd = fill({1, 2});
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_EQ(numberAt(imageOf(base()).index, 1024 - 6, 2) & 2U, 2U);
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(put(fd, row(3)), 3);
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_EQ(numberAt(imageOf(base()).index, 1024 - 6, 2) & 2U, 0U);
}

TEST_F(Settings, PreciousReachesHandlesThatAreOpenAlready) {
    const int fd = fill({1, 2});
    const int other = open();
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(other, 1));
    EXPECT_EQ(put(other, row(3)), 3);
    EXPECT_EQ(numberAt(imageOf(base()).index, 1024 - 6, 2) & 2U, 2U);
    EXPECT_OK(isprecious(other, 0));
    EXPECT_EQ(put(fd, row(4)), 1);
}

TEST_F(Settings, PreciousTwiceOnlyRewritesTheHeader) {
    const int fd = fill({1, 2});
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_OK(isprecious(fd, 1));
    const Image before = imageOf(base());
    EXPECT_OK(isprecious(fd, 7));
    const Image after = imageOf(base());
    EXPECT_EQ(changeCounter(after), changeCounter(before) + 1);
    EXPECT_EQ(before.index.substr(1024), after.index.substr(1024));
}

TEST_F(Settings, UniqueIdsCountFromOneAndSurviveReopening) {
    int fd = fill({});
    EXPECT_EQ(uniqueId(fd), 1);
    EXPECT_EQ(uniqueId(fd), 2);
    EXPECT_OK(isclose(fd));
    fd = open();
    EXPECT_EQ(uniqueId(fd), 3);
    const int other = open();
    EXPECT_EQ(uniqueId(other), 4);
    EXPECT_EQ(uniqueId(fd), 5);
}

TEST_F(Settings, UniqueIdAfterTheHighestIsOne) {
    const int fd = fill({});
    EXPECT_OK(issetunique(fd, kHighest));
    EXPECT_EQ(uniqueId(fd), kHighest);
    EXPECT_EQ(uniqueId(fd), 1);
    EXPECT_EQ(uniqueId(fd), 2);
}

TEST_F(Settings, NegativeUniqueIdIsHandedOutOnce) {
    const int fd = fill({});
    EXPECT_OK(issetunique(fd, -5));
    EXPECT_EQ(uniqueId(fd), -5);
    EXPECT_EQ(uniqueId(fd), 1);
    EXPECT_OK(issetunique(fd, -1));
    EXPECT_EQ(uniqueId(fd), -1);
    EXPECT_EQ(uniqueId(fd), 0);
    EXPECT_EQ(uniqueId(fd), 1);
}

TEST_F(Settings, LowThirtyTwoBitsOfAUniqueIdCount) {
    const int fd = fill({});
    if (sizeof(long) == 8) {
        EXPECT_OK(issetunique(fd, static_cast<long>((1LL << 32) + 41)));
        EXPECT_EQ(uniqueId(fd), 41);
    }
    EXPECT_OK(issetunique(fd, 7));
    EXPECT_EQ(numberAt(imageOf(base()).index, 45, 4), 7U);
    EXPECT_EQ(uniqueId(fd), 7);
}

TEST_F(Settings, LastRecordNumberIsTheHighestUsed) {
    const int fd = fill({});
    EXPECT_EQ(lastNumber(fd), 0);
    putIds(fd, {1, 2, 3});
    EXPECT_OK(isdelrec(fd, 3));
    EXPECT_EQ(lastNumber(fd), 3);
}

TEST_F(Settings, LastRecordNumberCanBeSetAndRaised) {
    const int fd = fill({1});
    isrecnum = 55;
    EXPECT_OK(issetlastrec(fd, 10));
    EXPECT_EQ(isrecnum, 55);
    EXPECT_EQ(lastNumber(fd), 10);
    long number = 0;
    EXPECT_OK(islastrec(fd, &number));
    EXPECT_EQ(number, 11);
    EXPECT_EQ(lastNumber(fd), 11);
    EXPECT_EQ(put(fd, row(2)), 12);
    dontCheck();
}

// What has been read into memory ends with the highest number of that time.
TEST_F(Settings, SlotsBehindANumberThatIsRaisedAreReadFromTheFile) {
    const int fd = fill({1, 2, 3, 4, 5, 6});
    Row got;
    const auto readOften = [fd, &got] {
        for (int i = 0; i < 1000; ++i)
            EXPECT_OK(isdata(fd, got, 1 + i % 2));
    };
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 6));
    EXPECT_OK(issetlastrec(fd, 3));
    readOften();
    EXPECT_OK(issetlastrec(fd, 6));
    EXPECT_OK(isdata(fd, got, 5));
    EXPECT_EQ(got.id(), 5);
    EXPECT_FAILS(ISERR_NOTFOUND, isdata(fd, got, 6));
    readOften();
    long number = 0;
    EXPECT_OK(islastrec(fd, &number));
    EXPECT_FAILS(EIO, isdata(fd, got, number));
    dontCheck();
}

TEST_F(Settings, LastRecordNumberOutOfRangeIsRefused) {
    const int fd = fill({1});
    std::vector<long> numbers = {-1, LONG_MIN};
    if (sizeof(long) == 8) {
        numbers.push_back(static_cast<long>(1LL << 31));
        numbers.push_back(static_cast<long>((1LL << 32) + 5));
        numbers.push_back(LONG_MAX);
    }
    const Image before = imageOf(base());
    for (const long number : numbers)
        EXPECT_FAILS(ISERR_ARGUMENT, issetlastrec(fd, number)) << number;
    EXPECT_TRUE(before == imageOf(base()));
}

TEST_F(Settings, WithoutANumberLeftWritesFailAndChangeNothing) {
    const int fd = fill({1, 2});
    EXPECT_OK(issetlastrec(fd, kHighest));
    const Image before = imageOf(base());
    EXPECT_FAILS(ISERR_DISKSPACE, iswrite(fd, row(3)));
    EXPECT_EQ(iserrio, 0);
    EXPECT_FAILS(ISERR_DISKSPACE, iswrlock(fd, row(3)));
    EXPECT_FAILS(ISERR_DISKSPACE, iswrcurr(fd, row(3)));
    long number = 5;
    EXPECT_FAILS(ISERR_DISKSPACE, islastrec(fd, &number));
    EXPECT_EQ(number, 5);
    EXPECT_TRUE(before == imageOf(base()));
    EXPECT_EQ(lastNumber(fd), kHighest);
    // A number that was freed is still there to be used.
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(put(fd, row(4)), 1);
    dontCheck();
}

TEST_F(Settings, ApplicationsBytesAreKeptAndCountAsAChange) {
    const int fd = fill({});
    const int other = open();
    const Image before = imageOf(base());
    char bytes[] = "0123456789", back[ISUSERINFOLEN + 1] = "##########";
    iserrio = 77;
    EXPECT_EQ(isuserinfo(fd, 1, bytes), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(iserrio, 0);
    const Image after = imageOf(base());
    EXPECT_EQ(changeCounter(after), changeCounter(before) + 1);
    EXPECT_EQ(after.index.substr(1024 - 16, 10), "0123456789");
    EXPECT_OK(isuserinfo(other, 0, back));
    EXPECT_STREQ(back, "0123456789");
    EXPECT_EQ(changeCounter(imageOf(base())), changeCounter(after));
}

TEST_F(Settings, ApplicationsBytesAreNulInANewFileAndMayBeAnything) {
    const int fd = fill({});
    char back[ISUSERINFOLEN], any[] = "\0\xff\n x\0\0\1\2z";
    EXPECT_OK(isuserinfo(fd, 0, back));
    EXPECT_EQ(std::string(back, sizeof back), std::string(sizeof back, '\0'));
    EXPECT_OK(isuserinfo(fd, 1, any));
    putIds(fd, {1});
    EXPECT_OK(isuserinfo(fd, 0, back));
    EXPECT_EQ(std::memcmp(back, any, sizeof back), 0);
}

TEST_F(Settings, OtherDirectionsAreRefused) {
    const int fd = fill({});
    char bytes[ISUSERINFOLEN] = {};
    const Image before = imageOf(base());
    for (const int direction : {-1, 2, 256, INT_MAX, INT_MIN})
        EXPECT_FAILS(ISERR_ARGUMENT, isuserinfo(fd, direction, bytes));
    EXPECT_TRUE(before == imageOf(base()));
}

TEST_F(Settings, LockModeKeepsTheLowByteOfTheMode) {
    const int fd = build(ISINOUT | ISMASK);
    int mode = 0;
    for (const int lock : {ISLOCKAUTO, ISLOCKMANUAL, ISLOCKNONE}) {
        EXPECT_OK(issetmode(fd, lock));
        EXPECT_OK(isgetmode(fd, &mode));
        EXPECT_EQ(mode, ISINOUT | ISMASK | lock);
    }
}

TEST_F(Settings, ExclusiveLockModeIsRefused) {
    const int fd = fill({1});
    EXPECT_FAILS(ISERR_ARGUMENT, issetmode(fd, ISLOCKEXCL));
    EXPECT_EQ(iserrio, 0);
    int mode = 0;
    EXPECT_EQ(isgetmode(fd, &mode), 0);
    EXPECT_EQ(iserrno, ISERR_ARGUMENT) << "the call sets no globals";
    EXPECT_EQ(mode, ISINOUT | ISLOCKMANUAL);
    EXPECT_OK(isclose(fd));
    const int exclusive = open(ISINOUT | ISLOCKEXCL);
    for (const int lock : {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL})
        EXPECT_FAILS(ISERR_ARGUMENT, issetmode(exclusive, lock));
}

TEST_F(Settings, LeavingAutomaticLocksReleasesThem) {
    const int fd = fill({1, 2}, ISINOUT | ISLOCKAUTO);
    const int other = open();
    EXPECT_EQ(readId(fd, ISFIRST), 1);
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), -ISERR_LOCKED);
    EXPECT_OK(issetmode(fd, ISLOCKMANUAL));
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
}

TEST_F(Settings, StayingWithAutomaticLocksKeepsThem) {
    const int fd = fill({1, 2}, ISINOUT | ISLOCKAUTO);
    const int other = open();
    EXPECT_EQ(readId(fd, ISFIRST), 1);
    EXPECT_OK(issetmode(fd, ISLOCKAUTO));
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), -ISERR_LOCKED);
    EXPECT_OK(issetmode(fd, ISLOCKMANUAL));
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
}

TEST_F(Settings, LockCheckAsksForALockOfTheHandle) {
    const int fd = fill({1, 2});
    EXPECT_OK(islockcheck(fd, 1));
    EXPECT_FAILS(ISERR_NOCURRENT, isrewrite(fd, row(1, "x")));
    EXPECT_FAILS(ISERR_NOCURRENT, isrewrec(fd, 1, row(1, "x")));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelete(fd, row(1)));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(fd, 1));
    EXPECT_EQ(readId(fd, ISFIRST | ISLOCK), 1);
    EXPECT_OK(isrewrite(fd, row(1, "x")));
    EXPECT_FAILS(ISERR_NOCURRENT, isrewrite(fd, row(2, "x")));
    EXPECT_OK(islockcheck(fd, 0));
    EXPECT_OK(isrewrite(fd, row(2, "x")));
}

}  // namespace
}  // namespace api
