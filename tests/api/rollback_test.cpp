// Rolling back: what each kind of change leaves behind.
#include "logs.h"

#include <random>

namespace api {
namespace {

class Rollback : public LogTest {
  protected:
    int fd = -1;
    // Records 1 to 3, in three indexes.
    void SetUp() override {
        startLog();
        fd = buildTrans();
        add(fd, nameKey(ISNODUPS));
        add(fd, groupKey());
        put(fd, row(10, "ten", 3, "first"));
        put(fd, row(20, "twenty", 2, "second"));
        put(fd, row(30, "thirty", 1, "third"));
        EXPECT_OK(isrelease(fd));
        before = all();
        EXPECT_OK(isbegin());
    }
    std::vector<Records> all() {
        std::vector<Records> found = {allBy(fd, nameKey()), allBy(fd, groupKey()), allBy(fd, noKey())};
        found.push_back(allBy(fd, idKey()));
        return found;
    }
    void expectAsBefore() {
        EXPECT_OK(isrollback());
        EXPECT_EQ(all(), before);
    }
    std::vector<Records> before;
};

TEST_F(Rollback, AddedRecordsGo) {
    EXPECT_OK(iswrite(fd, row(40, "forty", 4)));
    EXPECT_OK(iswrlock(fd, row(5, "five", 5)));
    EXPECT_OK(iswrcurr(fd, row(15, "fifteen", 5)));
    expectAsBefore();
    EXPECT_EQ(recordCount(fd), 3);
}

TEST_F(Rollback, RemovedRecordsComeBackUnderTheirNumbers) {
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_OK(isdelcurr(fd));
    expectAsBefore();
}

TEST_F(Rollback, ReplacedRecordsGetTheirOldKeysAndBytes) {
    EXPECT_OK(isrewrite(fd, row(20, "zwanzig", 9, "new")));
    EXPECT_OK(isrewrec(fd, 1, row(99, "a", 8, "other")));
    EXPECT_OK(isgoto(fd, 3));
    EXPECT_OK(isrewcurr(fd, row(1, "b", 7)));
    EXPECT_OK(isrewnxt(fd, row(2, "c", 7)));
    expectAsBefore();
}

TEST_F(Rollback, OneRecordChangedAgainAndAgain) {
    EXPECT_OK(iswrite(fd, row(40, "a", 1)));
    for (int step = 0; step < 20; ++step)
        EXPECT_OK(isrewrec(fd, 4, row(41 + step, std::to_string(step), step)));
    EXPECT_OK(isdelrec(fd, 4));
    EXPECT_OK(iswrite(fd, row(40, "again", 1)));
    EXPECT_OK(isrewrite(fd, row(40, "and again", 2)));
    expectAsBefore();
}

TEST_F(Rollback, KeysThatMovedFromRecordToRecordGoBack) {
    EXPECT_OK(isdelete(fd, row(10)));
    EXPECT_OK(iswrite(fd, row(10, "ten", 77, "another one")));
    EXPECT_OK(isrewrec(fd, 2, row(25, "x", 2)));
    EXPECT_OK(iswrite(fd, row(20, "twenty", 5)));
    EXPECT_OK(isrewrec(fd, 3, row(31, "y", 1)));
    EXPECT_OK(isrewrec(fd, 2, row(30, "thirty", 1)));
    expectAsBefore();
}

TEST_F(Rollback, EmptiedFileIsFullAgain) {
    for (long number = 1; number <= 3; ++number)
        EXPECT_OK(isdelrec(fd, number));
    expectAsBefore();
    EXPECT_EQ(recordCount(fd), 3);
}

TEST_F(Rollback, ManyChangesAreUndoneThroughManyNodes) {
    std::mt19937 random(7);
    for (long id = 1000; id < 1400; ++id)
        ASSERT_OK(iswrite(fd, row(id, std::to_string(id), static_cast<int>(random() % 20))));
    for (int step = 0; step < 600; ++step) {
        const long id = 1000 + static_cast<long>(random() % 400);
        Row got = row(id);
        switch (random() % 3) {
        case 0:
            if (isdelete(fd, row(id)) == 0) break;
            ASSERT_OK(iswrite(fd, row(id, std::to_string(id), static_cast<int>(random() % 20))));
            break;
        default:
            if (isread(fd, got, ISEQUAL) == 0)
                ASSERT_OK(isrewcurr(fd, row(id, "r" + std::to_string(step), static_cast<int>(random() % 20))));
        }
    }
    expectAsBefore();
}

TEST_F(Rollback, HandleThatOnlyWritesIsUndoneToo) {
    EXPECT_OK(isrollback());
    const int writer = isopen(base(), ISOUTPUT | ISTRANS);
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(writer, row(40, "forty", 4)));
    EXPECT_OK(isrewrite(writer, row(10, "x", 5)));
    EXPECT_OK(isdelete(writer, row(20)));
    expectAsBefore();
    EXPECT_TRUE(lockable(fd, 1));
}

TEST_F(Rollback, LockCheckDoesNotStandInTheWay) {
    EXPECT_OK(islockcheck(fd, 1));
    Row got = row(20);
    EXPECT_OK(isread(fd, got, ISEQUAL | ISLOCK));
    EXPECT_OK(isrewcurr(fd, row(20, "new", 2)));
    EXPECT_OK(iswrite(fd, row(40, "forty", 4)));
    EXPECT_OK(isdelete(fd, row(40)));
    EXPECT_OK(isread(fd, got, ISEQUAL | ISLOCK));
    EXPECT_OK(isdelcurr(fd));
    expectAsBefore();
    // It is on again.
    EXPECT_OK(isrelease(fd));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelrec(fd, 1));
}

