// What stands between a field's bytes and its value, type by type: exact bytes, both ways.
#include "records/codec.h"
#include "layout/layout.h"

#include <gtest/gtest.h>

#include <cstring>

namespace {

using tool::Value;

// A codec for what stands behind the field's beginning in a layout: "4 long", "3 packed scale 2".
std::unique_ptr<tool::Codec> codec(const std::string &words) {
    const bool rest = words.starts_with("*");
    const tool::Layout layout = tool::parseLayout(
        "record " + std::string(rest ? "1..90" : "90") + "\nfield f " + (rest ? "1 " : "0 ") + words, "L");
    return tool::makeCodec(layout.fields[0]);
}

Value text(const std::string &words) { return {Value::kText, words}; }
Value number(const std::string &words) { return {Value::kNumber, words}; }
Value bytes(const std::string &words) { return {Value::kBytes, words}; }

std::string fault(const std::string &words, const Value &value) {
    try {
        codec(words)->store(value);
    } catch (const tool::ValueFault &wrong) {
        return wrong.what();
    }
    return "none";
}

// The bytes are shown as the value, and the value is stored as the bytes.
void same(const std::string &words, const std::string &stored, const Value &value) {
    const auto both = codec(words);
    EXPECT_EQ(both->show(stored).text, value.text) << words;
    EXPECT_EQ(both->show(stored).kind, value.kind) << words << " " << value.text;
    EXPECT_EQ(both->store(value), stored) << words << " " << value.text;
}

std::string raw(std::initializer_list<int> all) {
    std::string out;
    for (const int byte : all)
        out += static_cast<char>(byte);
    return out;
}

template <typename T> std::string machine(T value) {
    std::string out(sizeof value, '\0');
    std::memcpy(out.data(), &value, sizeof value);
    return out;
}

TEST(Codec, CharIsFilledWithBlanks) {
    same("6 char", "ab c  ", text("ab c"));
    same("6 char", "      ", text(""));
    same("6 char", "  ab  ", text("  ab"));
    same("6 char", "abcdef", text("abcdef"));
    same("6 char", "\xc3\xa4\xc3\xb6  ", text("äö"));
    same("6 char", "a\tb\r\n ", text("a\tb\r\n"));
    EXPECT_EQ(fault("6 char", text("abcdefg")), "has 7 bytes, the field 6");
    EXPECT_EQ(fault("6 char", text("äöüß")), "has 8 bytes, the field 6");
    EXPECT_EQ(codec("3 char")->blank(), "   ");
}

TEST(Codec, CharShowsWhatIsNoTextAsBytes) {
    same("4 char", raw({'a', 0, ' ', ' '}), bytes(raw({'a', 0, ' ', ' '})));
    same("4 char", "a\xe4  ", bytes("a\xe4  "));
    for (const char *no_utf8 :
         {"\xc0\x80", "\xed\xa0\x80", "\xf4\x90\x80\x80", "\xe2\x82", "\x80", "\xf8\x88\x80\x80"}) {
        std::string field = no_utf8;
        field.resize(5, ' ');
        EXPECT_EQ(codec("5 char")->show(field).kind, Value::kBytes);
    }
    EXPECT_EQ(fault("4 char", text("\xff")), "is no UTF-8");
    EXPECT_EQ(fault("4 char", bytes("abc")), "has 3 bytes, the field 4");
}

TEST(Codec, StringEndsAtItsNul) {
    same("5 string", raw({'a', 'b', 0, 0, 0}), text("ab"));
    same("5 string", "abcde", text("abcde"));
    same("5 string", raw({'a', ' ', 0, 0, 0}), text("a "));
    same("5 string", raw({'a', 0, 'x', 0, 0}), bytes(raw({'a', 0, 'x', 0, 0})));
    EXPECT_EQ(fault("5 string", text(std::string("a\0b", 3))), "has a NUL in it");
    EXPECT_EQ(codec("2 string")->blank(), raw({0, 0}));
}

TEST(Codec, TextComesFromItsCharacterSet) {
    same("4 char charset ISO-8859-1", "\xc4pf ", text("Äpf"));
    same("4 char charset ISO-8859-15", "\xa4   ", text("€"));
    same("4 string charset CP1252", raw({0x80, 0, 0, 0}), text("€"));
    // In EBCDIC a blank is 40 and A is c1.
    same("4 char charset IBM037", "\xc1\xc2@@", text("AB"));
    EXPECT_EQ(codec("2 char charset IBM037")->blank(), "@@");
    same("4 char charset UTF-16BE", raw({0, 'a', 0, ' '}), text("a"));
    same("3 char charset UTF-16BE", raw({0, 'a', 0}), bytes(raw({0, 'a', 0})));
    same("2 char charset CP1252", "\x81 ", bytes("\x81 "));
    EXPECT_EQ(fault("4 char charset ISO-8859-1", text("€")), "is not to be written in ISO-8859-1");
}

TEST(Codec, TheRestOfARecordIsAsItIs) {
    same("* char", "ab  ", text("ab  "));
    same("* char", "", text(""));
    same("* char", raw({'a', 0}), bytes(raw({'a', 0})));
    same("* hex", raw({0, 0xff}), text("00ff"));
    EXPECT_EQ(codec("* char")->blank(), "");
}

TEST(Codec, IntegersStandMostSignificantByteFirst) {
    same("2 int", raw({0xff, 0xff}), number("-1"));
    same("2 int", raw({0x7f, 0xff}), number("32767"));
    same("2 int", raw({0x80, 0x00}), number("-32768"));
    same("4 long", raw({0x80, 0, 0, 0}), number("-2147483648"));
    same("4 long", raw({0, 0, 1, 2}), number("258"));
    same("1 integer", raw({0x80}), number("-128"));
    same("3 integer", raw({0xff, 0xff, 0xfe}), number("-2"));
    same("8 integer", raw({0x80, 0, 0, 0, 0, 0, 0, 0}), number("-9223372036854775808"));
    same("1 unsigned", raw({0xff}), number("255"));
    same("8 unsigned", std::string(8, '\xff'), number("18446744073709551615"));
    EXPECT_EQ(fault("2 int", number("32768")), "is to be from -32768 to 32767");
    EXPECT_EQ(fault("2 int", number("-32769")), "is to be from -32768 to 32767");
    EXPECT_EQ(fault("8 integer", number("9223372036854775808")),
              "is to be from -9223372036854775808 to 9223372036854775807");
    EXPECT_EQ(fault("1 unsigned", number("-1")), "is to be from 0 to 255");
    EXPECT_EQ(fault("8 unsigned", number("18446744073709551616")), "is to be from 0 to 18446744073709551615");
    for (const char *no_number : {"", "1.0", "1e3", "0x10", "+1", " 1", "1 ", "one", "-"})
        EXPECT_EQ(fault("4 long", text(no_number)), "is to be a whole number") << no_number;
    EXPECT_EQ(codec("4 long")->blank(), raw({0, 0, 0, 0}));
}

TEST(Codec, MachineIntegersStandInTheMachinesOrder) {
    same("2 mint", machine<std::int16_t>(-2), number("-2"));
    same("4 mlong", machine<std::int32_t>(258), number("258"));
    same("8 quad", machine<std::int64_t>(-9007199254740993), number("-9007199254740993"));
    EXPECT_EQ(fault("4 mlong", number("2147483648")), "is to be from -2147483648 to 2147483647");
}

TEST(Codec, FloatingPointNumbersComeBackBitByBit) {
    same("8 double", machine(0.1), number("0.1"));
    same("8 double", machine(1e300), number("1e+300"));
    same("8 double", machine(5e-324), number("5e-324"));
    same("8 double", machine(-0.0), number("-0.0"));
    same("8 double", machine(1.0 / 3), number("0.3333333333333333"));
    same("4 float", machine(0.1F), number("0.1"));
    same("4 float", machine(16777216.0F), number("16777216"));
    same("8 double", machine(std::numeric_limits<double>::infinity()), text("inf"));
    same("4 float", machine(-std::numeric_limits<float>::infinity()), text("-inf"));
    same("8 double", machine(std::numeric_limits<double>::quiet_NaN()), text("nan"));
    const std::string signalling = machine(0x7ff0000000000001ULL);
    same("8 double", signalling, bytes(signalling));
    EXPECT_EQ(fault("4 float", number("1e39")), "is too great or too small for the field");
    EXPECT_EQ(fault("8 double", text("1,5")), "is to be a number");
    EXPECT_EQ(fault("8 double", text("")), "is to be a number");
}

TEST(Codec, PackedDecimalsHaveTwoDigitsAByteAndASign) {
    same("3 packed scale 2", raw({0x12, 0x34, 0x5c}), text("123.45"));
    same("3 packed scale 2", raw({0x00, 0x00, 0x5d}), text("-0.05"));
    same("3 packed", raw({0x00, 0x01, 0x2d}), number("-12"));
    same("1 packed", raw({0x7c}), number("7"));
    same("2 packed scale 3", raw({0x12, 0x3c}), text("0.123"));
    same("3 packed", raw({0, 0, 0x0d}), text("-0"));
    same("3 packed scale 1", raw({0, 0, 0x0d}), text("-0.0"));
    same("3 packed sign none", raw({0x00, 0x12, 0x3f}), number("123"));
    same("16 packed",
         raw({0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x99, 0x9c}),
         text(std::string(31, '9')));
    EXPECT_EQ(codec("2 packed")->blank(), raw({0x00, 0x0c}));
}

TEST(Codec, PackedDecimalsThatAreNoneAreShownAsBytes) {
    for (const std::string &stored :
         {raw({0x12, 0x3f}), raw({0x12, 0x3a}), raw({0x1a, 0x3c}), raw({0xa1, 0x3c}), std::string("  ")})
        same("2 packed", stored, bytes(stored));
    same("2 packed sign none", raw({0x12, 0x3c}), bytes(raw({0x12, 0x3c})));
}

TEST(Codec, DecimalsAreCheckedAgainstTheirDigits) {
    EXPECT_EQ(codec("3 packed scale 2")->store(text("1.5")), raw({0x00, 0x15, 0x0c}));
    EXPECT_EQ(codec("3 packed scale 2")->store(text("+00001.500")), raw({0x00, 0x15, 0x0c}));
    EXPECT_EQ(codec("3 packed scale 2")->store(text(".5")), raw({0x00, 0x05, 0x0c}));
    EXPECT_EQ(codec("3 packed scale 2")->store(number("7")), raw({0x00, 0x70, 0x0c}));
    EXPECT_EQ(fault("3 packed scale 2", text("1000")), "has more than 3 digits before the point");
    EXPECT_EQ(fault("3 packed scale 2", text("1.005")), "has more than 2 digits behind the point");
    EXPECT_EQ(fault("3 packed sign none", text("-1")), "is not to be negative");
    for (const char *no_number : {"", ".", "-", "1e2", "1,5", "1.2.3", "--1", "0x1", " 1"})
        EXPECT_EQ(fault("3 packed scale 2", text(no_number)), "is to be a decimal number") << no_number;
}

TEST(Codec, ZonedDecimalsHaveADigitAByte) {
    same("4 zoned", "0012", number("12"));
    same("4 zoned", "001r", number("-12"));
    same("4 zoned", "000p", text("-0"));
    same("4 zoned scale 2", "123y", text("-12.39"));
    same("4 zoned sign letters", "012C", number("123"));
    same("4 zoned sign letters", "012{", number("120"));
    same("4 zoned sign letters", "012}", number("-120"));
    same("4 zoned sign letters", "012R", number("-129"));
    same("4 zoned sign separate", "123+", number("123"));
    same("4 zoned sign separate", "123-", number("-123"));
    same("4 zoned sign none", "0123", number("123"));
    same("16 zoned", "0123456789012345", text("123456789012345"));
    for (const char *stored : {"    ", "12 3", "1q34", "012C", "012z"})
        same("4 zoned", stored, bytes(stored));
    same("4 zoned sign letters", "0123", bytes("0123"));
    same("4 zoned sign separate", "1234", bytes("1234"));
    EXPECT_EQ(fault("4 zoned", text("12345")), "has more than 4 digits before the point");
    EXPECT_EQ(codec("3 zoned sign letters")->blank(), "00{");
}

TEST(Codec, DatesAreOfTheCalendar) {
    same("8 date YYYYMMDD", "20240229", text("2024-02-29"));
    same("10 date DD.MM.YYYY", "01.12.1999", text("1999-12-01"));
    same("6 date YYMMDD", "000229", text("00-02-29"));
    same("8 date YYYYMMDD", "        ", text(""));
    same("8 date YYYYMMDD", "00000000", text("0000-00-00"));
    for (const char *stored : {"20230229", "20241301", "20240001", "2024022 ", "abcdefgh"})
        same("8 date YYYYMMDD", stored, bytes(stored));
    same("10 date DD.MM.YYYY", "01-12-1999", bytes("01-12-1999"));
    EXPECT_EQ(fault("8 date YYYYMMDD", text("2023-02-29")), "is no date of the calendar");
    for (const char *no_date : {"20240229", "2024-2-29", "2024-02-291", "2024-02-2", "2024/02/29", "24-02-29", "-"})
        EXPECT_EQ(fault("8 date YYYYMMDD", text(no_date)), "is to be a date, YYYY-MM-DD") << no_date;
    EXPECT_EQ(fault("6 date YYMMDD", text("2024-02-29")), "is to be a date, YY-MM-DD");
}

TEST(Codec, HexIsPairsOfDigits) {
    same("3 hex", raw({0, 0xab, 0xff}), text("00abff"));
    EXPECT_EQ(codec("2 hex")->store(text("ABCD")), raw({0xab, 0xcd}));
    EXPECT_EQ(fault("2 hex", text("abc")), "is to be pairs of hexadecimal digits");
    EXPECT_EQ(fault("2 hex", text("zz00")), "is to be pairs of hexadecimal digits");
    EXPECT_EQ(fault("2 hex", text("ab")), "has 1 byte, the field 2");
}

TEST(Codec, AGapOfBlanksIsShownAsNothing) {
    tool::Field gap;
    gap.length = 3;
    const auto both = tool::makeGapCodec(gap);
    EXPECT_EQ(both->show("   "), text(""));
    EXPECT_EQ(both->store(text("")), "   ");
    EXPECT_EQ(both->show(raw({0, 0, 0})), text("000000"));
    EXPECT_EQ(both->store(text("000000")), raw({0, 0, 0}));
}

TEST(Codec, AnyBytesComeBack) {
    unsigned state = 1;
    for (const char *words :
         {"8 char", "8 string", "8 char charset ISO-8859-1", "8 char charset UTF-16LE", "8 char charset SHIFT_JIS",
          "8 integer", "8 unsigned", "8 quad", "8 double", "4 float", "8 packed scale 3", "8 packed sign none",
          "8 zoned", "8 zoned sign letters", "8 zoned sign separate", "8 date YYYYMMDD", "8 hex"}) {
        const auto both = codec(words);
        for (int round = 0; round < 3000; ++round) {
            std::string stored;
            while (stored.size() < static_cast<std::size_t>(both->field().length)) {
                state = state * 1103515245U + 12345U;
                const unsigned byte = state >> 16U;
                static const std::string kLikely = " 0123456789{}AJpq+-\x0c\x1d";
                stored += byte % 3 == 0 ? static_cast<char>(byte >> 3U) : kLikely[(byte >> 3U) % kLikely.size()];
            }
            ASSERT_EQ(both->store(both->show(stored)), stored) << words << " " << tool::toHex(stored);
        }
    }
}

}  // namespace
