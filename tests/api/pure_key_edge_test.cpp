// Files of keys without records: calls whose work is all about records have nothing to do in them.
#include "steps.h"

#include "../support/damage.h"

namespace api {
namespace {

class PureKeyEdge : public ApiTest {
  protected:
    int make(std::initializer_list<long> ids) {
        const int fd = build(ISINOUT, idKey(), 0);
        for (const long id : ids) {
            isrecnum = 100 + id;
            EXPECT_OK(iswrite(fd, row(id)));
        }
        return fd;
    }
};

TEST_F(PureKeyEdge, PreciousChangesNoList) {
    const int fd = make({1, 2, 3});
    EXPECT_OK(isprecious(fd, 1));
    EXPECT_OK(isdelete(fd, row(2)));
    EXPECT_OK(isprecious(fd, 0));
    EXPECT_EQ(idsOf(fd), (Ids{1, 3}));
    EXPECT_EQ(ischeckindex(fd, 1), 0);
}

TEST_F(PureKeyEdge, RecordNumbersHaveThirtyOneBits) {
    const int fd = make({});
    isrecnum = 0x7fffffff;
    EXPECT_OK(iswrite(fd, row(1)));
    if constexpr (sizeof(long) > 4) {
        isrecnum = static_cast<long>(0x80000000U);
        EXPECT_FAILS(ISERR_ARGUMENT, iswrite(fd, row(2)));
    }
    EXPECT_EQ(readId(fd, ISFIRST), 1);
    EXPECT_EQ(isrecnum, 0x7fffffff);
    EXPECT_EQ(idsOf(fd), Ids{1});
}

// A catalogue that has lost its index: there is an order no more, and nothing to find.
TEST_F(PureKeyEdge, WithoutItsIndexHasNothing) {
    EXPECT_OK(isclose(make({1, 2})));
    dontCheck();
    testing_support::Damage damage(base());
    damage.header(testing_support::field::kDescription, 0);
    const int fd = open();
    if (fd < 0) {
        EXPECT_EQ(iserrno, ISERR_CORRUPT);
        return;
    }
    Row got;
    EXPECT_EQ(isread(fd, got, ISFIRST), -1);
    EXPECT_EQ(isread(fd, got, ISEQUAL), -1);
    EXPECT_FAILS(ISERR_NOCURRENT, isrewcurr(fd, row(3)));
    EXPECT_FAILS(ISERR_NOCURRENT, isdelcurr(fd));
    EXPECT_OK(isclose(fd));
}

}  // namespace
}  // namespace api
