// Search and walk inside one node, and the encoding of compressed entries.

#include "keys/isnode.h"

#include <cstring>

#include "base/ismif.h"
#include "keys/iscomp.h"
#include "keys/iscompmark.h"
#include "keys/isflat.h"
#include "keys/iskey.h"
#include "storage/node_layout.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// A node in memory with a path around it, filled by hand.
class Node {
  public:
    Node(int keyBytes, unsigned short flags) {
        path_.keyDesc.flags = flags;
        path_.keyDesc.nparts = 1;
        path_.keyDesc.parts[0] = {0, static_cast<short>(keyBytes), CHARTYPE};
        path_.keyDesc.keyLength = static_cast<short>(keyBytes);
        path_.searchLength = keyBytes;
        path_.dupWidth = (flags & ISDUPS) != 0 ? 4 : 0;
        path_.compressed = (flags & kCompressFlags) != 0;
        path_.entrySize = keyBytes + 4 + path_.dupWidth;
        IsamFile file = {};
        file.nodeSize = sizeof bytes_;
        isMarkSpacing(&file, &path_);
        if ((flags & kCompressFlags) != 0) isKeyOrder(&path_);
        node_.buffer = bytes_;
        node_.key = keyArea_;
        node_.state = ISBUF_CLEAN;
        node_.used = 2;
        path_.top = &node_;
    }

    Node &add(const std::string &bytes) {
        std::memcpy(bytes_ + node_.used, bytes.data(), bytes.size());
        node_.used += static_cast<int>(bytes.size());
        return *this;
    }

    IndexPath *path() { return &path_; }
    NodeBuf &node() { return node_; }
    std::string key() const {
        return {reinterpret_cast<const char *>(node_.key), static_cast<std::size_t>(path_.keyDesc.keyLength)};
    }
    bool match(const char *key) { return isNodeMatch(&path_, reinterpret_cast<const std::uint8_t *>(key)); }
    bool great(const char *key) { return isNodeGreat(&path_, reinterpret_cast<const std::uint8_t *>(key)); }

  private:
    IndexPath path_ = {};
    NodeBuf node_ = {};
    std::uint8_t bytes_[1024] = {};
    alignas(CompMark) std::uint8_t keyArea_[ISMAXKEYLEN + 1024] = {};
};

// A pointer's four bytes; share is its top bit.
std::string pointer(std::uint32_t number, bool share = false) {
    std::uint8_t raw[4];
    st_long(number | (share ? 0x80000000U : 0), raw);
    return {reinterpret_cast<char *>(raw), 4};
}

std::string bytes(std::initializer_list<int> values) {
    std::string s;
    for (int v : values)
        s += static_cast<char>(v);
    return s;
}

TEST(EmptyNode, HasNoEntryInAnyDirection) {
    for (unsigned short flags : {0, ISLEADCOMP}) {
        Node n(4, flags);
        for (int direction : {kWalkFirst, kWalkLast, kWalkNext, kWalkPrev})
            EXPECT_FALSE(isNodeWalk(n.path(), direction));
        EXPECT_FALSE(n.match("aaaa"));
        EXPECT_FALSE(n.great("aaaa"));
    }
}

TEST(FlatNode, WithOneEntryTellsGreaterFromEqual) {
    Node n(4, 0);
    n.add("mmmm" + pointer(7));
    EXPECT_TRUE(n.great("aaaa"));
    EXPECT_EQ(n.node().position, 2);
    EXPECT_FALSE(n.great("mmmm"));
    EXPECT_EQ(n.node().position, 2);
    EXPECT_EQ(n.node().pointer, 7U);
    EXPECT_TRUE(n.match("mmmm"));
    EXPECT_FALSE(n.match("zzzz"));
}

