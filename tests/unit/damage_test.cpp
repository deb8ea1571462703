// Damaged files and failures at the worst moment: an error, and nothing else.

#include <cerrno>
#include <initializer_list>

#include "base/isfail.h"
#include "lock/islock.h"
#include "storage/isidxio.h"
#include "storage/node_layout.h"
#include "unit/raw_file.h"
#include "unit/scratch_file.h"

namespace {

using unit::bytesOf;
using unit::charKey;
using unit::ScratchFile;

void patch(const std::string &path, long offset, std::initializer_list<int> values) {
    std::string bytes;
    for (int value : values)
        bytes += static_cast<char>(value);
    unit::patch(path, offset, bytes);
}

class DamagedHeader : public testing::Test {
  protected:
    void SetUp() override {
        for (int i = 0; i < 3; ++i)
            ASSERT_GT(file_.write(std::to_string(1000 + i)), 0);
        ASSERT_EQ(isclose(file_.fd()), 0);
    }
    int open() const { return isopen(file_.base().c_str(), ISINOUT); }
    std::string index() const { return file_.base() + ".idx"; }

    ScratchFile file_{20, charKey(4)};
};

// With a count of indexes that no table could hold beside them.
TEST_F(DamagedHeader, CountersOutOfRangeEndTheOpenWith105) {
    patch(index(), 8, {0xff, 0xff});
    for (long offset : {33L, 37L}) {
        patch(index(), offset, {0x8f});
        EXPECT_EQ(open(), -1) << offset;
        EXPECT_EQ(iserrno, 105) << offset;
        patch(index(), offset, {0x00});
    }
    patch(index(), 37, {0, 0, 0, 0});
    EXPECT_EQ(open(), -1);
    EXPECT_EQ(iserrno, 105);
}

// A walk bounded by this counter alone would read for hours.
TEST_F(DamagedHeader, CircleIsFoundWhateverTheHeaderSaysOfTheFilesLength) {
    patch(index(), 37, {0x7f, 0xff, 0xff, 0xff});
    patch(index(), 1024 + 2, {0, 0, 0, 2});  // the description node's link
    EXPECT_EQ(open(), -1);
    EXPECT_EQ(iserrno, 105);
}

TEST_F(DamagedHeader, NodeSizesThatHoldNoHeaderAreRefused) {
    for (int size : {0, 1, 63, 126}) {
        patch(index(), 6, {0, size});
        EXPECT_EQ(open(), -1) << size;
        EXPECT_EQ(iserrno, 105) << size;
    }
}

// The header itself ends behind the file.
TEST_F(DamagedHeader, NodesLongerThanTheFileCannotBeRead) {
    patch(index(), 6, {0xff, 0xff});
    EXPECT_EQ(open(), -1);
    EXPECT_EQ(iserrno, EIO);
    EXPECT_EQ(iserrio, 0x41);
}

// The file counts as one that keeps keys alone, and its data file is not looked at.
TEST_F(DamagedHeader, NoRecordLengthMakesAFileOfKeys) {
    patch(index(), 13, {0, 0});
    const int fd = open();
    ASSERT_GE(fd, 0);
    EXPECT_EQ(isqv_datfd(fd), -1);
    char record[20] = {};
    for (int i = 1; i <= 3; ++i) {
        ASSERT_EQ(isread(fd, record, i == 1 ? ISFIRST : ISNEXT), 0);
        EXPECT_EQ(isrecnum, i);
    }
    EXPECT_EQ(isread(fd, record, ISNEXT), -1);
    EXPECT_EQ(iserrno, 110);
    EXPECT_EQ(isdata(fd, record, 1), -1);
    EXPECT_EQ(isclose(fd), 0);
}

TEST(DamagedHeaderOfKeys, RecordLengthWithoutADataFileIsAMissingFile) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f");
    KeyDesc key = charKey(4);
    ASSERT_EQ(isclose(isbuild(base.c_str(), 0, &key, ISINOUT)), 0);
    patch(base + ".idx", 13, {0xff, 0xff});
    EXPECT_EQ(isopen(base.c_str(), ISINOUT), -1);
    EXPECT_EQ(iserrno, ENOENT);
}

// Damage in the last leaf must show before the first node is given away.
TEST(DamagedTree, IsNotHalfDroppedWithItsIndex) {
    ScratchFile file(200, charKey(4));
    KeyDesc wide = charKey(120, 0, 0);
    ASSERT_EQ(isaddindex(file.fd(), &wide), 0);
    for (int i = 0; i < 2600; ++i)
        ASSERT_GT(file.write(std::to_string(1000 + i)), 0);
    const std::string whole = bytesOf(file.base() + ".idx");
    ASSERT_GT(whole.size() / 1024, 300U);
    // The last node of the file is the newest leaf: an odd used length.
    const long last = static_cast<long>(whole.size()) - 1024;
    ASSERT_EQ(isclose(file.fd()), 0);
    patch(file.base() + ".idx", last, {0, 9});
    const std::string damaged = bytesOf(file.base() + ".idx");
    const int fd = isopen(file.base().c_str(), ISINOUT);
    ASSERT_GE(fd, 0);
    EXPECT_EQ(isdelindex(fd, &wide), -1);
    EXPECT_EQ(iserrno, 105);
    EXPECT_EQ(isclose(fd), 0);
    EXPECT_EQ(bytesOf(file.base() + ".idx"), damaged);
}

TEST(FailedChange, KeepsNothingOfAFreeListWhoseNewHeadWasWrittenAlready) {
    ScratchFile file(20, charKey(4));
    IsamFile *h = file.handle();
    EXPECT_EQ(file.change([&] {
        isLockWrite(h);
        h->indexFree.last = 300;
        for (std::uint32_t n = 4; n < 300; ++n)
            isPutFree(h, ISKIND_INDEX, n);
        isFreeWrite(h);
        isFail(h, EIO, 0x51);
    }),
              EIO);
    EXPECT_EQ(h->indexFree.state, ISBUF_EMPTY);
    EXPECT_EQ(h->indexFree.head, 0U) << "as the header has it";
}

TEST(FailedCount, LeavesTheListItsHead) {
    ScratchFile file(20, charKey(4));
    IsamFile *h = file.handle();
    for (int i = 0; i < 300; ++i)
        ASSERT_GT(file.write(std::to_string(1000 + i)), 0);
    for (int i = 1; i <= 300; ++i)
        ASSERT_EQ(isdelrec(file.fd(), i), 0);
    const std::uint32_t head = h->dataFree.head;
    file.change([&] {
        std::uint8_t node[1024];
        isGetNode(h, node, head);
        const std::uint32_t second = node::link(node);
        ASSERT_NE(second, 0U);
        isGetNode(h, node, second);
        node[1021] = 0;
        isPutNode(h, node, second);
        isFreeClear(h, ISCLASS_READ);
    });
    DictInfo info;
    EXPECT_EQ(isisaminfo(file.fd(), &info), -1);
    EXPECT_EQ(iserrno, 105);
    EXPECT_EQ(h->dataFree.head, head);
}

}  // namespace
