// Beginning and ending transactions.
#include "logs.h"

namespace api {
namespace {

class Transaction : public LogTest {};

TEST_F(Transaction, BeginTwiceIsOneTransaction) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_EQ(types(), "BU FO BW IN IN");
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{}));
    EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
}

TEST_F(Transaction, EndWithoutBeginIsRefused) {
    for (int with_log = 0; with_log < 2; ++with_log) {
        SCOPED_TRACE(with_log);
        if (with_log != 0) startLog();
        EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
        EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    }
    EXPECT_EQ(contents(log()), "");
    EXPECT_OK(isbegin());
    EXPECT_OK(iscommit());
    EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
    EXPECT_OK(isbegin());
    EXPECT_OK(isrollback());
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(types(), "BW CW BW RW");
}

TEST_F(Transaction, EndsClearTheErrorBefore) {
    startLog();
    const int fd = buildTrans();
    for (int (*const end)() : {iscommit, isrollback}) {
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(end == iscommit ? 1 : 2)));
        EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(1)));
        EXPECT_OK(end());
    }
}

TEST_F(Transaction, CommitKeepsEverything) {
    startLog();
    const int fd = buildTrans();
    putIds(fd, {1, 2, 3});
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(4, "four")));
    EXPECT_OK(isrewrite(fd, row(2, "two")));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(iscommit());
    EXPECT_EQ(idsOf(fd), (Ids{2, 3, 4}));
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(idsOf(openTrans()), (Ids{2, 3, 4}));
}

TEST_F(Transaction, ChangesAreInTheFileAtOnce) {
    startLog();
    const int fd = buildTrans();
    const int other = open();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_EQ(idsOf(other), (Ids{1}));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(other), (Ids{}));
}

TEST_F(Transaction, OnlyWhatFollowsTheBeginIsUndone) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(iscommit());
    EXPECT_OK(iswrite(fd, row(3)));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(4)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{1, 2, 3}));
}

TEST_F(Transaction, FilesWithoutTheModeTakeNoPart) {
    startLog();
    const int fd = buildTrans();
    const int plain = buildNamed(path("plain"));
    const int same = open();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrite(plain, row(2)));
    EXPECT_OK(iswrite(same, row(3)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(plain), (Ids{2}));
    EXPECT_EQ(idsOf(same), (Ids{3}));
}

TEST_F(Transaction, FilesThatAreNotLoggedTakeNoPart) {
    startLog();
    const int fd = buildTrans();
    const int quiet = buildNamed(path("quiet"), ISINOUT | ISTRANS | ISNOLOG);
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrite(quiet, row(2)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{}));
    EXPECT_EQ(idsOf(quiet), (Ids{2}));
}

TEST_F(Transaction, FileOpenBeforeTheLogTakesPart) {
    const int fd = buildTrans();
    EXPECT_OK(iswrite(fd, row(1)));
    startLog();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{1}));
}

TEST_F(Transaction, FileOpenedInsideTakesPart) {
    EXPECT_OK(isclose(fill({1})));
    startLog();
    EXPECT_OK(isbegin());
    const int fd = openTrans();
    const int built = buildTrans("built");
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(iswrite(built, row(3)));
    EXPECT_OK(isrollback());
    // Both stay open, and the file that was built stays.
    EXPECT_EQ(idsOf(fd), (Ids{1}));
    EXPECT_EQ(idsOf(built), (Ids{}));
}

TEST_F(Transaction, IndexesAndCountersAreNotUndone) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(iswrite(fd, row(1, "one")));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(2, "two")));
    add(fd, nameKey());
    EXPECT_OK(iswrite(fd, row(3, "three")));
    EXPECT_OK(issetunique(fd, 50));
    EXPECT_OK(isdelete(fd, row(1)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(indexCount(fd), 2);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{1}));
    EXPECT_EQ(idsBy(fd, idKey()), (Ids{1}));
    long id = 0;
    EXPECT_OK(isuniqueid(fd, &id));
    EXPECT_EQ(id, 50);
}

TEST_F(Transaction, EmptyOneChangesNothing) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(iswrite(fd, row(1)));
    const Image before = imageOf(base());
    EXPECT_OK(isbegin());
    EXPECT_OK(isrollback());
    EXPECT_OK(isbegin());
    EXPECT_OK(iscommit());
    EXPECT_TRUE(imageOf(base()) == before);
    int mode = 0;
    EXPECT_OK(isgetmode(fd, &mode));
    EXPECT_EQ(mode & ISNOLOG, 0);
}

}  // namespace
}  // namespace api
