// Handles that are no longer logged because changes were undone through them.
#include "logs.h"

namespace api {
namespace {

class Unlogged : public LogTest {
  protected:
    static bool logged(int fd) {
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        return (mode & ISNOLOG) == 0;
    }
    // A handle through which a change of record 1 was undone.
    int undone() {
        startLog();
        const int fd = buildTrans();
        putIds(fd, {10, 20});
        EXPECT_OK(isrelease(fd));
        EXPECT_OK(isbegin());
        EXPECT_OK(isrewrite(fd, row(10, "new")));
        EXPECT_OK(isrollback());
        return fd;
    }
};

TEST_F(Unlogged, EachKindOfUndoSetsTheBit) {
    startLog();
    const struct {
        const char *name;
        int (*change)(int fd);
    } cases[] = {{"added",
                  [](int fd) {
                      return iswrite(fd, row(30));
                  }},
                 {"removed",
                  [](int fd) {
                      return isdelete(fd, row(10));
                  }},
                 {"replaced", [](int fd) {
                      return isrewrite(fd, row(10, "x"));
                  }}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        const int fd = buildTrans(c.name);
        putIds(fd, {10, 20});
        EXPECT_OK(isbegin());
        EXPECT_OK(c.change(fd));
        EXPECT_TRUE(logged(fd));
        EXPECT_OK(isrollback());
        EXPECT_FALSE(logged(fd));
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        EXPECT_EQ(mode, ISINOUT | ISTRANS | ISNOLOG | ISLOCKMANUAL);
    }
}

TEST_F(Unlogged, OnlyTheHandlesThatUndidAreConcerned) {
    startLog();
    const int fd = buildTrans(), second = openTrans(), plain = open(), other = buildTrans("other");
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iswrite(plain, row(2)));
    EXPECT_OK(isrollback());
    EXPECT_FALSE(logged(fd));
    EXPECT_TRUE(logged(second));
    EXPECT_TRUE(logged(plain));
    EXPECT_TRUE(logged(other));
}

TEST_F(Unlogged, CommitLeavesTheHandleLogged) {
    startLog();
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(iscommit());
    EXPECT_TRUE(logged(fd));
}

TEST_F(Unlogged, LaterChangesAndTheCloseAreNotLogged) {
    const int fd = undone();
    const std::string before = contents(log());
    EXPECT_OK(iswrite(fd, row(30)));
    EXPECT_OK(isrewrite(fd, row(10, "x")));
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(issetunique(fd, 9));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(contents(log()), before);
}

TEST_F(Unlogged, LaterChangesTakeNoPartInTransactions) {
    const int fd = undone();
    const int other = open();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(30)));
    EXPECT_OK(isrewrite(fd, row(10, "x")));
    EXPECT_TRUE(lockable(other, 1));
    EXPECT_TRUE(lockable(other, 3));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20, 30}));
    EXPECT_EQ(take(fd, ISEQUAL, row(10)), rec(row(10, "x")));
    EXPECT_EQ(types(), "BU FO IN IN BW UP RW FO BW RW");
}

TEST_F(Unlogged, OpenedAnewTheFileIsLoggedAgain) {
    int fd = undone();
    EXPECT_OK(isclose(fd));
    fd = openTrans();
    EXPECT_TRUE(logged(fd));
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(30)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(fd), (Ids{10, 20}));
    EXPECT_EQ(types(), "BU FO IN IN BW UP RW FO BW IN RW");
}

TEST_F(Unlogged, AnotherLogChangesNothing) {
    const int fd = undone();
    EXPECT_OK(islogclose());
    EXPECT_OK(islogopen(path("other").c_str()));
    EXPECT_OK(iswrite(fd, row(30)));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(contents(path("other")), "");
}

TEST_F(Unlogged, ClosedAndOpenedInTheNextTransactionItIsAnotherHandle) {
    const int fd = undone();
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(fd));
    const int again = openTrans();
    EXPECT_TRUE(logged(again));
    EXPECT_OK(iswrite(again, row(30)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(again), (Ids{10, 20}));
}

}  // namespace
}  // namespace api
