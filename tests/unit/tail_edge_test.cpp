// Tails whose nodes or hash do not fit what the header says.

#include <fstream>
#include <iterator>

#include "base/ismif.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

std::string bytesOf(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

std::string be(std::uint32_t value, int width) {
    std::string bytes;
    for (int shift = 8 * (width - 1); shift >= 0; shift -= 8)
        bytes += static_cast<char>(value >> shift);
    return bytes;
}

void patch(const std::string &path, long offset, const std::string &bytes) {
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(offset);
    file << bytes;
}

std::uint32_t numberAt(const std::string &bytes, std::size_t offset) {
    return ld_long(reinterpret_cast<const std::uint8_t *>(bytes.data()) + offset);
}

class TailEdge : public testing::Test {
  protected:
    static constexpr int kFixed = 8, kMaximum = 2000;
    void SetUp() override {
        KeyDesc key = charKey(4);
        const int fd = isvbuild(name_.c_str(), kFixed, kMaximum, &key, ISINOUT | ISVARLEN);
        ASSERT_EQ(add(fd, "aaaa", 500), 0);
        ASSERT_EQ(isclose(fd), 0);
    }
    static int add(int fd, const std::string &key, int tail) {
        std::string record = key + std::string(static_cast<std::size_t>(kMaximum) - key.size(), 'x');
        isreclen = kFixed + tail;
        return iswrite(fd, record.data());
    }
    void TearDown() override { iscleanup(); }
    int open() const { return isopen(name_.c_str(), ISINOUT | ISVARLEN); }

    testing_support::TempDir dir_;
    std::string name_ = dir_.file("f");
};

// The header's count of nodes says that there is such a node, the file ends before it.
TEST_F(TailEdge, PieceBeyondTheFilesEndIsDamage) {
    patch(name_ + ".idx", 37, be(100, 4));
    patch(name_ + ".dat", kFixed + 1 + 3, be(50, 3));
    std::string record(kMaximum, ' ');
    ASSERT_GE(open(), 0);
    EXPECT_EQ(isread(0, record.data(), ISFIRST), -1);
    EXPECT_EQ(iserrno, 105);
}

// The node is filed by its own word; a head elsewhere that a dead process left is given up when it is next touched.
TEST_F(TailEdge, HeadOfANodeThatIsFiledElsewhereIsGivenUp) {
    const std::string before = bytesOf(name_ + ".idx");
    const std::uint32_t node = numberAt(before, 61 + 4 * 2);
    ASSERT_NE(node, 0U);  // 494 bytes are free
    patch(name_ + ".idx", 61 + 4 * 4, be(node, 4));
    ASSERT_EQ(add(open(), "bbbb", 20), 0);
    const std::string after = bytesOf(name_ + ".idx");
    EXPECT_EQ(numberAt(after, 61 + 4 * 2), node);
    EXPECT_EQ(numberAt(after, 61 + 4 * 4), 0U);
}

}  // namespace
