// A file that keeps keys alone, whose header has a highest record number all the same: there is no slot to look at.

#include <fcntl.h>
#include <unistd.h>

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

TEST(NumbersInAKeyFile, LeadToNoRecords) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(4), second = charKey(2), none{};
    ASSERT_EQ(isclose(isbuild(base.c_str(), 0, &key, ISINOUT)), 0);
    constexpr off_t kLastRecord = 33;
    const int file = open((base + ".idx").c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(file, "\0\0\0\5", 4, kLastRecord), 4);
    close(file);

    const int fd = isopen(base.c_str(), ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    char record[8] = "aaaa";
    EXPECT_EQ(isstart(fd, &none, 0, record, ISFIRST), 0);
    EXPECT_EQ(isread(fd, record, ISFIRST), -1);
    EXPECT_EQ(iserrno, 110);
    EXPECT_EQ(isdata(fd, record, 1), -1);
    EXPECT_EQ(iserrno, 102);
    EXPECT_EQ(isgoto(fd, 1), -1);
    EXPECT_EQ(iserrno, 111);
    EXPECT_EQ(isaddindex(fd, &second), -1);
    EXPECT_EQ(isclose(fd), 0);
}

// Here the list of indexes, too, has lost what the file lives by.
TEST(NumbersInAKeyFile, AreNoRecordsWhereTheIndexesAreGone) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(4);
    const int built = isbuild(base.c_str(), 0, &key, ISINOUT);
    const auto descriptions = static_cast<off_t>(isAdmItoD(built)->keyDescNode - 1) * 1024;
    ASSERT_EQ(isclose(built), 0);
    const int file = open((base + ".idx").c_str(), O_WRONLY);
    ASSERT_EQ(pwrite(file, "\0\0\0\5", 4, 33), 4);
    ASSERT_EQ(pwrite(file, "\0\6", 2, descriptions), 2);
    close(file);

    const int fd = isopen(base.c_str(), ISINOUT);
    char record[8] = "aaaa";
    if (fd >= 0) {
        EXPECT_EQ(isread(fd, record, ISFIRST), -1);
        EXPECT_EQ(isclose(fd), 0);
    }
}

}  // namespace
