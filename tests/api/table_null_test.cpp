// Null pointers where a call needs something to point to.
#include "table.h"

#include "isam_maint.h"

#include <cerrno>

namespace api {
namespace {

using TableNulls = Bench;

TEST_F(TableNulls, AreRefusedAndChangeNothing) {
    layBeside();
    const int fd = usual();
    for (const Null &row : wholeTable().nulls) {
        SCOPED_TRACE(std::string(row.name) + ": " + row.argument);
        const Image before = imageOf(base());
        const long at = position(fd);
        prime();
        EXPECT_EQ(row.run(fd), -1);
        EXPECT_EQ(globals(), (Globals{row.code, row.clears ? 0 : kPrimed.io, kPrimed.recnum, kPrimed.reclen}));
        if (row.changes) continue;
        EXPECT_TRUE(imageOf(base()) == before);
        EXPECT_EQ(position(fd), at);
    }
    EXPECT_FALSE(exists(beside().fresh + ".idx"));
}

// Pointers that may be null.
TEST_F(TableNulls, AreTakenWhereTheyHaveAMeaning) {
    layBeside();
    const int fd = usual();
    EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
    EXPECT_OK(isaudit(fd, std::string("trail").data(), ISAUDSETNAME));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTART));
    EXPECT_OK(isaudit(fd, nullptr, ISAUDSTOP));
    EXPECT_EQ(isfilter(fd, nullptr), 0);
    EXPECT_EQ(isTxnInit(nullptr), 1);
    isfatal(nullptr);
    EXPECT_OK(iscopy(beside().fd, fd, nullptr));
    EXPECT_EQ(ischeckvarlen(fd, nullptr), 0);
}

TEST_F(TableNulls, HandleOfNoneHasNoResultsAndIsNotRebuilt) {
    prime();
    errno = 4711;
    EXPECT_EQ(isErrno(nullptr), 4711);
    EXPECT_EQ(isErrio(nullptr), 0);
    EXPECT_EQ(isRecnum(nullptr), -1);
    EXPECT_EQ(isReclen(nullptr), -1);
    EXPECT_EQ(isRebuildFree(nullptr, ISFREE_DATA), 0);
    EXPECT_EQ(isErrno(nullptr), ISERR_NOTOPEN);
    errno = 0;
    EXPECT_EQ(isRebuildIdx(nullptr, 1), 0);
    EXPECT_EQ(isErrno(nullptr), ISERR_NOTOPEN);
    EXPECT_EQ(globals(), kPrimed);
}

}  // namespace
}  // namespace api
