// What modes mean to the system, and refused variable lengths.

#include "api_test.h"

#include <fcntl.h>

#include <cerrno>

namespace api {
namespace {

using Modes = ApiTest;

TEST_F(Modes, LockModeIsAddedToTheLowBits) {
    EXPECT_OK(isclose(fill({1})));
    const int fd = open(ISINPUT);
    EXPECT_FAILS(ISERR_ARGUMENT, iswrite(fd, row(2)));
    EXPECT_OK(issetmode(fd, ISLOCKMANUAL + ISINOUT));
    EXPECT_OK(iswrite(fd, row(2)));
}

TEST_F(Modes, SystemDescriptorsAreReadWriteEvenForInputAndReadOnlyWithoutLocks) {
    EXPECT_OK(isclose(build()));
    int fd = open(ISINPUT);
    EXPECT_EQ(fcntl(isqv_idxfd(fd), F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_EQ(fcntl(isqv_datfd(fd), F_GETFL) & O_ACCMODE, O_RDWR);
    EXPECT_OK(isclose(fd));
    fd = open(ISINOUT | ISLOCKNONE);
    EXPECT_EQ(fcntl(isqv_idxfd(fd), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(isqv_datfd(fd), F_GETFL) & O_ACCMODE, O_RDONLY);
}

TEST_F(Modes, BuiltWithoutLocksTheFilesTakeNoRecords) {
    const int fd = build(ISINOUT | ISLOCKNONE);
    EXPECT_EQ(iswrite(fd, row(1)), -1);
    EXPECT_EQ(iserrno, EBADF);
    EXPECT_EQ(iserrio & 0xf0, 0x50);
    EXPECT_EQ(idsOf(fd), (Ids{}));
}

TEST_F(Modes, TooLongOrInvertedVariableLengthsAreRefused) {
    const struct {
        int minimum, maximum;
    } cases[] = {{10, 32512}, {10, 40000}, {200, 200}, {201, 200}, {0, 200}, {-1, 200}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.maximum);
        KeyDesc key = keyDesc(0, {{0, 4}});
        isreclen = c.minimum;
        EXPECT_FAILS(ISERR_ARGUMENT, isbuild(base(), c.maximum, &key, ISINOUT | ISVARLEN));
        EXPECT_FAILS(ISERR_ARGUMENT, isvbuild(base(), c.minimum, c.maximum, &key, ISINOUT | ISVARLEN));
        EXPECT_FALSE(exists(path("file.idx")));
    }
}

}  // namespace
}  // namespace api
