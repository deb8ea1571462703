// Keys: how they are built, ordered, matched and judged.

#include "keys/iskey.h"

#include <cmath>
#include <cstring>
#include <random>

#include "base/ismif.h"
#include "unit/scratch_file.h"

namespace {

IndexPath pathOf(KeyDesc key) {
    IndexPath path = {};
    path.keyDesc = key;
    path.keyDesc.keyLength = static_cast<short>(isKeyLength(&key));
    path.searchLength = path.startLength = path.keyDesc.keyLength;
    isKeyOrder(&path);
    return path;
}

KeyDesc keyOf(std::initializer_list<KeyPart> parts, unsigned short flags = 0) {
    KeyDesc key = {};
    key.flags = flags;
    for (const KeyPart &part : parts)
        key.parts[key.nparts++] = part;
    return key;
}

template <typename T> std::vector<std::uint8_t> native(T value) {
    std::vector<std::uint8_t> bytes(sizeof value);
    std::memcpy(bytes.data(), &value, sizeof value);
    return bytes;
}

std::vector<std::uint8_t> text(const char *s) { return {s, s + std::strlen(s)}; }

int order(const IndexPath &path, std::vector<std::uint8_t> a, std::vector<std::uint8_t> b) {
    a.resize(ISMAXKEYLEN);
    b.resize(ISMAXKEYLEN);
    const int result = isKeyCmp(&path, a.data(), b.data());
    return result < 0 ? -1 : result > 0;
}

TEST(KeyOrder, BytesBehindTheSearchLengthDoNotCount) {
    IndexPath path = pathOf(keyOf({{0, 6, CHARTYPE}}));
    path.searchLength = 3;
    EXPECT_EQ(order(path, text("abcdef"), text("abcxyz")), 0);
    path.searchLength = 4;
    EXPECT_EQ(order(path, text("abcdef"), text("abcxyz")), -1);
}

TEST(KeyOrder, IntegersOrderBySignedFirstByteThenUnsignedBytes) {
    const IndexPath path = pathOf(keyOf({{0, 2, INTTYPE}}));
    EXPECT_EQ(order(path, {0xff, 0xff}, {0x00, 0x01}), -1);
    EXPECT_EQ(order(path, {0x01, 0x00}, {0x01, 0xff}), -1);
    EXPECT_EQ(order(path, {0x80, 0x00}, {0xff, 0xff}), -1);
    EXPECT_EQ(order(path, {0x7f, 0xff}, {0x80, 0x00}), 1);
}

TEST(KeyOrder, SignOfALongerIntegerPartIsInItsFirstByteAlone) {
    const IndexPath path = pathOf(keyOf({{0, 8, INTTYPE}}));
    EXPECT_EQ(order(path, {0, 1, 0xff, 0xff, 0, 0, 0, 0}, {0, 1, 0x00, 0x01, 0, 0, 0, 0}), 1);
    EXPECT_EQ(order(path, {0, 0, 0, 0, 0, 0, 0x80, 0}, {0, 0, 0, 0, 0, 0, 0x7f, 0xff}), 1);
    EXPECT_EQ(order(path, {0xff, 1, 0, 0, 0, 0, 0, 0}, {0, 1, 0, 0, 0, 0, 0, 0}), -1);
}

TEST(KeyOrder, NativePartsOfSeveralUnitsAreDecidedByTheUnitThatDiffersFirst) {
    const IndexPath path = pathOf(keyOf({{0, 8, MLONGTYPE}}));
    auto pair = [](std::int32_t x, std::int32_t y) {
        auto bytes = native(x);
        const auto second = native(y);
        bytes.insert(bytes.end(), second.begin(), second.end());
        return bytes;
    };
    EXPECT_EQ(order(path, pair(5, -1), pair(5, 1)), -1);
    EXPECT_EQ(order(path, pair(5, 1), pair(5, -1)), 1);
    EXPECT_EQ(order(path, pair(256, 0), pair(1, 9)), 1);
}

// Beside a native number no part is compared by bytes alone.
TEST(KeyOrder, SignOfALongerIntegerBesideANativeNumberIsInItsFirstByteAlone) {
    const IndexPath path = pathOf(keyOf({{0, 4, INTTYPE}, {4, 2, MINTTYPE}}));
    EXPECT_EQ(order(path, {0, 1, 0xff, 0xff, 0, 0}, {0, 1, 0x00, 0x01, 0, 0}), 1);
    EXPECT_EQ(order(path, {0, 1, 0x00, 0x02, 0, 0}, {0, 1, 0x00, 0x01, 0, 0}), 1);
    EXPECT_EQ(order(path, {0xff, 1, 0, 0, 0, 0}, {0, 1, 0, 0, 0, 0}), -1);
}

TEST(KeyOrder, NativeNumbersOrderByValue) {
    EXPECT_EQ(order(pathOf(keyOf({{0, 2, MINTTYPE}})), native<std::int16_t>(-300), native<std::int16_t>(2)), -1);
    EXPECT_EQ(order(pathOf(keyOf({{0, 4, MLONGTYPE}})), native<std::int32_t>(1 << 20), native<std::int32_t>(255)), 1);
    EXPECT_EQ(order(pathOf(keyOf({{0, 4, FLOATTYPE}})), native(-1.5F), native(1.5F)), -1);
    EXPECT_EQ(order(pathOf(keyOf({{0, 8, DOUBLETYPE}})), native(1e300), native(-1e300)), 1);
}

TEST(KeyOrder, BothZerosAndNaNComeOutSmallerOnEitherSide) {
    const IndexPath path = pathOf(keyOf({{0, 4, FLOATTYPE}}));
    EXPECT_EQ(order(path, native(0.0F), native(-0.0F)), -1);
    EXPECT_EQ(order(path, native(-0.0F), native(0.0F)), -1);
    EXPECT_EQ(order(path, native(std::nanf("")), native(1.0F)), -1);
    EXPECT_EQ(order(path, native(1.0F), native(std::nanf(""))), -1);
}

TEST(KeyOrder, DescendingPartInvertsOnlyWhereItHoldsTheFirstDifference) {
    const IndexPath path = pathOf(keyOf({{0, 2, CHARTYPE}, {2, 2, CHARTYPE | ISDESC}}));
    EXPECT_EQ(order(path, text("abxx"), text("acaa")), -1);
    EXPECT_EQ(order(path, text("abxx"), text("abaa")), -1);
    EXPECT_EQ(order(path, text("abaa"), text("abxx")), 1);
}

TEST(KeyMaking, StringPartEndsAtItsNulAndIsNulToItsEnd) {
    const IndexPath path = pathOf(keyOf({{1, 8, STRINGTYPE}}));
    const char record[] = "?ab\0garbage";
    std::uint8_t key[ISMAXKEYLEN];
    std::memset(key, 0x55, sizeof key);
    isKeyMake(&path, key, record);
    EXPECT_EQ(std::memcmp(key, "ab\0\0\0\0\0\0", 8), 0);
    EXPECT_EQ(key[8], 0x55);
}

TEST(KeyMaking, PartsStandInPartOrderAndGoBackWhereTheyCameFrom) {
    IndexPath path = pathOf(keyOf({{6, 2, CHARTYPE}, {0, 3, CHARTYPE}}));
    std::uint8_t key[ISMAXKEYLEN];
    isKeyMake(&path, key, "abc...yz");
    EXPECT_EQ(std::memcmp(key, "yzabc", 5), 0);
    char record[] = "--------";
    isKeyLoad(&path, record, key);
    EXPECT_STREQ(record, "abc---yz");
    std::memcpy(path.positionKey, "12345", 5);
    isKeyLoad(&path, record, nullptr);
    EXPECT_STREQ(record, "345---12");
}

TEST(KeyMatch, LooksAtTheSearchLengthAlone) {
    IndexPath path = pathOf(keyOf({{0, 4, CHARTYPE}}));
    const auto a = text("abcd"), b = text("abce");
    EXPECT_FALSE(isKeyMatch(&path, a.data(), b.data()));
    path.searchLength = 3;
    EXPECT_TRUE(isKeyMatch(&path, a.data(), b.data()));
}

TEST(NullKey, IsOneWhoseEveryByteIsItsPartsNullByte) {
    const auto wide = [](unsigned fill) {
        return static_cast<unsigned short>(CHARTYPE | fill << 8);
    };
    const IndexPath path = pathOf(keyOf({{0, 2, wide(' ')}, {2, 2, wide('*')}}, ISNULLKEY));
    EXPECT_TRUE(isKeyNull(&path, text("  **").data()));
    EXPECT_FALSE(isKeyNull(&path, text("  *x").data()));
    EXPECT_FALSE(isKeyNull(&path, text("    ").data()));
}

TEST(NullKey, ExistsOnlyInAnIndexThatSkipsThem) {
    const IndexPath path = pathOf(keyOf({{0, 4, static_cast<unsigned short>(CHARTYPE | ' ' << 8)}}));
    EXPECT_FALSE(isKeyNull(&path, text("    ").data()));
}

class Description : public testing::Test {
  protected:
    bool accepted(const KeyDesc &key) const { return isTestIndex(&file_, &key); }
    IsamFile file_ = {};
};

TEST_F(Description, TenPartsAreAcceptedElevenRefused) {
    KeyDesc key = {};
    for (short i = 0; i < 10; ++i)
        key.parts[i] = {i, 1, CHARTYPE};
    key.nparts = 10;
    EXPECT_TRUE(accepted(key));
    key.nparts = 11;
    EXPECT_FALSE(accepted(key));
    key.nparts = -1;
    EXPECT_FALSE(accepted(key));
    key.nparts = 0;
    key.flags = 0xffff;
    EXPECT_TRUE(accepted(key)) << "no parts: nothing else is looked at";
}

TEST_F(Description, KeyOf128BytesIsAccepted129Refused) {
    EXPECT_TRUE(accepted(keyOf({{0, 128, CHARTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 129, CHARTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 100, CHARTYPE}, {0, 29, CHARTYPE}})));
}

TEST_F(Description, LengthMustBeAMultipleOfTheUnit) {
    EXPECT_FALSE(accepted(keyOf({{0, 3, INTTYPE}})));
    EXPECT_TRUE(accepted(keyOf({{0, 4, INTTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 6, LONGTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 4, DOUBLETYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 2, FLOATTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 1, MINTTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 5, MLONGTYPE}})));
    EXPECT_TRUE(accepted(keyOf({{0, 5, STRINGTYPE}})));
}

TEST_F(Description, UnknownTypesFlagsAndPlacesAreRefused) {
    EXPECT_FALSE(accepted(keyOf({{0, 8, QUADTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, 4, CHARTYPE}}, 0x40)));
    EXPECT_FALSE(accepted(keyOf({{-1, 4, CHARTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{0, -4, CHARTYPE}})));
    file_.recordLength = 10;
    EXPECT_TRUE(accepted(keyOf({{6, 4, CHARTYPE}})));
    EXPECT_FALSE(accepted(keyOf({{7, 4, CHARTYPE}})));
}

TEST(FirstDifference, IsFoundAtEveryPlaceAndLength) {
    std::uint8_t a[40], b[40];
    std::memset(a, 7, sizeof a);
    for (int n = 0; n <= 40; ++n) {
        std::memcpy(b, a, sizeof b);
        EXPECT_EQ(findoff(a, b, n), n);
        for (int d = 0; d < n; ++d) {
            std::memcpy(b, a, sizeof b);
            b[d] = 9;
            EXPECT_EQ(findoff(a, b, n), d);
        }
    }
}

// The order as it is told, part by part.
int slowOrder(const KeyDesc &key, const std::uint8_t *a, const std::uint8_t *b, int length) {
    int at = 0;
    for (int i = 0; i < key.nparts; ++i) {
        const KeyPart &part = key.parts[i];
        const int type = part.type & ~ISDESC;
        for (int byte = 0; byte < part.length && at < length; ++byte, ++at) {
            if (a[at] == b[at]) continue;
            const bool sign = byte == 0 && (type == INTTYPE || type == LONGTYPE);
            const bool below = sign ? static_cast<std::int8_t>(a[at]) < static_cast<std::int8_t>(b[at]) : a[at] < b[at];
            return below == ((part.type & ISDESC) == 0) ? -1 : 1;
        }
    }
    return 0;
}

TEST(KeyOrder, OfTextAndNumbersIsThatOfTheirParts) {
    std::mt19937 random(5);
    const auto below = [&](unsigned n) {
        return static_cast<int>(random() % n);
    };
    for (int round = 0; round < 3000; ++round) {
        KeyDesc key = {};
        for (int parts = 1 + below(4); key.nparts < parts;) {
            const short units[] = {1, 2, 4, 1};
            const unsigned short types[] = {CHARTYPE, INTTYPE, LONGTYPE, STRINGTYPE};
            const int kind = below(4);
            const auto type = static_cast<unsigned short>(types[kind] | (below(2) == 0 ? ISDESC : 0));
            key.parts[key.nparts++] = {0, static_cast<short>(units[kind] * (1 + below(7))), type};
        }
        IndexPath path = pathOf(key);
        ASSERT_TRUE(path.byteOrder);
        path.searchLength = 1 + below(static_cast<unsigned>(path.keyDesc.keyLength));
        std::vector<std::uint8_t> a(ISMAXKEYLEN), b;
        for (std::uint8_t &byte : a)
            byte = static_cast<std::uint8_t>(random());
        b = a;
        const int differs = below(static_cast<unsigned>(path.keyDesc.keyLength) + 2);
        for (std::size_t i = static_cast<std::size_t>(differs); i < b.size(); ++i)
            b[i] = static_cast<std::uint8_t>(random());
        ASSERT_EQ(order(path, a, b), slowOrder(key, a.data(), b.data(), path.searchLength)) << round;
    }
}

TEST(KeyOrder, NumbersOfTheMachineAreNotThatOfTheirBytes) {
    for (const unsigned short type : {DOUBLETYPE, FLOATTYPE, MINTTYPE, MLONGTYPE})
        EXPECT_FALSE(pathOf(keyOf({{0, 8, CHARTYPE}, {8, 8, type}})).byteOrder) << type;
}

}  // namespace
