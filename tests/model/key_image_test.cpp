// The tests' own idea of keys, by examples worked out by hand.
#include "support/key_desc.h"
#include "support/key_image.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

using namespace testing_support;

template <typename T> Key native(T value) {
    Key key(sizeof value, '\0');
    std::memcpy(key.data(), &value, sizeof value);
    return key;
}

IndexSpec one(int type, int length) { return specOf(keyDesc(ISNODUPS, {{0, length, type}})); }

TEST(KeyImage, IntegersSortBySign) {
    IndexSpec spec = one(INTTYPE, 2);
    EXPECT_LT(compareKeys(spec, Key("\xff\xff", 2), Key("\x00\x01", 2)), 0);
    EXPECT_LT(compareKeys(spec, Key("\x01\x00", 2), Key("\x01\xff", 2)), 0);
    EXPECT_EQ(compareKeys(spec, Key("\x01\x00", 2), Key("\x01\x00", 2)), 0);
}

TEST(KeyImage, NativeNumbersSortByValue) {
    EXPECT_LT(compareKeys(one(MINTTYPE, 2), native<short>(-1), native<short>(256)), 0);
    EXPECT_GT(compareKeys(one(MLONGTYPE, 4), native(70000), native(-70000)), 0);
    EXPECT_LT(compareKeys(one(FLOATTYPE, 4), native(-1.5F), native(0.25F)), 0);
    EXPECT_GT(compareKeys(one(DOUBLETYPE, 8), native(3.0), native(-4.0)), 0);
}

TEST(KeyImage, UnitWithTheFirstDifferenceDecides) {
    IndexSpec spec = one(MINTTYPE, 4);
    EXPECT_LT(compareKeys(spec, native<short>(5) + native<short>(-9), native<short>(5) + native<short>(1)), 0);
    EXPECT_GT(compareKeys(spec, native<short>(6) + native<short>(-9), native<short>(5) + native<short>(1)), 0);
}

TEST(KeyImage, DescendingTurnsOnlyItsOwnPartRound) {
    IndexSpec spec = specOf(keyDesc(ISNODUPS, {{0, 1, CHARTYPE}, {1, 1, CHARTYPE | ISDESC}}));
    EXPECT_LT(compareKeys(spec, "az", "bz"), 0);
    EXPECT_GT(compareKeys(spec, "aa", "az"), 0);
}

TEST(KeyImage, OnlyTheSearchLengthCounts) {
    EXPECT_EQ(compareKeys(one(CHARTYPE, 4), "abcd", "abzz", 2), 0);
    EXPECT_LT(compareKeys(one(CHARTYPE, 4), "abcd", "abzz", 3), 0);
}

TEST(KeyImage, TextEndsAtItsNul) {
    IndexSpec spec = one(STRINGTYPE, 8);
    const unsigned char record[9] = "ab\0junk!";
    EXPECT_EQ(Key("ab\0\0\0\0\0\0", 8), makeKey(spec, record));
}

TEST(KeyImage, PartsAreJoinedInOrderAndGoBack) {
    IndexSpec spec = specOf(keyDesc(ISNODUPS, {{3, 2}, {0, 2}}));
    const unsigned char record[6] = "01234";
    Key key = makeKey(spec, record);
    EXPECT_EQ("3401", key);
    unsigned char back[6] = ".....";
    scatterKey(spec, key, back);
    EXPECT_STREQ("01.34", reinterpret_cast<char *>(back));
}

TEST(KeyImage, NullKeyNeedsEveryNullByte) {
    IndexSpec spec = specOf(keyDesc(ISNULLKEY, {{0, 2, CHARTYPE, ' '}, {2, 1, CHARTYPE, 0xff}}));
    EXPECT_TRUE(isNullKey(spec, "  \xff"));
    EXPECT_FALSE(isNullKey(spec, "   "));
    spec.flags = 0;
    EXPECT_FALSE(isNullKey(spec, "  \xff"));
}

}  // namespace
