// The tests' own idea of compressed tails, by examples worked out by hand.
#include "support/squash.h"

#include <gtest/gtest.h>

#include <string>

namespace {

using testing_support::Bytes;
using testing_support::expand;
using testing_support::squash;
using testing_support::throughCompression;

Bytes bytes(const std::string &text) { return {text.begin(), text.end()}; }

Bytes literals(int count) {
    Bytes out;
    for (int i = 0; i < count; ++i)
        out.push_back(static_cast<std::uint8_t>('A' + i % 50));
    return out;
}

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

TEST(Squash, LongRunIsCutIntoFullOnes) { EXPECT_EQ((Bytes{0xbf, 0xa5, 0x00}), squash(Bytes(100, ' '))); }

TEST(Squash, TailWithoutRunsIsKeptAsItIs) {
    EXPECT_EQ((Bytes{0x00, 0x00, 0x04}) + bytes("A B0"), squash(bytes("A B0")));
    EXPECT_EQ((Bytes{0x00, 0x00, 0x01, 'x'}), squash(bytes("x")));
}

TEST(Squash, RunsMustSaveMoreThanTheirHeader) {
    EXPECT_EQ((Bytes{0x00, 0x00, 0x08}) + bytes("AB     C"), squash(bytes("AB     C")));
    EXPECT_EQ((Bytes{0x02, 0x86, 0x01, 0x00}) + bytes("ABC"), squash(bytes("AB      C")));
}

TEST(Squash, EachFillByteHasItsCode) {
    Bytes tail = Bytes(9, 0x00) + Bytes(9, '0') + Bytes(9, ' ');
    EXPECT_EQ((Bytes{0x49, 0xc9, 0x89, 0x00}), squash(tail));
}

TEST(Squash, SingleFillBytesAreLiterals) {
    EXPECT_EQ((Bytes{0x8a, 0x05, 0x00}) + bytes("a b0c"), squash(Bytes(10, ' ') + bytes("a b0c")));
}

TEST(Squash, FullCountOfLiteralsIsFollowedByAnother) {
    Bytes tail = Bytes(10, '0') + literals(65);
    EXPECT_EQ((Bytes{0xca, 0x3f, 0x02, 0x00}) + literals(65), squash(tail));
    EXPECT_EQ(tail, throughCompression(tail));
}

TEST(Squash, SixtyFourLiteralsAtTheEndAreLost) {
    Bytes tail = Bytes(10, ' ') + literals(64);
    EXPECT_EQ((Bytes{0x8a, 0x40, 0x00}), squash(tail));
    EXPECT_EQ(Bytes(10, ' '), throughCompression(tail));
}

TEST(Squash, SixtyFourLiteralsOfAnUncodedTailStay) { EXPECT_EQ(literals(64), throughCompression(literals(64))); }

TEST(Squash, TailsComeBackAsTheyWere) {
    for (int run = 1; run < 200; ++run) {
        Bytes tail = literals(run % 7) + Bytes(static_cast<std::size_t>(run), '0') + literals(3);
        EXPECT_EQ(tail, throughCompression(tail)) << run;
    }
}

TEST(Squash, WhatIsNotOneWholeCodedTailIsRefused) {
    Bytes out;
    EXPECT_FALSE(expand({}, &out));
    EXPECT_FALSE(expand({0x00, 0x00}, &out));
    EXPECT_FALSE(expand({0x00, 0x00, 0x02, 'a'}, &out));
    EXPECT_FALSE(expand({0x00, 0x00, 0x01, 'a', 'b'}, &out));
    EXPECT_FALSE(expand({0x85, 0x85}, &out));
    EXPECT_FALSE(expand({0x02, 0x85, 0x00, 'a'}, &out));
    EXPECT_FALSE(expand({0x01, 0x85, 0x00, 'a', 'b'}, &out));
}

}  // namespace
