// Record locks between two handles of one process.
#include "steps.h"

namespace api {
namespace {

class HeldLock : public ApiTest {
  protected:
    void SetUp() override {
        mine = fill({1, 2, 3});
        other = open();
    }
    int mine = -1;
    int other = -1;
};

TEST_F(HeldLock, RefusesTheOtherHandleAndDeliversTheRecord) {
    EXPECT_EQ(readId(mine, ISEQUAL | ISLOCK, row(2)), 2);
    Row got = row(2);
    EXPECT_FAILS(ISERR_LOCKED, isread(other, got, ISEQUAL | ISLOCK));
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(got.id(), 2);
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(position(other), 2);
    EXPECT_EQ(readId(other, ISNEXT), 3);
}

TEST_F(HeldLock, DoesNotHinderPlainReads) {
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_EQ(readId(other, ISFIRST), 1);
}

TEST_F(HeldLock, RefusesChangesByTheOtherHandle) {
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_EQ(readId(other, ISFIRST), 1);
    const Image before = imageOf(base());
    EXPECT_FAILS(ISERR_LOCKED, isrewrite(other, row(1, "x")));
    EXPECT_FAILS(ISERR_LOCKED, isrewrec(other, 1, row(1, "x")));
    EXPECT_FAILS(ISERR_LOCKED, isrewcurr(other, row(1, "x")));
    EXPECT_FAILS(ISERR_LOCKED, isdelete(other, row(1)));
    EXPECT_FAILS(ISERR_LOCKED, isdelrec(other, 1));
    EXPECT_FAILS(ISERR_LOCKED, isdelcurr(other));
    EXPECT_EQ(iserrio, 0);
    EXPECT_TRUE(before == imageOf(base()));
    EXPECT_OK(isrewrite(mine, row(1, "x")));
    EXPECT_OK(isrewrite(other, row(2, "x")));
}

TEST_F(HeldLock, CanBeTakenTwice) {
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_OK(isrelrec(mine, 1));
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
}

TEST_F(HeldLock, IsReleasedByEveryReleasingCall) {
    const std::vector<std::pair<const char *, std::function<int()>>> calls = {
        {"isrelrec",
         [this] {
             return isrelrec(mine, 1);
         }},
        {"isrelcurr",
         [this] {
             return isrecnum = 1, isrelcurr(mine);
         }},
        {"isunlock",
         [this] {
             return isunlock(mine);
         }},
        {"isrelease",
         [this] {
             return isrelease(mine);
         }},
    };
    for (const auto &[name, call] : calls) {
        SCOPED_TRACE(name);
        EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
        EXPECT_EQ(readId(other, ISFIRST | ISLOCK), -ISERR_LOCKED);
        EXPECT_OK(call());
        EXPECT_EQ(iserrio, 0);
        EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
        EXPECT_OK(isrelrec(other, 1));
    }
}

TEST_F(HeldLock, IsReleasedByClose) {
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_OK(isclose(mine));
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
}

TEST_F(HeldLock, ReleaseOfALockNotHeldSucceeds) {
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_OK(isrelrec(other, 1));
    EXPECT_OK(isrelrec(mine, 2));
    EXPECT_OK(isrelrec(mine, 2147483647L));
    if (sizeof(long) == 8) {
        EXPECT_OK(isrelrec(mine, static_cast<long>((1LL << 32) + 1)));
    }
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), -ISERR_LOCKED);
}

TEST_F(HeldLock, ReleaseOfANumberBelowOneIsRefused) {
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_FAILS(ISERR_ARGUMENT, isrelrec(mine, 0));
    EXPECT_FAILS(ISERR_ARGUMENT, isrelrec(mine, -1));
    if (sizeof(long) == 8) {
        EXPECT_FAILS(ISERR_ARGUMENT, isrelrec(mine, static_cast<long>(-(1LL << 32) + 1)));
    }
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), -ISERR_LOCKED);
}

