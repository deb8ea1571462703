// Room of nodes for descriptions and entries, to the byte.

#include <fcntl.h>
#include <unistd.h>

#include "keys/isindex.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr int kNodeEnd = 1024 - 4;  // a node's trailer is behind it
constexpr int kDescNode = 2;
constexpr int kEntryOfOnePart = 7 + 5;

void poke(const ScratchFile &file, int node, int offset, const std::string &bytes) {
    const int fd = open((file.base() + ".idx").c_str(), O_WRONLY);
    EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), (node - 1) * 1024 + offset), static_cast<ssize_t>(bytes.size()));
    close(fd);
}

std::string twoBytes(int number) { return {static_cast<char>(number / 256), static_cast<char>(number % 256)}; }

TEST(NodeRoom, TwoEntriesAndAByteAreTheLeastForAnIndex) {
    IsamFile h = {};
    h.nodeSize = 128;
    const KeyDesc fits = charKey(56), tooLong = charKey(57);  // 2 + 2 * (56 + 4) = 122 of 124 bytes
    EXPECT_TRUE(isNodeHolds(&h, &fits));
    EXPECT_FALSE(isNodeHolds(&h, &tooLong));
}

TEST(DescriptionNode, IsFilledToItsLastByte) {
    for (const int spare : {0, -1}) {
        ScratchFile file(20, charKey(4));
        poke(file, kDescNode, 0, twoBytes(kNodeEnd - kEntryOfOnePart - spare));
        DescPlace place = {};
        const KeyDesc key = charKey(4, 0, 4);
        ASSERT_EQ(file.change([&] { place = isReserveIndex(file.handle(), &key); }), 0);
        EXPECT_EQ(place.last, 2U);
        EXPECT_EQ(place.added != 0, spare < 0);
    }
}

// Opens a file of which bytes have been written over.
int openPoked(int node, int offset, const std::string &bytes) {
    ScratchFile file(20, charKey(4));
    const std::string base = file.base();
    EXPECT_EQ(isclose(file.fd()), 0);
    poke(file, node, offset, bytes);
    const int fd = isopen(base.c_str(), ISINOUT);
    return fd < 0 ? iserrno : isclose(fd);
}

TEST(DescriptionNode, OfAnotherLevelIsDamage) {
    EXPECT_EQ(openPoked(kDescNode, 1024 - 2, std::string(1, static_cast<char>(254))), 0);
    EXPECT_EQ(openPoked(kDescNode, 1024 - 2, std::string(1, 127)), 105);
}

TEST(DescriptionNode, ThatNamesTheHeaderAsRootIsDamage) {
    EXPECT_EQ(openPoked(kDescNode, 6 + 2, {0, 0, 0, 3}), 0);
    EXPECT_EQ(openPoked(kDescNode, 6 + 2, {0, 0, 0, 1}), 105);
}

// Nodes of 100 bytes: where the second one would be, the header has room for a sound description node.
TEST(NodeSize, BelowTheHeadersOwnNeedIsDamage) {
    std::string node(100, '\0');
    node[1] = 6;
    node[97] = static_cast<char>(255);
    node[98] = static_cast<char>(254);
    ScratchFile file(20, charKey(4));
    const std::string base = file.base();
    ASSERT_EQ(isclose(file.fd()), 0);
    poke(file, 1, 100, node);
    poke(file, 1, 6, twoBytes(99));
    EXPECT_EQ(isopen(base.c_str(), ISINOUT), -1);
    EXPECT_EQ(iserrno, 105);
}

}  // namespace
