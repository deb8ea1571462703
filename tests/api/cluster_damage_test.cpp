// Clustering a damaged file fails, and leaves it as it was.
#include "cluster_damage.h"

namespace api {
namespace {

class ClusterDamaged : public DamageTest {
  protected:
    void expectStopped(int fd, KeyDesc key) {
        const Image before = imageOf(base());
        const int descriptors = openDescriptors();
        isrecnum = 55;
        isreclen = 56;
        EXPECT_FAILS(ISERR_CORRUPT, iscluster(fd, &key));
        EXPECT_EQ(iserrio, 0);
        EXPECT_EQ(isrecnum, 55);
        EXPECT_EQ(isreclen, 56);
        EXPECT_TRUE(imageOf(base()) == before);
        EXPECT_EQ(namesIn(directory()), (std::vector<std::string>{"file.dat", "file.idx"}));
        EXPECT_EQ(openDescriptors(), descriptors);
        EXPECT_EQ(*is_errno(fd), ISERR_CORRUPT);
        // The handle goes on.
        EXPECT_OK(isindex(fd, 0, 0));
        EXPECT_EQ(take(fd, ISLAST).substr(0, 4), std::string(row(1).bytes, 4));
        EXPECT_OK(isuserinfo(fd, 1, row(5)));
        EXPECT_OK(isclose(fd));
    }
    int exclusive() { return makeDamaged(ISLOCKEXCL); }
};

TEST_P(ClusterDamaged, ById) {
    const int fd = exclusive();
    ASSERT_GE(fd, 0);
    expectStopped(fd, id);
}

// By number the records are there all the same, and the indexes are made anew: clustering mends them.
TEST_P(ClusterDamaged, ByNumber) {
    const int fd = exclusive();
    ASSERT_GE(fd, 0);
    if (GetParam().byNumber >= 0) {
        expectStopped(fd, number);
        return;
    }
    const int done = iscluster(fd, &number);
    EXPECT_GE(done, 0) << iserrno;
    EXPECT_EQ(intact(base()).size(), static_cast<std::size_t>(GetParam().found));
    expectWhole(done, base());
}

INSTANTIATE_TEST_SUITE_P(Damages, ClusterDamaged, testing::ValuesIn(fileDamages()), fileDamageName);

}  // namespace
}  // namespace api