TEST_F(HeldLock, ReleaseWithoutACurrentRecordSucceeds) {
    isrecnum = 0;
    EXPECT_OK(isrelcurr(mine));
}

TEST_F(HeldLock, MoreThanTenAreAllKept) {
    for (long id = 4; id <= 25; ++id)
        put(mine, row(id));
    for (int i = 0; i < 25; ++i)
        EXPECT_EQ(readId(mine, (i == 0 ? ISFIRST : ISNEXT) | ISLOCK), i + 1);
    for (long id = 1; id <= 25; ++id)
        EXPECT_EQ(readId(other, ISEQUAL | ISLOCK, row(id)), -ISERR_LOCKED) << id;
    EXPECT_OK(isrelrec(mine, 13));
    EXPECT_EQ(readId(other, ISEQUAL | ISLOCK, row(13)), 13);
    EXPECT_EQ(readId(other, ISEQUAL | ISLOCK, row(14)), -ISERR_LOCKED);
}

TEST_F(HeldLock, WholeFileLockIsRefusedWhileTheOtherHandleHasARecord) {
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
    EXPECT_FAILS(ISERR_LOCKED, islock(mine));
    EXPECT_EQ(iserrio, 0);
    EXPECT_OK(isrelease(other));
    EXPECT_OK(islock(mine));
    EXPECT_OK(isunlock(mine));
}

TEST_F(HeldLock, WholeFileLockIsNoRecordLockToTheCheck) {
    EXPECT_OK(islock(mine));
    EXPECT_OK(islockcheck(mine, 1));
    EXPECT_FAILS(ISERR_NOCURRENT, isrewrite(mine, row(1, "x")));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(mine, 1));
    EXPECT_OK(isunlock(mine));
}

TEST_F(HeldLock, AutomaticLocksMoveWithTheReads) {
    EXPECT_OK(issetmode(mine, ISLOCKAUTO));
    EXPECT_EQ(readId(mine, ISFIRST), 1);
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), -ISERR_LOCKED);
    EXPECT_EQ(readId(mine, ISNEXT), 2);
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
    EXPECT_OK(isrelease(other));
    for (const auto &move :
         std::vector<std::function<int()>>{[this] { return isstart(mine, nullptr, 0, nullptr, ISFIRST); },
                                           [this] {
                                               return isgoto(mine, 3);
                                           }}) {
        EXPECT_EQ(readId(mine, ISEQUAL, row(2)), 2);
        EXPECT_EQ(readId(other, ISEQUAL | ISLOCK, row(2)), -ISERR_LOCKED);
        EXPECT_OK(move());
        EXPECT_EQ(readId(other, ISEQUAL | ISLOCK, row(2)), 2);
        EXPECT_OK(isrelease(other));
    }
}

TEST_F(HeldLock, LockFreeHandlesLockNothing) {
    EXPECT_OK(isclose(mine));
    EXPECT_OK(isclose(other));
    mine = open(ISINPUT | ISLOCKNONE);
    other = open(ISINPUT | ISLOCKNONE);
    EXPECT_OK(islock(mine));
    EXPECT_EQ(readId(mine, ISFIRST | ISLOCK), 1);
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
    EXPECT_OK(isunlock(mine));
}

TEST_F(HeldLock, TestingReadKeepsNoLock) {
    EXPECT_EQ(readId(mine, ISFIRST | ISWAIT), 1);
    EXPECT_EQ(readId(other, ISFIRST | ISLOCK), 1);
}

TEST_F(HeldLock, RefusedReadTurnsTheNextStepOn) {
    EXPECT_EQ(readId(mine, ISEQUAL | ISLOCK, row(2)), 2);
    EXPECT_EQ(readId(other, ISFIRST), 1);
    EXPECT_EQ(readId(other, ISNEXT | ISLOCK), -ISERR_LOCKED);
    EXPECT_EQ(readId(other, ISNEXT | ISLOCK), 3);
}

}  // namespace
}  // namespace api
