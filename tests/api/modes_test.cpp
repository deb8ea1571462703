// What modes mean to the system.

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

}  // namespace
}  // namespace api
