// A node of tails whose link leads to itself: the search for room ends.

#include <fcntl.h>
#include <unistd.h>

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kFixed = 20, kMaximum = 400;
constexpr int kHeads = 61, kPrevious = 8, kFree = 12, kSecondsAtMost = 20;

TEST(BucketCircle, EndsTheSearchForRoomAsDamage) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(4);
    const int fd = isvbuild(base.c_str(), kFixed, kMaximum, &key, ISINOUT | ISVARLEN);
    std::string record = "1000" + std::string(80, 'x');
    isreclen = static_cast<int>(record.size());
    ASSERT_EQ(iswrite(fd, record.data()), 0);

    const int file = open((base + ".idx").c_str(), O_RDWR);
    char head[4];
    ASSERT_EQ(pread(file, head, 4, kHeads + 4 * 4), 4);
    const off_t node = (ldlong(head) - 1) * 1024;
    ASSERT_GT(node, 0) << "the node is in the last bucket";
    const char little[] = {0, 10};
    EXPECT_EQ(pwrite(file, head, 4, node + kPrevious), 4);
    EXPECT_EQ(pwrite(file, little, 2, node + kFree), 2);
    close(file);

    alarm(kSecondsAtMost);
    record = "1001" + std::string(80, 'x');
    isreclen = static_cast<int>(record.size());
    EXPECT_EQ(iswrite(fd, record.data()), -1);
    EXPECT_EQ(iserrno, 105);
    alarm(0);
    isclose(fd);
}

}  // namespace
