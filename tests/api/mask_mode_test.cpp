// What a file's masks do not depend on: the mode it is opened with or set to, and the sign of the highest bit.
#include "steps.h"

namespace api {
namespace {

class MaskMode : public ApiTest {
  protected:
    static bool hasMasks(int fd) {
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        return (mode & ISMASK) != 0;
    }
};

TEST_F(MaskMode, HighestBitComesBackWithoutASign) {
    const unsigned long highest = 0x80000000UL;
    const int fd = build(ISINOUT | ISMASK);
    ASSERT_EQ(issetmask(fd, static_cast<long>(highest)), 0);
    EXPECT_EQ(static_cast<unsigned long>(isgetmask(fd)), highest);
    put(fd, row(1));
    issetmask(fd, 0);
    EXPECT_OK(isread(fd, row(0), ISFIRST));
    EXPECT_EQ(static_cast<unsigned long>(isgetmask(fd)), highest);
}

TEST_F(MaskMode, FileWithoutMasksHasNoneWhateverItIsOpenedWith) {
    ASSERT_OK(isclose(fill({1, 2})));
    const int fd = open(ISINOUT | ISMASK);
    EXPECT_FALSE(hasMasks(fd));
    EXPECT_EQ(put(fd, row(3)), 3);
    EXPECT_EQ(idsOf(fd), (Ids{1, 2, 3}));
}

TEST_F(MaskMode, StaysWhenTheModeIsSet) {
    const int masked = build(ISINOUT | ISMASK), plain = buildNamed(path("plain"));
    ASSERT_OK(issetmode(masked, ISLOCKMANUAL));
    EXPECT_TRUE(hasMasks(masked));
    ASSERT_OK(issetmode(plain, ISLOCKMANUAL | ISMASK));
    EXPECT_FALSE(hasMasks(plain));
}

}  // namespace
}  // namespace api
