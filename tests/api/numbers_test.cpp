// Numbers and texts in records, and the comparison of the extra types.

#include "rows.h"

#include <clocale>
#include <cmath>
#include <cstdint>
#include <limits>

namespace api {
namespace {

std::string bytesOf(const void *at, std::size_t count) { return std::string(static_cast<const char *>(at), count); }

TEST(Numbers, TwoByteIntegersAreUnsignedAndBigEndian) {
    const struct {
        int value;
        std::string bytes;
        int loaded;
    } cases[] = {
        {0, std::string("\0\0", 2), 0}, {1, std::string("\0\1", 2), 1}, {-1, "\xff\xff", 65535},
        {70000, "\x11\x70", 4464},      {0x1234, "\x12\x34", 0x1234},   {-32768, std::string("\x80\0", 2), 32768},
        {65535, "\xff\xff", 65535},
    };
    for (const auto &c : cases) {
        char at[4] = {'x', 'x', 'x', 'x'};
        EXPECT_EQ(stint(c.value, at + 1), 0);
        EXPECT_EQ(bytesOf(at + 1, 2), c.bytes) << c.value;
        EXPECT_EQ(at[0], 'x');
        EXPECT_EQ(at[3], 'x');
        EXPECT_EQ(ldint(at + 1), c.loaded) << c.value;
    }
}

TEST(Numbers, FourByteIntegersAreSignedAndBigEndian) {
    const struct {
        long value;
        std::string bytes;
    } cases[] = {
        {0, std::string("\0\0\0\0", 4)},
        {-2, "\xff\xff\xff\xfe"},
        {0x01020304, "\1\2\3\4"},
        {2147483647L, "\x7f\xff\xff\xff"},
        {-2147483647L - 1, std::string("\x80\0\0\0", 4)},
    };
    for (const auto &c : cases) {
        char at[6] = {'x', 'x', 'x', 'x', 'x', 'x'};
        EXPECT_EQ(stlong(c.value, at + 1), 0);
        EXPECT_EQ(bytesOf(at, 6), "x" + c.bytes + "x") << c.value;
        EXPECT_EQ(ldlong(at + 1), c.value);
    }
}

TEST(Numbers, TextsAreFilledWithBlanksAndLoadedWithoutThem) {
    char field[6] = "#####";
    EXPECT_EQ(stchar("ab", field, 5), 0);
    EXPECT_STREQ(field, "ab   ");
    char text[6];
    EXPECT_EQ(ldchar(field, 5, text), 0);
    EXPECT_STREQ(text, "ab");
    EXPECT_EQ(ldchar("     ", 5, text), 0);
    EXPECT_STREQ(text, "");
    EXPECT_EQ(ldchar("a b  ", 5, text), 0);
    EXPECT_STREQ(text, "a b");
    EXPECT_EQ(ldchar("abcde", 5, text), 0);
    EXPECT_STREQ(text, "abcde");
}

TEST(Numbers, LongTextIsCutAtTheFieldAndOnlyBlanksAreTakenOff) {
    char field[6] = "#####";
    EXPECT_EQ(stchar("abcdefgh", field, 4), 0);
    EXPECT_STREQ(field, "abcd#");
    char text[6];
    EXPECT_EQ(ldchar("ab\t  ", 5, text), 0);
    EXPECT_STREQ(text, "ab\t");
}

TEST(Numbers, FloatingPointKeepsTheMachinesBytesAtAnyAddress) {
    char at[9] = {};
    const float single = -1.5F;
    EXPECT_EQ(stfloat(single, at + 1), 0);
    EXPECT_EQ(bytesOf(at + 1, 4), bytesOf(&single, 4));
    EXPECT_EQ(ldfloat(at + 1), single);
    const double twice = 1e300;
    EXPECT_EQ(stdbl(twice, at + 1), 0);
    EXPECT_EQ(bytesOf(at + 1, 8), bytesOf(&twice, 8));
    EXPECT_EQ(lddbl(at + 1), twice);
}

TEST(Numbers, NullFlagStoresZeroAndZeroLoadsAsNull) {
    char at[8];
    short null = 7;
    EXPECT_EQ(stfltnull(3.5F, at, 1), 0);
    EXPECT_EQ(ldfloat(at), 0.0F);
    EXPECT_EQ(ldfltnull(at, &null), 0.0F);
    EXPECT_EQ(null, 1);
    EXPECT_EQ(stfltnull(0.0F, at, 0), 0);
    null = 7;
    EXPECT_EQ(ldfltnull(at, &null), 0.0F);
    EXPECT_EQ(null, 1);
    EXPECT_EQ(stfltnull(3.5F, at, 0), 0);
    EXPECT_EQ(ldfltnull(at, &null), 3.5F);
    EXPECT_EQ(null, 0);
    stfloat(-0.0F, at);
    EXPECT_TRUE(std::signbit(ldfltnull(at, &null)));
    EXPECT_EQ(null, 1);
    stfloat(std::numeric_limits<float>::quiet_NaN(), at);
    EXPECT_TRUE(std::isnan(ldfltnull(at, &null)));
    EXPECT_EQ(null, 0);
}

TEST(Numbers, NullFlagOfDoublesWorksAlike) {
    char at[8];
    short null = 7;
    EXPECT_EQ(stdblnull(3.5, at, 1), 0);
    EXPECT_EQ(lddbl(at), 0.0);
    EXPECT_EQ(lddblnull(at, &null), 0.0);
    EXPECT_EQ(null, 1);
    EXPECT_EQ(stdblnull(3.5, at, 0), 0);
    EXPECT_EQ(lddblnull(at, &null), 3.5);
    EXPECT_EQ(null, 0);
    EXPECT_EQ(stdblnull(0.0, at, 0), 0);
    EXPECT_EQ(lddblnull(at, &null), 0.0);
    EXPECT_EQ(null, 1);
}

TEST(Numbers, ExtraTypesHaveTheirLengths) {
    for (int type = -1; type < 70; ++type) {
        const int expected = type == QUADTYPE                          ? 8
                             : type == BYTETYPE || type == COLLATETYPE ? 1
                             : type == RFATYPE                         ? 6
                                                                       : 0;
        EXPECT_EQ(isCustLen(type), expected) << type;
    }
}

int compared(int type, const void *a, const void *b) {
    KeyDesc key = keyDesc(0, {{0, 1, CHARTYPE}, {1, 8, type}});
    const int forward = isCustCmp(&key, 1, a, b), backward = isCustCmp(&key, 1, b, a);
    EXPECT_EQ(forward > 0, backward < 0);
    EXPECT_EQ(forward<0, backward> 0);
    return forward > 0 ? 1 : forward < 0 ? -1 : 0;
}

TEST(Numbers, QuadsCompareAsSigned64BitNumbers) {
    const std::int64_t sorted[] = {
        std::numeric_limits<std::int64_t>::min(), -0x100000000, -2, -1, 0, 1, 0xffffffff, 0x100000000,
        std::numeric_limits<std::int64_t>::max()};
    for (std::size_t i = 0; i < std::size(sorted); ++i)
        for (std::size_t j = 0; j < std::size(sorted); ++j)
            EXPECT_EQ(compared(QUADTYPE, &sorted[i], &sorted[j]), i < j ? -1 : i > j ? 1 : 0) << i << " " << j;
}

TEST(Numbers, BytesAndAddressesCompareUnsigned) {
    EXPECT_EQ(compared(BYTETYPE, "\x7f", "\x80"), -1);
    EXPECT_EQ(compared(BYTETYPE, "\x80", "\x80"), 0);
    EXPECT_EQ(compared(RFATYPE, "aaaaa\x7f", "aaaaa\xff"), -1);
    EXPECT_EQ(compared(RFATYPE, "baaaaa", "abbbbb"), 1);
    EXPECT_EQ(compared(RFATYPE, "aaaaaaX", "aaaaaaY"), 0);
}

TEST(Numbers, CollatedTextFollowsTheLocale) {
    ASSERT_NE(std::setlocale(LC_COLLATE, "C"), nullptr);
    EXPECT_EQ(compared(COLLATETYPE, "abc", "abd"), -1);
    EXPECT_EQ(compared(COLLATETYPE, "abc", "abc"), 0);
    EXPECT_EQ(compared(COLLATETYPE, "a", "B"), 1);
}

TEST(Numbers, DescendingDoesNotCountAndOrdinaryTypesAreEqual) {
    KeyDesc key = keyDesc(0, {{0, 1, BYTETYPE | ISDESC}});
    EXPECT_LT(isCustCmp(&key, 0, "a", "b"), 0);
    for (const int type :
         {CHARTYPE, INTTYPE, LONGTYPE, DOUBLETYPE, FLOATTYPE, MINTTYPE, MLONGTYPE, STRINGTYPE, 9, 13}) {
        key = keyDesc(0, {{0, 8, type}});
        EXPECT_EQ(isCustCmp(&key, 0, "aaaaaaaa", "bbbbbbbb"), 0) << type;
    }
}

}  // namespace
}  // namespace api
