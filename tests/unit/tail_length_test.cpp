// Tails that are not to be read: longer than the file's records, or a deleted record's.

#include <fcntl.h>
#include <unistd.h>

#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kFixed = 20, kMaximum = 120, kLastNodeOffset = 37, kMaximumOffset = 59;

class TailLength : public testing::Test {
  protected:
    // A file with one record of that length, open.
    int make(int length) {
        KeyDesc key = charKey(4);
        const int fd = isvbuild(base_.c_str(), kFixed, kMaximum, &key, ISINOUT | ISVARLEN);
        std::string record = "1000";
        record.resize(static_cast<std::size_t>(length), 'x');
        isreclen = length;
        EXPECT_EQ(iswrite(fd, record.data()), 0);
        return fd;
    }
    // Reads the record of a file whose header says that its records have at most that many bytes.
    int readUpTo(int maximum) {
        const int file = open((base_ + ".idx").c_str(), O_WRONLY);
        const char raw[] = {static_cast<char>(maximum / 256), static_cast<char>(maximum % 256)};
        EXPECT_EQ(pwrite(file, raw, 2, kMaximumOffset), 2);
        close(file);
        const int fd = isopen(base_.c_str(), ISINOUT | ISVARLEN);
        EXPECT_GE(fd, 0);
        const int code = isread(fd, record_, ISFIRST) == 0 ? 0 : iserrno;
        isclose(fd);
        return code;
    }

    testing_support::TempDir directory_;
    const std::string base_ = directory_.file("f");
    char record_[kMaximum + 10] = {};
};

TEST_F(TailLength, BeyondTheMaximumIsDamage) {
    ASSERT_EQ(isclose(make(kMaximum)), 0);
    EXPECT_EQ(readUpTo(kMaximum), 0);
    EXPECT_EQ(readUpTo(kMaximum - 1), 105);
}

TEST_F(TailLength, OfADeletedRecordIsNone) {
    const int fd = make(60);
    ASSERT_EQ(isread(fd, record_, ISFIRST), 0);
    ASSERT_EQ(isreclen, 60);
    ASSERT_EQ(isdelrec(fd, 1), 0);
    isrecnum = 1;
    // A mode that locates nothing returns the record at hand.
    EXPECT_EQ(isread(fd, record_, ISGTEQ + 1), 0) << iserrno;
    EXPECT_EQ(isreclen, kFixed);
    EXPECT_EQ(isclose(fd), 0);
}

// A piece's pointer has three bytes for its node.
TEST_F(TailLength, NeedsANodeThatItsPointerCanName) {
    const int fd = make(60);
    const int file = open((base_ + ".idx").c_str(), O_WRONLY);
    const char highest[] = {0, static_cast<char>(0xff), static_cast<char>(0xff), static_cast<char>(0xff)};
    EXPECT_EQ(pwrite(file, highest, 4, kLastNodeOffset), 4);
    close(file);
    std::string record = "1001";
    // More than the room beside the first record's tail.
    record.resize(kMaximum, 'x');
    isreclen = kMaximum;
    int code = 0;
    for (int i = 0; i < 12 && code == 0; ++i) {
        record[3] = static_cast<char>('a' + i);
        code = iswrite(fd, record.data()) == 0 ? 0 : iserrno;
    }
    EXPECT_EQ(code, 131);
    isclose(fd);
}

}  // namespace
