// Rebuilds byte by byte: which nodes are taken, what they hold, and that nothing else changes.
#include "rebuild_kinds.h"

namespace api {
namespace {

constexpr std::size_t kNode = 1024;

class RebuildBytes : public CheckTest {
  protected:
    Image now() const { return imageOf(base()); }
    // The same files but for the header's change counter, one more than before.
    static Image counted(Image image) {
        image.index.replace(41, 4, long4(changeCounter(image) + 1));
        return image;
    }
    static void setHeader(Image *image, std::size_t offset, unsigned long value) {
        image->index.replace(offset, 4, long4(value));
    }
    // A node of the index file: these bytes, zeros, and the four bytes at its end.
    static void setNode(Image *image, std::size_t number, const std::string &bytes, const std::string &end) {
        std::string node = bytes;
        node.resize(kNode - 4);
        image->index.replace((number - 1) * kNode, kNode, node + end);
    }
    static void expectSame(const Image &expected, const Image &actual) {
        for (std::size_t node = 1; node * kNode <= expected.index.size(); ++node)
            EXPECT_EQ(testing::PrintToString(nodeOf(expected, node)), testing::PrintToString(nodeOf(actual, node)))
                << "node " << node;
        EXPECT_EQ(expected.index.size(), actual.index.size());
        EXPECT_EQ(expected.data, actual.data);
    }
    // An entry of an index with duplicates.
    static std::string entry(const std::string &key, unsigned long serial, unsigned long recnum) {
        std::string padded = key;
        padded.resize(kNameLen, ' ');
        return padded + long4(serial) + long4(recnum);
    }

