// Among equal keys: an entry that came back, and more entries than the file has records.

#include <fcntl.h>
#include <unistd.h>

#include "base/ismif.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

constexpr int kNodeSize = 1024, kKeyLength = 100, kRootNode = 3;
constexpr int kEntry = kKeyLength + 4 + 4;  // key, serial, pointer

class EqualKeys : public testing::Test {
  protected:
    void write(int count) {
        for (int i = 0; i < count; ++i) {
            std::string record(kKeyLength, 'k');
            ASSERT_EQ(iswrite(fd_, record.data()), 0);
        }
    }
    long read(int mode) { return isread(fd_, record_, mode) == 0 ? isrecnum : -iserrno; }

    testing_support::TempDir directory_;
    const std::string base_ = directory_.file("f");
    KeyDesc key_ = charKey(kKeyLength, ISDUPS);
    int fd_ = isbuild(base_.c_str(), kKeyLength, &key_, ISINOUT);
    char record_[kKeyLength] = {};
};

TEST_F(EqualKeys, EntryThatCameBackIsAnother) {
    write(2);
    EXPECT_EQ(read(ISFIRST), 1);
    ASSERT_EQ(isdelrec(fd_, 1), 0);
    write(1);
    ASSERT_EQ(isrecnum, 1);
    ASSERT_EQ(isdelrec(fd_, 2), 0);
    // The position was on the old entry; this one is the next.
    EXPECT_EQ(read(ISNEXT), 1);
    EXPECT_EQ(read(ISNEXT), -110);
    isclose(fd_);
}

TEST_F(EqualKeys, MoreThanRecordsAreDamage) {
    write(30);
    ASSERT_EQ(isclose(fd_), 0);
    // Every entry of the root leads to its first leaf.
    const int file = open((base_ + ".idx").c_str(), O_RDWR);
    std::uint8_t root[kNodeSize];
    const off_t at = (kRootNode - 1) * kNodeSize;
    ASSERT_EQ(pread(file, root, kNodeSize, at), kNodeSize);
    ASSERT_EQ(root[kNodeSize - 2], 1) << "level of the root";
    for (int end = 2 + 2 * kEntry; end <= ld_int(root); end += kEntry)
        EXPECT_EQ(pwrite(file, root + 2 + kEntry - 4, 4, at + end - 4), 4);
    close(file);

    fd_ = isopen(base_.c_str(), ISINOUT);
    EXPECT_EQ(isdelrec(fd_, 30), -1);
    EXPECT_EQ(iserrno, 105);
    isclose(fd_);
}

}  // namespace
