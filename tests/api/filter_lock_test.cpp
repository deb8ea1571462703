// A read that locks and goes on after records that the filter rejects locks what it returns.
#include "steps.h"

namespace api {
namespace {

int twoAlone(int, char *record, int) { return ldlong(record) == 2 ? 1 : 0; }

struct Way {
    const char *name;
    int mode;
    long id;  // of the key looked for
};

class FilterLock : public ApiTest, public testing::WithParamInterface<Way> {};

TEST_P(FilterLock, RecordReturnedIsLocked) {
    const int fd = fill({1, 2, 3}), other = open();
    ASSERT_EQ(isfilter(fd, twoAlone), 0);
    Row got = row(GetParam().id);
    ASSERT_OK(isread(fd, got, GetParam().mode | ISLOCK));
    EXPECT_EQ(got.id(), 2);
    EXPECT_FAILS(ISERR_LOCKED, isread(other, row(2), ISEQUAL | ISLOCK));
}

INSTANTIATE_TEST_SUITE_P(Ways, FilterLock,
                         testing::Values(Way{"Forwards", ISFIRST, 0}, Way{"Backwards", ISLAST, 0},
                                         Way{"FromAKey", ISGTEQ, 1}),
                         [](const auto &info) { return info.param.name; });

}  // namespace
}  // namespace api