    // Nine records with keys of 120 equal letters, in the second index: its root is node 4, the leaves 5 and 6.
    int nineWide() {
        const int fd = build(ISINOUT, keyDesc(ISNODUPS, {{0, 2}}), 122);
        KeyDesc wide = keyDesc(ISNODUPS, {{2, 120}});
        add(fd, wide);
        for (int n = 1; n <= 9; ++n) {
            std::string record = "0" + std::to_string(n) + std::string(120, static_cast<char>('a' + n - 1));
            EXPECT_OK(iswrite(fd, record.data()));
        }
        return fd;
    }
    static std::string wide(char letter, unsigned long pointer) { return std::string(120, letter) + long4(pointer); }
    // After the rebuild: the root was freed last and is taken first, then come the leaves, the second one before the
    // first.
    static void setNineWide(Image *image) {
        std::string left;
        for (int n = 1; n <= 8; ++n)
            left += wide(static_cast<char>('a' + n - 1), static_cast<unsigned long>(n));
        setNode(image, 4, int2(2 + 2 * 124) + wide('h', 6) + wide('h', 5), std::string("\0\0\1\0", 4));
        setNode(image, 5, int2(2 + 124) + wide('i', 9), std::string(4, '\0'));
        setNode(image, 6, int2(2 + 8 * 124) + left, std::string(4, '\0'));
    }
};

const std::string kListEnd("\0\xff\x7f\0", 4);

TEST_F(RebuildBytes, SoundIndexOfOneNode) {
    const int fd = build();
    add(fd, nameKey());
    putIds(fd, {3, 1, 2});
    const Image before = now();
    EXPECT_TRUE(rebuilds(fd, 2));
    expectSame(counted(before), now());
    EXPECT_TRUE(rebuilds(fd, 1));
    expectSame(counted(counted(before)), now());
}

TEST_F(RebuildBytes, EmptyIndex) {
    const int fd = build();
    const Image before = now();
    EXPECT_TRUE(rebuilds(fd, 1));
    expectSame(counted(before), now());
}

// Equal keys follow each other by record number from then on, with serials from 0.
TEST_F(RebuildBytes, SerialsBeginAnew) {
    const int fd = build();
    add(fd, nameKey());
    for (const char *name : {"kiw", "fig", "kiw", "kiw", "fig"})
        put(fd, row(recordCount(fd) + 1, name));
    EXPECT_OK(isrewrec(fd, 1, row(1, "fig")));
    EXPECT_OK(isrewrec(fd, 1, row(1, "kiw")));
    EXPECT_OK(isdelrec(fd, 4));
    Image expected = now();
    EXPECT_EQ(nodeOf(expected, 4).substr(0, 2 + 4 * 18),
              int2(74) + entry("fig", 0, 2) + entry("fig", 1, 5) + entry("kiw", 1, 3) + entry("kiw", 3, 1));
    EXPECT_TRUE(rebuilds(fd, 2));
    setNode(&expected, 4, int2(74) + entry("fig", 0, 2) + entry("fig", 1, 5) + entry("kiw", 0, 1) + entry("kiw", 1, 3),
            std::string(4, '\0'));
    expectSame(counted(expected), now());
}

TEST_F(RebuildBytes, IndexOfThreeNodes) {
    const int fd = nineWide();
    Image expected = now();
    EXPECT_EQ(nodeOf(expected, 4).substr(0, 250), int2(250) + wide('h', 5) + wide('h', 6));
    setNineWide(&expected);
    EXPECT_TRUE(rebuilds(fd, 2));
    expectSame(counted(expected), now());
}

// What the root has lost is found as nobody's, lowest number first: here the same order.
TEST_F(RebuildBytes, IndexOfThreeNodesWithoutItsRoot) {
    EXPECT_OK(isclose(nineWide()));
    Image expected = now();
    damage().blankNode(4);
    const int fd = open();
    EXPECT_TRUE(rebuilds(fd, 2));
    setNineWide(&expected);
    expectSame(counted(expected), now());
}

TEST_F(RebuildBytes, ListOfFreeNodesIsUsedFirst) {
    const int fd = nineWide();
    KeyDesc gone = keyDesc(ISDUPS, {{0, 1}});
    add(fd, gone);  // node 7
    EXPECT_OK(isdelindex(fd, &gone));
    Image expected = now();
    EXPECT_EQ(numberAt(expected.index, 29, 4), 7U);
    EXPECT_TRUE(rebuilds(fd, 2));
    // The three nodes went to the end of the list, and came from there.
    setNineWide(&expected);
    setNode(&expected, 7, int2(6) + long4(0), kListEnd);
    expectSame(counted(expected), now());
}

// Fewer records than before: what is not needed stays in the list, the first leaf as the list's node.
TEST_F(RebuildBytes, NodesThatAreNotNeededStayFree) {
    const int fd = nineWide();
    for (long number = 2; number <= 9; ++number)
        EXPECT_OK(isdelrec(fd, number));
    add(fd, keyDesc(ISDUPS, {{0, 1}}));
    EXPECT_OK(isclose(fd));
    Image before = now();
    // The one record left is in the first leaf; the second one is gone. Nodes in use: 5 or 6, and the list of numbers.
    const int again = open();
    EXPECT_TRUE(rebuilds(again, 2));
    const Image after = now();
    EXPECT_EQ(nodeOf(after, 4), int2(126) + wide('a', 1) + std::string(kNode - 126, '\0'));
    EXPECT_EQ(freeNodes(base()), 1U);
    EXPECT_EQ(numberAt(before.index, 37, 4), numberAt(after.index, 37, 4)) << "the file has not grown";
}

class RebuildListBytes : public RebuildBytes {
  protected:
    // Records 2, 5 and 7 of eight are deleted, in this order; their list is node 4.
    void SetUp() override {
        const int fd = build();
        for (long id = 1; id <= 8; ++id)
            put(fd, row(id));
        for (const long number : {2, 5, 7})
            EXPECT_OK(isdelrec(fd, number));
        EXPECT_OK(isclose(fd));
        before_ = now();
        EXPECT_EQ(nodeOf(before_, 4), list({2, 5, 7}));
    }
    static std::string list(const std::vector<unsigned long> &numbers) {
        std::string bytes = int2(6 + 4 * numbers.size()) + long4(0);
        for (const unsigned long number : numbers)
            bytes += long4(number);
        bytes.resize(kNode - 4);
        return bytes + kListEnd;
    }
    // The highest number comes first, so that the lowest is given out first.
    void expectRebuilt() {
        const int fd = open();
        EXPECT_TRUE(rebuildsFree(fd));
        Image expected = before_;
        expected.index.replace(3 * kNode, kNode, list({7, 5, 2}));
        expectSame(counted(expected), now());
    }
    Image before_;
};

TEST_F(RebuildListBytes, SoundList) { expectRebuilt(); }

TEST_F(RebuildListBytes, LostList) {
    damage().header(field::kDataFree, 0);
    expectRebuilt();
}

TEST_F(RebuildListBytes, WrongNumbers) {
    damage().storeFreeNode(4, 0, {1, 1, 0, 8, 7, 5, 3, 4, 6});
    expectRebuilt();
}

TEST_F(RebuildListBytes, WrongHighestNumber) {
    damage().header(field::kLastRecord, 900);
    expectRebuilt();
}

TEST_F(RebuildListBytes, NothingIsDeleted) {
    const int writer = open();
    for (long id = 11; id <= 13; ++id)
        put(writer, row(id));
    EXPECT_OK(isclose(writer));
    const Image before = now();
    const int fd = open();
    EXPECT_TRUE(rebuildsFree(fd));
    expectSame(counted(before), now());
}

}  // namespace
}  // namespace api
