// A rollback puts records back under other numbers where somebody has taken or freed numbers meanwhile.
#include "steps.h"

namespace api {
namespace {

class RollbackMoves : public ApiTest {
  protected:
    ~RollbackMoves() override {
        iscleanup();
        islogclose();
    }
    static std::string nameOf(int fd, long id) {
        Row got = row(id);
        return isread(fd, got, ISEQUAL) == 0 ? got.name() : "none";
    }
};

TEST_F(RollbackMoves, NumberThatComesBackAfterAMoveIsItself) {
    ASSERT_OK(islogopen(path("log").c_str()));
    const int fd = build(ISINOUT | ISTRANS), other = open();
    for (long id = 1; id <= 9; ++id)
        put(fd, row(id, "old"));

    ASSERT_OK(isrelease(fd));

    ASSERT_OK(isbegin());
    ASSERT_OK(isrewrec(fd, 5, row(5, "new")));
    ASSERT_OK(isdelrec(fd, 5));
    ASSERT_OK(isdelrec(fd, 8));
    EXPECT_EQ(put(other, row(80, "other")), 8);
    EXPECT_EQ(put(fd, row(50, "new")), 5);
    ASSERT_OK(isdelrec(fd, 5));
    ASSERT_OK(isdelrec(other, 7));
    // 50 comes back as 7 and goes again, 8 comes back as 7, and 5 as itself.
    ASSERT_OK(isrollback());

    EXPECT_EQ(idsOf(fd), (Ids{1, 2, 3, 4, 5, 6, 8, 9, 80}));
    for (const long id : {1L, 2L, 3L, 4L, 5L, 6L, 8L, 9L})
        EXPECT_EQ(nameOf(fd, id), "old") << id;
    EXPECT_EQ(nameOf(fd, 80), "other");
}

}  // namespace
}  // namespace api
