// What a file tells of itself, and plain looks into a handle.
#include "steps.h"

#include <sys/stat.h>

namespace api {
namespace {

using Description = ApiTest;

TEST_F(Description, CountsIndexesBytesAndRecords) {
    const int fd = build(ISINOUT, idKey(), 100);
    add(fd, nameKey());
    for (int id = 1; id <= 5; ++id) {
        std::string record(100, ' ');
        stlong(id, record.data());
        EXPECT_OK(iswrite(fd, record.data()));
    }
    EXPECT_OK(isdelrec(fd, 2));
    DictInfo info{};
    iserrio = 77;
    isreclen = 8;
    EXPECT_EQ(isisaminfo(fd, &info), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(iserrio, 0);
    EXPECT_EQ(isreclen, 8);
    EXPECT_EQ(info.keyCount, 2);
    EXPECT_EQ(info.recordLength, 100);
    EXPECT_EQ(info.nodeSize, 1024);
    EXPECT_EQ(info.recordCount, 4);
    DictInfo again{};
    EXPECT_OK(isindexinfo(fd, &again, 0));
    EXPECT_EQ(std::memcmp(&info, &again, sizeof info), 0);
}

TEST_F(Description, LengthsAbove32767AreWhole) {
    const int fd = build(ISINOUT, idKey(), 65535);
    DictInfo info{};
    EXPECT_OK(isisaminfo(fd, &info));
    EXPECT_EQ(info.recordLength, 65535);
}

TEST_F(Description, FirstIndexIsThePrimaryKeyAsBuilt) {
    const KeyDesc key = keyDesc(ISNODUPS | ISLEADCOMP, {{0, 4, LONGTYPE | ISDESC}, {kNameAt, 3}});
    const int fd = build(ISINOUT, key);
    KeyDesc got;
    std::memset(&got, 0x55, sizeof got);
    EXPECT_OK(isindexinfo(fd, &got, 1));
    EXPECT_TRUE(testing_support::sameKeyDesc(got, key));
    EXPECT_EQ(got.keyLength, 7);
}

TEST_F(Description, IndexNumbersOutOfRangeAreRefused) {
    const int fd = build();
    add(fd, nameKey());
    KeyDesc got = groupKey();
    for (const int index : {-1, 3, 9, 10, 0x7fffffff}) {
        EXPECT_FAILS(ISERR_ARGUMENT, isindexinfo(fd, &got, index)) << index;
        EXPECT_EQ(iserrio, 0);
    }
    EXPECT_TRUE(testing_support::sameKeyDesc(got, groupKey()));
}

TEST_F(Description, SeesWhatOtherHandlesDid) {
    const int fd = fill({1});
    const int other = open();
    putIds(other, {2, 3});
    EXPECT_EQ(recordCount(fd), 3);
    EXPECT_OK(isdelrec(other, 1));
    EXPECT_EQ(recordCount(fd), 2);
}

TEST_F(Description, LooksShowTheHandle) {
    const int fd = fill({1, 2});
    EXPECT_STREQ(isqv_name(fd), base());
    EXPECT_EQ(isqv_datlen(fd), kRowLen);
    EXPECT_EQ(isqv_curidx(fd), 0);
    struct stat by_handle, by_name;
    ASSERT_EQ(fstat(isqv_idxfd(fd), &by_handle), 0);
    ASSERT_EQ(stat(path("file.idx").c_str(), &by_name), 0);
    EXPECT_EQ(by_handle.st_ino, by_name.st_ino);
    ASSERT_EQ(fstat(isqv_datfd(fd), &by_handle), 0);
    ASSERT_EQ(stat(path("file.dat").c_str(), &by_name), 0);
    EXPECT_EQ(by_handle.st_ino, by_name.st_ino);
    ASSERT_NE(isqv_kdsc(fd), nullptr);
    EXPECT_TRUE(testing_support::sameKeyDesc(*isqv_kdsc(fd), idKey()));
}

TEST_F(Description, LooksFollowTheCurrentIndex) {
    const int fd = fill({1, 2});
    add(fd, nameKey());
    EXPECT_OK(isindex(fd, 2, 0));
    EXPECT_EQ(isqv_curidx(fd), 1);
    ASSERT_NE(isqv_kdsc(fd), nullptr);
    EXPECT_TRUE(testing_support::sameKeyDesc(*isqv_kdsc(fd), nameKey()));
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_EQ(isqv_curidx(fd), 2);
    EXPECT_EQ(isqv_kdsc(fd), nullptr);
    EXPECT_EQ(isseekey(fd), nullptr);
}

TEST_F(Description, LooksSetNoGlobals) {
    const int fd = fill({1, 2});
    iserrno = iserrio = 77;
    isrecnum = 76;
    isreclen = 75;
    isqv_name(fd);
    isqv_datlen(fd);
    isqv_curidx(fd);
    isqv_idxfd(fd);
    isqv_datfd(fd);
    isqv_kdsc(fd);
    is_recnum(fd);
    is_reclen(fd);
    is_errno(fd);
    is_errio(fd);
    isseekey(fd);
    EXPECT_EQ(issetmask(fd, 3), 0);
    EXPECT_EQ(isgetmask(fd), 3);
    EXPECT_EQ(isflush(fd), 0);
    EXPECT_EQ(iserrno, 77);
    EXPECT_EQ(iserrio, 77);
    EXPECT_EQ(isrecnum, 76);
    EXPECT_EQ(isreclen, 75);
}

TEST_F(Description, ResultsOfAHandleAreItsOwn) {
    const int fd = fill({1, 2});
    const int other = open();
    EXPECT_EQ(readId(fd, ISLAST), 2);
    EXPECT_EQ(readId(other, ISEQUAL, row(9)), -ISERR_NOTFOUND);
    EXPECT_EQ(*is_recnum(fd), 2);
    EXPECT_EQ(*is_reclen(fd), kRowLen);
    EXPECT_EQ(*is_errno(fd), 0);
    EXPECT_EQ(*is_errio(fd), 0);
    EXPECT_EQ(*is_errno(other), ISERR_NOTFOUND);
    EXPECT_NE(is_errno(fd), is_errno(other));
}

TEST_F(Description, KeyAtThePosition) {
    const int fd = fill({0x01020304, 5});
    EXPECT_EQ(readId(fd, ISLAST), 0x01020304);
    ASSERT_NE(isseekey(fd), nullptr);
    EXPECT_EQ(std::memcmp(isseekey(fd), "\1\2\3\4", 4), 0);
    EXPECT_EQ(readId(fd, ISPREV), 5);
    EXPECT_EQ(std::memcmp(isseekey(fd), "\0\0\0\5", 4), 0);
}

}  // namespace
}  // namespace api
