// A clustered file is put together in memory; its bytes are those of a copy that is written record by record.

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <iterator>

#include "shim/system_calls.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr int kRecords = 5000;
constexpr long kEnough = 65536, kLittle = 64;  // bounds of memory, in kilobytes

std::string contentOf(const std::string &name) {
    std::ifstream file(name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// Where two files begin to differ, -1: nowhere.
long difference(const std::string &one, const std::string &other) {
    const auto [a, b] = std::mismatch(one.begin(), one.end(), other.begin(), other.end());
    return a == one.end() && b == other.end() ? -1 : static_cast<long>(a - one.begin());
}

class ClusterInMemory : public testing::TestWithParam<long> {
  protected:
    void SetUp() override {
        iscachelimit(GetParam());
        ASSERT_EQ(isaddindex(file_.fd(), &second_), 0);
        ASSERT_EQ(isaddindex(file_.fd(), &third_), 0);
        for (int n = 0; n < kRecords; ++n)
            file_.write(std::to_string(100000 + n * 3571 % kRecords) + std::to_string(100000 + n * 7919 % kRecords) +
                        std::to_string(1000 + n % 70));
        for (long n = 1; n <= kRecords; n += 7)
            ASSERT_EQ(isdelrec(file_.fd(), n), 0);
    }
    void TearDown() override { iscachelimit(before_); }
    long before_ = iscachelimit(-1);
    ScratchFile file_{40, charKey(6), ISINOUT | ISLOCKEXCL};
    KeyDesc second_ = charKey(6, 0, 6), third_ = charKey(4, ISDUPS, 12);
};

TEST_P(ClusterInMemory, HasTheBytesOfACopyWrittenRecordByRecord) {
    const std::string copied = file_.base() + "2";
    const int copy = isclone(file_.fd(), copied.c_str());
    ASSERT_GE(copy, 0);
    ASSERT_EQ(iscopy(copy, file_.fd(), &second_), 0);
    ASSERT_EQ(isclose(copy), 0);
    const int fd = iscluster(file_.fd(), &second_);
    ASSERT_EQ(fd, file_.fd());
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(ischeckindex(fd, i), 0);
    EXPECT_EQ(ischeckdata(fd), 0);
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(difference(contentOf(file_.base() + ".dat"), contentOf(copied + ".dat")), -1);
    EXPECT_EQ(difference(contentOf(file_.base() + ".idx"), contentOf(copied + ".idx")), -1);
    EXPECT_EQ(contentOf(copied + ".dat").size(), (kRecords - (kRecords + 6) / 7) * 41U);
}

TEST_P(ClusterInMemory, LeavesTheFileAsItWasWhenTheDiskIsFull) {
    const std::string index = contentOf(file_.base() + ".idx"), data = contentOf(file_.base() + ".dat");
    for (const int refused : {4, 7}) {
        int writes = 0;
        const unit::Refusal full(ENOSPC, [&](const shim::Arguments &a) {
            return a.call == shim::Call::PositionedWrite && ++writes == refused;
        });
        EXPECT_EQ(iscluster(file_.fd(), &second_), -1);
        EXPECT_EQ(iserrno, ENOSPC);
        EXPECT_EQ(full.count(), 1);
    }
    EXPECT_EQ(difference(contentOf(file_.base() + ".idx"), index), -1);
    EXPECT_EQ(difference(contentOf(file_.base() + ".dat"), data), -1);
    for (int i = 1; i <= 3; ++i)
        EXPECT_EQ(ischeckindex(file_.fd(), i), 0);
}

INSTANTIATE_TEST_SUITE_P(Bounds, ClusterInMemory, testing::Values(kEnough, kLittle, 0));

}  // namespace
