// Tails whose nodes or hash do not fit what the header says.

#include "base/ismif.h"
#include "unit/raw_file.h"
#include "unit/scratch_file.h"

namespace {

using unit::be;
using unit::bytesOf;
using unit::charKey;
using unit::patch;

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

// Giving such a tail back would take the other record's room.
TEST_F(TailEdge, PieceThatGoesOnBesideAnotherRecordsIsDamage) {
    const int fd = open();
    ASSERT_EQ(add(fd, "bbbb", 300), 0);  // in the same node
    ASSERT_EQ(add(fd, "cccc", 600), 0);
    ASSERT_EQ(isclose(fd), 0);
    const std::string data = bytesOf(name_ + ".dat");
    const std::size_t pointer = kFixed + 1, slot = data.size() / 3;
    const std::string first = data.substr(pointer + 2, 4), last = data.substr(2 * slot + pointer + 2, 4);
    ASSERT_EQ(first.substr(1), data.substr(slot + pointer + 3, 3));
    patch(name_ + ".dat", pointer, be(1100, 2));
    patch(name_ + ".idx", (static_cast<long>(numberAt(first, 0) & 0xffffff) - 1) * 1024 + 16, last + be(1, 1));
    std::string record(kMaximum, ' ');
    const int damaged = open();
    ASSERT_EQ(isread(damaged, record.data(), ISFIRST), 0);
    EXPECT_EQ(isreclen, kFixed + 1100);
    const std::string before = bytesOf(name_ + ".idx");
    EXPECT_EQ(isdelete(damaged, record.data()), -1);
    EXPECT_EQ(iserrno, 105);
    EXPECT_EQ(bytesOf(name_ + ".idx"), before);
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

// Three half-full nodes in one bucket and a full one in none. Links that a change which was cut short left behind are
// patched in; what they lead to must stay as it is.
class StrayLink : public TailEdge {
  protected:
    static constexpr long kNode = 1024, kNext = 4, kPrevious = 8;
    void SetUp() override {
        TailEdge::SetUp();
        const int fd = open();
        ASSERT_EQ(add(fd, "bbbb", 500), 0);
        ASSERT_EQ(add(fd, "cccc", 500), 0);
        ASSERT_EQ(add(fd, "dddd", 994), 0);
        ASSERT_EQ(isclose(fd), 0);
        youngest_ = head(2);
        middle_ = link(youngest_, kNext);
        oldest_ = link(middle_, kNext);
        full_ = youngest_ + 1;
        ASSERT_EQ(link(oldest_, kPrevious), middle_);
        ASSERT_EQ(numberAt(node(full_), 0) & 0xffff, 32294U);
    }
    std::string node(std::uint32_t number) const {
        return bytesOf(name_ + ".idx").substr((number - 1) * static_cast<std::size_t>(kNode), kNode);
    }
    std::uint32_t head(std::size_t bucket) const { return numberAt(bytesOf(name_ + ".idx"), 61 + 4 * bucket); }
    std::uint32_t link(std::uint32_t number, std::size_t offset) const { return numberAt(node(number), offset); }
    void setLink(std::uint32_t number, long offset, std::uint32_t value) const {
        patch(name_ + ".idx", (static_cast<long>(number) - 1) * kNode + offset, be(value, 4));
    }
    void remove(std::string key) const {
        key.resize(kMaximum, ' ');
        const int fd = open();
        ASSERT_EQ(isdelete(fd, key.data()), 0);
        ASSERT_EQ(isclose(fd), 0);
    }
    std::uint32_t oldest_ = 0, middle_ = 0, youngest_ = 0, full_ = 0;
};

TEST_F(StrayLink, NodeThatIsFiledElsewhereIsNotLinked) {
    setLink(middle_, kPrevious, full_);
    setLink(full_, kNext, middle_);
    const std::string before = node(full_);
    remove("bbbb");
    EXPECT_EQ(node(full_), before);
    EXPECT_EQ(link(oldest_, kPrevious), 0U);
}

TEST_F(StrayLink, OlderNodeThatDoesNotPointBackIsNotLinked) {
    setLink(oldest_, kPrevious, youngest_);
    remove("bbbb");
    EXPECT_EQ(link(oldest_, kPrevious), youngest_);
    // What came behind it there is given up.
    EXPECT_EQ(link(youngest_, kNext), 0U);
}

TEST_F(StrayLink, YoungerNodeThatDoesNotPointBackIsNotLinked) {
    setLink(youngest_, kNext, oldest_);
    remove("bbbb");
    EXPECT_EQ(link(youngest_, kNext), oldest_);
    EXPECT_EQ(link(oldest_, kPrevious), 0U);
}

TEST_F(StrayLink, BucketWhoseHeadIsFiledElsewhereBeginsAnew) {
    patch(name_ + ".idx", 61 + 4 * 2, be(full_, 4));
    const std::string before = node(full_);
    const int fd = open();
    ASSERT_EQ(add(fd, "eeee", 500), 0);
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(node(full_), before);
    EXPECT_EQ(head(2), full_ + 1);
    EXPECT_EQ(link(head(2), kNext), 0U);
}

// No tail made here has two pieces that are filed. Both are given back, and nothing is written into them any more.
TEST_F(StrayLink, NodeThatIsGivenBackTooIsNotLinked) {
    remove("dddd");
    const std::string data = bytesOf(name_ + ".dat");
    const std::string second = data.substr(data.size() / 4 + kFixed + 1 + 2, 4);
    ASSERT_EQ(numberAt(second, 0), middle_);
    patch(name_ + ".dat", kFixed + 1, be(1000, 2));
    patch(name_ + ".idx", (static_cast<long>(oldest_) - 1) * kNode + 16, second + be(1, 1));
    const std::string before = node(middle_);
    remove("aaaa");
    EXPECT_EQ(node(middle_), before);
    EXPECT_EQ(link(youngest_, kNext), 0U);
}

TEST_F(StrayLink, LinkPastTheFilesEndIsDamage) {
    patch(name_ + ".idx", 37, be(100, 4));
    setLink(middle_, kNext, 50);
    std::string key = "bbbb";
    key.resize(kMaximum, ' ');
    EXPECT_EQ(isdelete(open(), key.data()), -1);
    EXPECT_EQ(iserrno, 105);
}

}  // namespace
