// Reading: the record delivered, positions among other changes, partial keys per index.

#include "api_test.h"

namespace api {
namespace {

class Read : public ApiTest {
  protected:
    // Reads and returns the id, or minus the error code.
    long get(int fd, int mode, Row key = row(0)) {
        const int result = isread(fd, key, mode);
        if (result != 0) return -iserrno;
        EXPECT_EQ(iserrno, 0);
        EXPECT_EQ(isreclen, kRowLen);
        return key.id();
    }
    void start(int fd, KeyDesc key, int length, int mode, Row record = row(0)) {
        EXPECT_OK(isstart(fd, &key, length, record, mode));
    }
};

TEST_F(Read, WholeRecordIsDelivered) {
    const int fd = build();
    EXPECT_OK(iswrite(fd, row(1, "name", 3, "note")));
    Row got;
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_EQ(got.id(), 1);
    EXPECT_EQ(got.name(), "name");
    EXPECT_EQ(got.group(), 3);
    EXPECT_EQ(got.note(), "note");
}

TEST_F(Read, DeletedPositionAndANewRecordBehindItAreBothSeenInOrder) {
    const int fd = fill({10, 20, 30});
    EXPECT_EQ(get(fd, ISEQUAL, row(20)), 20);
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(iswrite(fd, row(99)));  // takes the deleted record's number
    EXPECT_OK(iswrite(fd, row(25)));
    EXPECT_EQ(get(fd, ISNEXT), 25);
    EXPECT_EQ(get(fd, ISNEXT), 30);
}

TEST_F(Read, OtherFailuresKeepThePosition) {
    const int fd = fill({1, 2, 3});
    EXPECT_EQ(get(fd, ISEQUAL, row(2)), 2);
    Row got;
    EXPECT_FAILS(ISERR_ARGUMENT, isread(fd, nullptr, ISNEXT));
    EXPECT_FAILS(ISERR_ARGUMENT, isdata(fd, got, 99));
    EXPECT_FAILS(ISERR_NOTFOUND, isgoto(fd, 99));
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(1)));
    EXPECT_FAILS(ISERR_NOTFOUND, isdelete(fd, row(77)));
    EXPECT_EQ(get(fd, ISCURR), 2);
    EXPECT_EQ(get(fd, ISNEXT), 3);
}

TEST_F(Read, PrefixIsKeptPerIndex) {
    const int fd = build();
    for (int id = 1; id <= 3; ++id)
        EXPECT_OK(iswrite(fd, row(id, id == 2 ? "abx" : "aby")));
    KeyDesc key = nameKey();
    EXPECT_OK(isaddindex(fd, &key));
    start(fd, key, 2, ISFIRST);
    start(fd, idKey(), 0, ISFIRST);
    EXPECT_EQ(get(fd, ISEQUAL, row(3)), 3);
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(get(fd, ISEQUAL, row(0, "abz")), 2);
}

TEST_F(Read, ReadFlagsAreRefusedWithoutRecords) {
    const int fd = build(ISINOUT, idKey(), 0);
    isrecnum = 1;
    EXPECT_OK(iswrite(fd, row(1)));
    for (const int flags : {ISLOCK, ISWAIT, ISLOCK | ISWAIT, ISSKIPLOCK})
        EXPECT_EQ(get(fd, ISFIRST | flags), -ISERR_ARGUMENT) << flags;
    Row got;
    EXPECT_OK(isread(fd, got, ISFIRST));
    EXPECT_EQ(isreclen, 0);
}

TEST_F(Read, LargeFileReadsBothWaysAndByKey) {
    const int fd = build();
    for (long i = 0; i < 3000; ++i)
        ASSERT_OK(iswrite(fd, row(i * 7919 % 3001 * 2)));
    const Ids up = idsOf(fd);
    ASSERT_EQ(up.size(), 3000U);
    EXPECT_TRUE(std::is_sorted(up.begin(), up.end()));
    Ids down = idsOf(fd, ISLAST);
    std::reverse(down.begin(), down.end());
    EXPECT_EQ(up, down);
    for (const long id : {up[0], up[1500], up[2999]}) {
        EXPECT_EQ(get(fd, ISEQUAL, row(id)), id);
        EXPECT_EQ(get(fd, ISGTEQ, row(id - 1)), id);
        EXPECT_EQ(get(fd, ISEQUAL, row(id - 1)), -ISERR_NOTFOUND);
    }
}

}  // namespace
}  // namespace api