TEST(FlatNode, SearchesFindTheFirstOfEqualKeysAndTheFirstGreaterOneAtEverySize) {
    for (int count = 1; count <= 12; ++count) {
        Node n(1, ISDUPS);
        std::string keys;
        for (int i = 0; i < count; ++i)
            keys += static_cast<char>('b' + i / 2 * 2);
        for (std::size_t i = 0; i < keys.size(); ++i)
            n.add(keys.substr(i, 1) + pointer(static_cast<std::uint32_t>(i)) +
                  pointer(static_cast<std::uint32_t>(i) + 100));
        for (char k = 'a'; k <= 'p'; ++k) {
            const std::string key(1, k);
            const std::size_t at = keys.find_first_of([&] {
                std::string rest;
                for (char c = k; c <= 'z'; ++c)
                    rest += c;
                return rest;
            }());
            EXPECT_EQ(n.match(key.c_str()), at != std::string::npos);
            EXPECT_EQ(n.node().pointer, 100 + (at != std::string::npos ? at : keys.size() - 1));
            std::size_t above = 0;
            while (above < keys.size() && keys[above] <= k)
                ++above;
            EXPECT_EQ(n.great(key.c_str()), above < keys.size());
            EXPECT_EQ(n.node().pointer, 100 + (above < keys.size() ? above : keys.size() - 1));
        }
    }
}

TEST(FlatNode, WalkStopsAtBothEndsAndStaysThere) {
    Node n(1, 0);
    n.add("a" + pointer(1)).add("b" + pointer(2));
    EXPECT_TRUE(isNodeWalk(n.path(), kWalkFirst));
    EXPECT_FALSE(isNodeWalk(n.path(), kWalkPrev));
    EXPECT_EQ(n.node().pointer, 1U);
    EXPECT_TRUE(isNodeWalk(n.path(), kWalkNext));
    EXPECT_FALSE(isNodeWalk(n.path(), kWalkNext));
    EXPECT_EQ(n.node().pointer, 2U);
}

TEST(CompressedNode, RepeatedKeyIsSerialAndPointerAloneBehindAShareBit) {
    Node n(3, ISDUPS | ISDUPCOMP);
    n.add("abc" + pointer(0) + pointer(5, true)).add(pointer(1) + pointer(6)).add("abd" + pointer(0) + pointer(7));
    EXPECT_TRUE(compsound(n.path(), &n.node(), true));
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkFirst));
    EXPECT_EQ(n.node().pointer, 5U) << "the share bit is no part of the number";
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkNext));
    EXPECT_EQ(n.key(), "abc");
    EXPECT_EQ(n.node().serial, 1U);
    EXPECT_EQ(n.node().pointer, 6U);
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkNext));
    EXPECT_EQ(n.key(), "abd");
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkPrev));
    EXPECT_EQ(n.key(), "abc");
    EXPECT_EQ(n.node().pointer, 6U);
    EXPECT_TRUE(n.match("abc"));
    EXPECT_EQ(n.node().pointer, 5U);
    EXPECT_TRUE(n.great("abc"));
    EXPECT_EQ(n.node().pointer, 7U);
}

TEST(CompressedNode, LeadingAndTrailingBytesComeBack) {
    Node n(6, ISLEADCOMP | ISTRAILCOMP);
    n.add(bytes({0, 3}) + "abc" + pointer(1)).add(bytes({2, 1}) + "xyz" + pointer(2)).add(bytes({6, 0}) + pointer(3));
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkFirst));
    EXPECT_EQ(n.key(), "abc   ");
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkNext));
    EXPECT_EQ(n.key(), "abxyz ");
    ASSERT_TRUE(isNodeWalk(n.path(), kWalkNext));
    EXPECT_EQ(n.key(), "abxyz ");
    EXPECT_FALSE(isNodeWalk(n.path(), kWalkNext));
}

// From every position the search ends on the same entry.
TEST(CompressedNode, SearchesEndOnTheSameEntryWhereverTheyStart) {
    const std::string keys[] = {"aa", "ab", "ab", "bc", "bd", "ca"};
    for (const char *wanted : {"a ", "aa", "ab", "ac", "bc", "bz", "ca", "zz"}) {
        std::size_t first = 0, above = 0;
        while (first < 6 && keys[first] < wanted)
            ++first;
        while (above < 6 && keys[above] <= wanted)
            ++above;
        for (int start = 0; start <= 6; ++start) {
            Node n(2, ISDUPS | ISLEADCOMP);
            for (std::uint32_t i = 0; i < 6; ++i) {
                const int shared = i == 0 ? 0
                                          : findoff(reinterpret_cast<const std::uint8_t *>(keys[i - 1].data()),
                                                    reinterpret_cast<const std::uint8_t *>(keys[i].data()), 2);
                n.add(bytes({shared}) + keys[i].substr(static_cast<std::size_t>(shared)) + pointer(i) + pointer(i + 1));
            }
            for (int i = 0; i < start; ++i)
                isNodeWalk(n.path(), kWalkNext);
            EXPECT_EQ(n.match(wanted), first < 6) << wanted << start;
            EXPECT_EQ(n.node().pointer, first < 6 ? first + 1 : 6) << wanted << start;
            EXPECT_EQ(n.great(wanted), above < 6) << wanted << start;
            EXPECT_EQ(n.node().pointer, above < 6 ? above + 1 : 6) << wanted << start;
        }
    }
}

