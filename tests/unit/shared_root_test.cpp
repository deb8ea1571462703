// Two descriptions name one root: a third index is made anew all the same, and takes nothing of theirs.

#include <fcntl.h>
#include <unistd.h>

#include "base/ismif.h"
#include "isam_maint.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kNodeSize = 1024, kFirstDescription = 6, kRootOffset = 2;

TEST(SharedRoot, StaysWhatItIsWhenAnotherIndexIsRebuilt) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(4), second = charKey(4, 0, 4), third = charKey(4, 0, 8);
    const int built = isbuild(base.c_str(), 12, &key, ISINOUT | ISLOCKEXCL);
    ASSERT_EQ(isaddindex(built, &second), 0);
    ASSERT_EQ(isaddindex(built, &third), 0);
    for (int i = 0; i < 500; ++i) {
        const std::string number = std::to_string(1000 + i);
        std::string record = number + number + number;
        ASSERT_EQ(iswrite(built, record.data()), 0);
    }
    const auto descriptions = static_cast<off_t>(isAdmItoD(built)->keyDescNode - 1) * kNodeSize;
    ASSERT_EQ(isclose(built), 0);

    const int file = open((base + ".idx").c_str(), O_RDWR);
    std::uint8_t node[kNodeSize];
    ASSERT_EQ(pread(file, node, sizeof node, descriptions), kNodeSize);
    const int next = kFirstDescription + ld_int(node + kFirstDescription);
    ASSERT_EQ(pwrite(file, node + kFirstDescription + kRootOffset, 4, descriptions + next + kRootOffset), 4);
    close(file);

    const int fd = isopen(base.c_str(), ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(isRebuildIdx(isAdmItoD(fd), 3), 1) << isAdmItoD(fd)->errcode;
    EXPECT_EQ(ischeckindex(fd, 1), 0);
    EXPECT_EQ(ischeckindex(fd, 3), 0);
    EXPECT_EQ(isclose(fd), 0);
}

}  // namespace