TEST_F(Rollback, RecordsOfAPreciousFileComeBackUnderNewNumbers) {
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isrollback());
    EXPECT_EQ(allBy(fd, idKey()), before.back());
    EXPECT_EQ(takeNumber(fd, 2), error(ISERR_NOTFOUND));
    EXPECT_EQ(takeNumber(fd, 4), rec(row(20, "twenty", 2, "second")));
}

TEST_F(Rollback, RecordRewrittenAndRemovedInAPreciousFileIsAsBefore) {
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isrewrec(fd, 2, row(25, "new", 5)));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(isrollback());
    EXPECT_EQ(allBy(fd, idKey()), before.back());
}

TEST_F(Rollback, NumberTakenByAnotherHandleIsNotOverwritten) {
    const int other = open();
    EXPECT_OK(isrewrec(fd, 2, row(25, "new", 5)));
    EXPECT_OK(isdelrec(fd, 2));
    EXPECT_OK(iswrite(other, row(50, "mine", 1)));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_OK(isrollback());
    Records expected = before.back();
    expected.push_back(rec(row(50, "mine", 1)));
    EXPECT_EQ(allBy(fd, idKey()), expected);
    EXPECT_EQ(takeNumber(fd, 2), rec(row(50, "mine", 1)));
}

TEST_F(Rollback, FileWithoutPrimaryKey) {
    EXPECT_OK(isrollback());
    const int plain = buildNamed(path("plain"), ISINOUT | ISTRANS, noKey());
    for (const long id : {3, 1, 2})
        put(plain, row(id));
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrec(plain, 1, row(9)));
    EXPECT_OK(iswrite(plain, row(8)));
    EXPECT_OK(isdelrec(plain, 2));
    EXPECT_EQ(idsOf(plain), (Ids{9, 2, 8}));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(plain), (Ids{3, 1, 2}));
}

TEST_F(Rollback, NullKeysStayOut) {
    EXPECT_OK(isrollback());
    const int nulls = buildTrans("nulls");
    KeyDesc name = keyDesc(ISDUPS | ISNULLKEY, {{kNameAt, kNameLen, CHARTYPE, ' '}});
    add(nulls, name);
    put(nulls, row(1));
    put(nulls, row(2, "b"));
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrite(nulls, row(1, "a")));
    EXPECT_OK(isrewrite(nulls, row(2)));
    EXPECT_OK(isdelete(nulls, row(1)));
    EXPECT_OK(iswrite(nulls, row(3)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsBy(nulls, name), (Ids{2}));
    EXPECT_EQ(idsBy(nulls, idKey()), (Ids{1, 2}));
}

}  // namespace
}  // namespace api