std::string encode(unsigned short flags, const std::string &previous, const std::string &key) {
    Node n(static_cast<int>(key.size()), flags);
    std::uint8_t out[kMaxEncoded];
    const int length =
        isCompKey(n.path(), out, previous.empty() ? nullptr : reinterpret_cast<const std::uint8_t *>(previous.data()),
                  reinterpret_cast<const std::uint8_t *>(key.data()));
    return {reinterpret_cast<char *>(out), static_cast<std::size_t>(length)};
}

TEST(Encoding, TrailingBlanksAreLeftOutNulsAreNot) {
    EXPECT_EQ(encode(ISTRAILCOMP, "", "ab  "), bytes({2}) + "ab");
    EXPECT_EQ(encode(ISTRAILCOMP, "", std::string("ab\0\0", 4)), bytes({0}) + std::string("ab\0\0", 4));
    EXPECT_EQ(encode(ISTRAILCOMP | ISTRAILNUL, "", std::string("ab\0\0", 4)), bytes({2}) + "ab");
}

TEST(Encoding, TrailingCountDoesNotEnterTheLeadingBytes) {
    EXPECT_EQ(encode(ISLEADCOMP | ISTRAILCOMP, "ab  z", "ab   "), bytes({4, 1}));
    EXPECT_EQ(encode(ISLEADCOMP | ISTRAILCOMP, "ab   ", "ab   "), bytes({5, 0}));
}

TEST(Encoding, LeadingCountStaysReadableInAKeyOf128Bytes) {
    const std::string key(128, 'k');
    EXPECT_EQ(encode(ISLEADCOMP, key, key), bytes({127}) + "k");
    EXPECT_EQ(encode(ISLEADCOMP | ISTRAILCOMP, std::string(128, ' '), std::string(128, ' ')), bytes({127, 1}));
}

TEST(Encoding, RepeatedKeyIsEmptyOnlyUnderDuplicateCompression) {
    EXPECT_EQ(encode(ISDUPCOMP, "abc", "abc"), "");
    EXPECT_EQ(encode(ISDUPCOMP, "", "abc"), "abc");
    EXPECT_EQ(encode(ISLEADCOMP, "abc", "abc"), bytes({3}));
}

TEST(Encoding, KeyOf128FillBytesIsReadBackAsDamage) {
    EXPECT_EQ(encode(ISTRAILCOMP, "", std::string(128, ' ')), bytes({128}));
    EXPECT_EXIT(
        {
            Node n(128, ISTRAILCOMP);
            n.add(bytes({128}) + pointer(1));
            isNodeWalk(n.path(), kWalkFirst);
        },
        testing::ExitedWithCode(1), "");
}

TEST(CompressedNode, CountsBeyondTheKeyAreAFatalStop) {
    for (const std::string &counts : {bytes({5, 0}), bytes({3, 2}), bytes({0xff, 0}), bytes({0, 0x80})})
        EXPECT_EXIT(
            {
                Node n(4, ISLEADCOMP | ISTRAILCOMP);
                n.add(counts + "abcd" + pointer(1));
                isNodeWalk(n.path(), kWalkFirst);
            },
            testing::ExitedWithCode(1), "");
}

TEST(CompressedNode, EntryBeyondTheUsedLengthIsUnsound) {
    Node n(4, ISLEADCOMP);
    n.add(bytes({0}) + "abcd" + pointer(1)).add(bytes({0}) + "x");
    EXPECT_FALSE(compsound(n.path(), &n.node(), true));
}

}  // namespace
