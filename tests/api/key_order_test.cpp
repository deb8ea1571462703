// The order of each key type, seen through reads.
#include "steps.h"

#include <cmath>
#include <cstdint>
#include <limits>

namespace api {
namespace {

constexpr int kValueLen = 16;

class KeyOrder : public ApiTest {
  protected:
    // Bytes of a machine value.
    template <typename Value> static std::string native(Value value) {
        return {reinterpret_cast<const char *>(&value), sizeof value};
    }
    static std::string shortOf(int value) {
        char bytes[2];
        stint(value, bytes);
        return {bytes, 2};
    }
    static std::string longOf(long value) {
        char bytes[4];
        stlong(value, bytes);
        return {bytes, 4};
    }
    // Writes the values, which are given in their order, in a stirred one, and reads them back; both ways, flat and
    // compressed, ascending and descending.
    void expectOrder(int type, const std::vector<std::string> &ordered) {
        const int length = static_cast<int>(ordered.front().size());
        for (const int flags : {ISDUPS, ISDUPS | ISLEADCOMP | ISTRAILCOMP}) {
            for (const int desc : {0, ISDESC}) {
                SCOPED_TRACE(flags);
                SCOPED_TRACE(desc);
                KeyDesc key = keyDesc(flags, {{0, length, type | desc}});
                const int fd = isbuild(path("o" + std::to_string(++files_)).c_str(), kValueLen, &key, ISINOUT);
                ASSERT_GE(fd, 0);
                const std::size_t count = ordered.size();
                for (std::size_t i = 0; i < count; ++i)
                    EXPECT_OK(iswrite(fd, padded(ordered[(i * 7 + 3) % count]).data()));
                ASSERT_NE(count % 7, 0U) << "the stirring would miss values";
                for (std::size_t i = 0; i < count; ++i) {
                    std::string got(kValueLen, '?');
                    EXPECT_OK(isread(fd, got.data(), i == 0 ? ISFIRST : ISNEXT));
                    EXPECT_EQ(got, padded(ordered[desc != 0 ? count - 1 - i : i])) << i;
                    EXPECT_OK(isread(fd, got.data(), ISEQUAL));
                }
                EXPECT_OK(isclose(fd));
                soundEntries(path("o" + std::to_string(files_)));
            }
        }
    }
    static std::string padded(std::string value) {
        value.resize(kValueLen, '#');
        return value;
    }

  private:
    int files_ = 0;
};

TEST_F(KeyOrder, TextGoesByUnsignedBytes) {
    expectOrder(CHARTYPE, {std::string("\0\0", 2), std::string("\0 ", 2), "  ", " a", "A ", "a ", "aa", "\x7f\xff",
                           "\x80 ", "\xff "});
}

TEST_F(KeyOrder, ShortIntegersAreSigned) {
    std::vector<std::string> values;
    for (const int value : {-32768, -256, -255, -2, -1, 0, 1, 255, 256, 511, 32767})
        values.push_back(shortOf(value));
    expectOrder(INTTYPE, values);
}

TEST_F(KeyOrder, LongIntegersAreSigned) {
    std::vector<std::string> values;
    for (const long value : {-2147483647L - 1, -65536L, -65535L, -1L, 0L, 1L, 255L, 256L, 65536L, 2147483647L})
        values.push_back(longOf(value));
    expectOrder(LONGTYPE, values);
}

TEST_F(KeyOrder, MachineShortsAreSigned) {
    std::vector<std::string> values;
    for (const int value : {-32768, -256, -255, -1, 0, 1, 255, 256, 32767})
        values.push_back(native(static_cast<std::int16_t>(value)));
    expectOrder(MINTTYPE, values);
}

TEST_F(KeyOrder, MachineLongsAreSigned) {
    std::vector<std::string> values;
    for (const std::int32_t value : {std::numeric_limits<std::int32_t>::min(), -65536, -1, 0, 1, 256, 65536, 1 << 24,
                                     std::numeric_limits<std::int32_t>::max()})
        values.push_back(native(value));
    expectOrder(MLONGTYPE, values);
}

TEST_F(KeyOrder, FloatsGoByValue) {
    std::vector<std::string> values;
    for (const float value : {-INFINITY, -1e30F, -2.5F, -1e-30F, 0.0F, 1e-30F, 1.0F, 2.5F, 1e30F, INFINITY})
        values.push_back(native(value));
    expectOrder(FLOATTYPE, values);
}

TEST_F(KeyOrder, DoublesGoByValue) {
    std::vector<std::string> values;
    for (const double value : {-HUGE_VAL, -1e300, -2.5, -1e-300, 0.0, 1e-300, 1.0, 2.5, 1e300, HUGE_VAL})
        values.push_back(native(value));
    expectOrder(DOUBLETYPE, values);
}

TEST_F(KeyOrder, StringsEndAtTheirNul) {
    const int fd = build(ISINOUT, keyDesc(ISNODUPS, {{0, 8, STRINGTYPE}}), kValueLen);
    std::string first("ab\0garbage......", kValueLen), second("ab\0other........", kValueLen);
    EXPECT_OK(iswrite(fd, first.data()));
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, second.data()));
    EXPECT_OK(isread(fd, second.data(), ISEQUAL));
    EXPECT_EQ(second, first);
    EXPECT_EQ(std::memcmp(isseekey(fd), "ab\0\0\0\0\0", 8), 0);
}

TEST_F(KeyOrder, StringsGoByUnsignedBytes) {
    expectOrder(STRINGTYPE,
                {std::string("\0\0\0", 3), std::string("A\0\0", 3), std::string("a\0\0", 3), std::string("ab\0", 3),
                 "abc", std::string("b\0\0", 3), std::string("\xff\0\0", 3), "\xff\xff\xff"});
}

TEST_F(KeyOrder, ZeroesOfBothSignsAreDifferentKeys) {
    const int fd = build(ISINOUT, keyDesc(ISNODUPS, {{0, 4, FLOATTYPE}}), kValueLen);
    EXPECT_OK(iswrite(fd, padded(native(0.0F)).data()));
    EXPECT_OK(iswrite(fd, padded(native(-0.0F)).data()));
    EXPECT_EQ(recordCount(fd), 2);
    dontCheck();
}

TEST_F(KeyOrder, DescendingPartTurnsOnlyItsOwnDifferences) {
    const KeyDesc key = keyDesc(ISNODUPS, {{kGroupAt, 2, INTTYPE}, {0, 4, LONGTYPE | ISDESC}});
    const int fd = build(ISINOUT, key);
    for (const long id : {1, 2, 3})
        for (const int group : {5, -5})
            put(fd, row(id * 10 + (group > 0 ? 1 : 0), "", group));
    EXPECT_EQ(idsOf(fd), (Ids{30, 20, 10, 31, 21, 11}));
}

TEST_F(KeyOrder, PartsCountInTheirOwnOrderWhereverTheyAre) {
    const KeyDesc key = keyDesc(ISNODUPS, {{kNoteAt, 2}, {kNameAt, 2}, {0, 4, LONGTYPE}});
    const int fd = build(ISINOUT, key);
    put(fd, row(1, "zz", 0, "a"));
    put(fd, row(2, "aa", 0, "b"));
    put(fd, row(4, "aa", 0, "a"));
    put(fd, row(3, "aa", 0, "a"));
    EXPECT_EQ(idsOf(fd), (Ids{3, 4, 1, 2}));
}

TEST_F(KeyOrder, OverlappingPartsAreAllowed) {
    const int fd = build(ISINOUT, keyDesc(ISNODUPS, {{kNameAt + 1, 2}, {kNameAt, 3}}));
    put(fd, row(1, "bac"));
    put(fd, row(2, "aba"));
    put(fd, row(3, "aac"));
    EXPECT_EQ(idsOf(fd), (Ids{3, 1, 2}));
}

TEST_F(KeyOrder, TenPartsMakeOneKey) {
    KeyDesc key = keyDesc(ISNODUPS, {{kNoteAt, 1},
                                     {kNoteAt + 1, 1},
                                     {kNoteAt + 2, 1},
                                     {kNoteAt + 3, 1},
                                     {kNoteAt + 4, 1},
                                     {kNoteAt + 5, 1},
                                     {kNoteAt + 6, 1},
                                     {kNoteAt + 7, 1},
                                     {kNoteAt + 8, 1},
                                     {kNoteAt + 9, 1, ISDESC}});
    const int fd = build(ISINOUT, key);
    put(fd, row(1, "", 0, "aaaaaaaaaa"));
    put(fd, row(2, "", 0, "aaaaaaaaab"));
    put(fd, row(3, "", 0, "aaaaaaaa b"));
    EXPECT_EQ(idsOf(fd), (Ids{3, 2, 1}));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(idsOf(open()), (Ids{3, 2, 1}));
}

}  // namespace
}  // namespace api
