// Layouts: what is read from their text, what is refused, and what a file tells of itself.
#include "tools/tool_run.h"

#include "base/failure.h"
#include "layout/layout.h"

namespace {

using tool::FieldType;
using tool::Layout;
using tool_tests::ToolTest;

class LayoutText : public ToolTest {
  protected:
    static std::string faultOf(const std::string &text) {
        try {
            tool::parseLayout(text, "L");
        } catch (const tool::Failure &failure) {
            return failure.what();
        }
        return "none";
    }
};

const char *const kShop =
    "# goods of a shop\n"
    "record 40..600 compressed masks\n"
    "\n"
    "field number  0  4  long          # counted from 1\n"
    "field name    4 20  char charset ISO-8859-1\n"
    "field price  24  4  packed scale 2 sign none\n"
    "field stock  28  3  zoned sign separate\n"
    "field since  31  8  date YYYYMMDD\n"
    "field remark 40  *  char\n"
    "index unique number\n"
    "index duplicates name since/desc/null=30 24+4/mlong/desc compress repeats leading blanks nullkeys\n";

TEST_F(LayoutText, GivesLengthsFieldsAndIndexes) {
    const Layout layout = tool::parseLayout(kShop, "L");
    EXPECT_EQ(layout.minimum, 40);
    EXPECT_EQ(layout.maximum, 600);
    EXPECT_TRUE(layout.variable);
    EXPECT_TRUE(layout.compressed);
    EXPECT_TRUE(layout.masks);
    EXPECT_TRUE(layout.primary);
    ASSERT_EQ(layout.fields.size(), 6U);
    EXPECT_EQ(layout.fields[0].type, FieldType::kLong);
    EXPECT_EQ(layout.fields[1].charset, "ISO-8859-1");
    EXPECT_EQ(layout.fields[2].scale, 2);
    EXPECT_EQ(layout.fields[2].sign, tool::Sign::kUnsigned);
    EXPECT_EQ(layout.fields[3].sign, tool::Sign::kSeparate);
    EXPECT_EQ(layout.fields[4].date, "YYYYMMDD");
    EXPECT_EQ(layout.fields[5].start, 40);
    EXPECT_TRUE(layout.fields[5].takesRest());
    ASSERT_EQ(layout.indexes.size(), 2U);
    EXPECT_EQ(layout.indexes[0].flags, ISNODUPS);
    EXPECT_EQ(layout.indexes[0].parts[0].type, LONGTYPE);
    const KeyDesc &second = layout.indexes[1];
    EXPECT_EQ(second.flags, ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP | ISNULLKEY);
    ASSERT_EQ(second.nparts, 3);
    EXPECT_EQ(second.parts[0].start, 4);
    EXPECT_EQ(second.parts[0].length, 20);
    EXPECT_EQ(second.parts[1].type, CHARTYPE | ISDESC | 0x3000);
    EXPECT_EQ(second.parts[2].start, 24);
    EXPECT_EQ(second.parts[2].length, 4);
    EXPECT_EQ(second.parts[2].type, MLONGTYPE | ISDESC);
    EXPECT_EQ(second.keyLength, 32);
}

TEST_F(LayoutText, IsWrittenAsItIsRead) {
    const std::string text =
        "record 40..600 compressed masks\n"
        "field number 0 4 long\n"
        "field name 4 20 char charset ISO-8859-1\n"
        "field price 24 4 packed scale 2 sign none\n"
        "field stock 28 3 zoned sign separate\n"
        "field since 31 8 date YYYYMMDD\n"
        "field remark 40 * char\n"
        "index unique number\n"
        "index duplicates name since/desc/null=30 price/mlong/desc compress repeats leading blanks "
        "nullkeys\n";
    EXPECT_EQ(tool::toText(tool::parseLayout(kShop, "L")), text);
    EXPECT_EQ(tool::toText(tool::parseLayout(text, "L")), text);
}

TEST_F(LayoutText, KnowsFilesWithoutPrimaryKeyAndKeysWithoutRecords) {
    const std::string heap = "record 8\nindex record-number\nindex duplicates 0+8/char compress nuls\n";
    const Layout layout = tool::parseLayout(heap, "L");
    EXPECT_FALSE(layout.primary);
    EXPECT_EQ(layout.indexes.size(), 1U);
    EXPECT_EQ(tool::toText(layout), heap);
    const std::string keys = "record none\nfield id 6 4 long\nindex unique id\n";
    EXPECT_TRUE(tool::parseLayout(keys, "L").keysAlone());
    EXPECT_EQ(tool::parseLayout(keys, "L").imageLength(), 10);
    EXPECT_EQ(tool::toText(tool::parseLayout(keys, "L")), keys);
}

TEST_F(LayoutText, FaultsNameTheirLine) {
    EXPECT_EQ(faultOf(""), "L: line 0: there is no record line");
    EXPECT_EQ(faultOf("record 8\nrecord 8\n"), "L: line 2: a second record line");
    EXPECT_EQ(faultOf("record 0\n"), "L: line 1: the record's length is a number from 1 to 65535, not '0'");
    EXPECT_EQ(faultOf("record 9..9\n"), "L: line 1: the longest length is a number from 10 to 32511, not '9'");
    EXPECT_EQ(faultOf("record 9 compressed\n"), "L: line 1: 'compressed' is not understood here");
    EXPECT_EQ(faultOf("records 9\n"), "L: line 1: a line begins with record, field or index, not 'records'");
    EXPECT_EQ(faultOf("record 8\n\nfield a 0\n"), "L: line 3: the field's length is missing");
    EXPECT_EQ(faultOf("record 8\nfield a=b 0 1 char\n"),
              "L: line 2: 'a=b' is no name: letters of ASCII, digits, '_', '-' and '.', a letter first");
    EXPECT_EQ(faultOf("record 8\nfield _0 0 1 char\n"),
              "L: line 2: '_0' is no name: letters of ASCII, digits, '_', '-' and '.', a letter first");
    EXPECT_EQ(faultOf("record 8\nfield nullkeys 0 1 char\n"),
              "L: line 2: 'nullkeys' is a word of index lines, and no name");
    EXPECT_EQ(faultOf("record 8\nfield a 0 1 char\nfield a 1 1 char\n"), "L: line 3: there is a field a already");
    EXPECT_EQ(faultOf("record 8\nfield a 0 1 text\n"), "L: line 2: 'text' is no type of a field");
    EXPECT_EQ(faultOf("record 8\nfield a 0 4 char charset NOSUCH\n"), "L: line 2: character set 'NOSUCH' is not known");
    EXPECT_EQ(faultOf("record 8\nfield a 0 4 char scale 2\n"), "L: line 2: 'scale' is not understood here");
    EXPECT_EQ(faultOf("record 8\nfield a 0 3 long\n"), "L: line 2: long has 4 bytes, not 3");
    EXPECT_EQ(faultOf("record 9\nfield a 0 9 integer\n"), "L: line 2: integer has 1 to 8 bytes, not 9");
    EXPECT_EQ(faultOf("record 9\nfield a 0 2 packed scale 4\n"),
              "L: line 2: scale 4 is more than the field's digits, 3");
    EXPECT_EQ(faultOf("record 9\nfield a 0 2 packed sign letters\n"),
              "L: line 2: 'letters' is no sign of a packed field: none");
    EXPECT_EQ(faultOf("record 9\nfield a 0 1 zoned sign separate\n"), "L: line 2: there is no room for a digit");
    EXPECT_EQ(faultOf("record 9\nfield a 0 8 date YYYYMM\n"),
              "L: line 2: a date is made of YYYY or YY, MM and DD, not 'YYYYMM'");
    EXPECT_EQ(faultOf("record 9\nfield a 0 8 date YYMMDD\n"), "L: line 2: date YYMMDD has 6 bytes, not 8");
}

TEST_F(LayoutText, FieldsAndKeysLieInTheRecord) {
    EXPECT_EQ(faultOf("record 8\nfield a 5 4 char\n"),
              "L: line 2: a ends behind byte 8, where the record's fixed length ends");
    EXPECT_EQ(faultOf("record 8\nfield a 0 4 char\nfield b 3 2 char\n"), "L: line 3: b and a share bytes");
    EXPECT_EQ(faultOf("record 8..9\nfield a 8 * char\nfield b 8 * hex\n"), "L: line 3: b and a share bytes");
    EXPECT_EQ(faultOf("record 8\nfield a 8 * char\n"), "L: line 2: a: only records of variable length have a rest");
    EXPECT_EQ(faultOf("record 8..20\nfield a 9 * char\n"),
              "L: line 2: a: the rest begins at byte 8, behind the record's fixed length");
    EXPECT_EQ(faultOf("field a 8 * long\nrecord 8..20\n"), "L: line 1: the rest of a record is char or hex, not long");
    EXPECT_EQ(faultOf("record 8\nindex unique 6+4/char\nfield a 0 1 char"),
              "L: line 2: a key part ends behind byte 8, where the record's fixed length ends");
    EXPECT_EQ(faultOf("record none\nfield a 0 4 char\nindex unique 1+3/char\n"),
              "L: line 2: a: byte 0 is not in the key");
}

TEST_F(LayoutText, IndexLinesAreChecked) {
    const auto index = [](const std::string &line) {
        return faultOf("record 200\nfield a 0 150 char\nfield b 150 4 long\nindex " + line + "\n");
    };
    EXPECT_EQ(index("unique"), "L: line 4: the key's parts are missing");
    EXPECT_EQ(index("main b"), "L: line 4: an index is unique, duplicates or record-number, not 'main'");
    EXPECT_EQ(index("unique c"), "L: line 4: there is no field 'c' above");
    EXPECT_EQ(index("unique a"), "L: line 4: a is longer than a key, 128");
    EXPECT_EQ(index("unique 0+128/char b"), "L: line 4: a key has 128 bytes at most, not 132");
    EXPECT_EQ(index("unique 0+3/int"), "L: line 4: 0+3: the length of a key part of type int is a multiple of 2");
    EXPECT_EQ(index("unique 0+4"), "L: line 4: '0+4' has no type: START+LENGTH/TYPE");
    EXPECT_EQ(index("unique b/down"), "L: line 4: 'down' is not understood in a key part");
    EXPECT_EQ(index("unique b/null=20"), "L: line 4: null bytes are for an index with nullkeys");
    EXPECT_EQ(index("unique b/null=2 nullkeys"), "L: line 4: a null byte is two hexadecimal digits");
    EXPECT_EQ(index("unique b compress all"), "L: line 4: behind compress comes repeats, leading, blanks or nuls");
    EXPECT_EQ(index("unique b nullkeys leading"), "L: line 4: 'leading' is not understood here");
    EXPECT_EQ(index("unique 0+1/char 1+1/char 2+1/char 3+1/char 4+1/char 5+1/char 6+1/char 7+1/char 8+1/char 9+1/char "
                    "b"),
              "L: line 4: a key has 10 parts at most");
    EXPECT_EQ(index("unique b\nindex record-number"), "L: line 5: record-number order comes first, or not at all");
    std::string ten = "unique b";
    for (int i = 0; i < 9; ++i)
        ten += "\nindex unique " + std::to_string(i) + "+2/char";
    EXPECT_EQ(index(ten), "L: line 13: a file has 9 indexes at most");
    EXPECT_EQ(faultOf("record none\nindex unique 0+4/char\nindex unique 4+4/char\n"),
              "L: line 1: a file of keys alone has one index");
}

TEST_F(LayoutText, ComesFromAFileThatCanBeMissing) {
    EXPECT_THROW(tool::readLayout("nosuch.layout"), tool::Failure);
    put("shop.layout", kShop);
    EXPECT_EQ(tool::readLayout(tool::layoutPath("shop")).fields.size(), 6U);
}

TEST_F(LayoutText, OfAFileHasKeyPartsAsFields) {
    KeyDesc id = {ISNODUPS, 1, {{0, 4, LONGTYPE}}, 0, 0};
    KeyDesc both = {ISDUPS, 3, {{4, 16, STRINGTYPE | ISDESC}, {0, 4, LONGTYPE}, {2, 4, CHARTYPE}}, 0, 0};
    isreclen = 30;
    const int fd = isbuild("f", 90, &id, ISINOUT | ISVARLEN | ISCOMPRESS | ISMASK | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(isaddindex(fd, &both), 0);
    isclose(fd);
    EXPECT_EQ(tool::toText(tool::layoutOf(tool::OpenFile::forReading("f"))),
              "record 30..90 compressed masks\n"
              "field k0_4 0 4 long\n"
              "field k4_16 4 16 string\n"
              "index unique k0_4\n"
              "index duplicates k4_16/desc k0_4 2+4/char\n");
}

TEST_F(LayoutText, OfAFileWithoutPrimaryKeySaysSo) {
    KeyDesc none = {};
    KeyDesc name = {ISDUPS | ISNULLKEY, 2, {{4, 4, CHARTYPE | 0x2000}, {0, 8, INTTYPE}}, 0, 0};
    const int fd = isbuild("f", 20, &none, ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    {
        const tool::OpenFile file(fd, "f");
        EXPECT_FALSE(file.hasPrimaryKey());
        EXPECT_EQ(tool::toText(tool::layoutOf(file)), "record 20\nindex record-number\n");
        ASSERT_EQ(isaddindex(fd, &name), 0);
    }
    EXPECT_EQ(tool::toText(tool::layoutOf(tool::OpenFile::forReading("f"))),
              "record 20\n"
              "field k0_8 0 8 integer\n"
              "index record-number\n"
              "index duplicates 4+4/char/null=20 k0_8 nullkeys\n");
}

TEST_F(LayoutText, GapsAreWhatNoFieldCovers) {
    const Layout layout = tool::parseLayout("record 20..40\nfield b 8 4 long\nfield a 2 2 int\n", "L");
    std::string all;
    for (const tool::Field &gap : tool::gapsOf(layout))
        all += tool::fieldLine(gap) + "\n";
    EXPECT_EQ(all, "field _0 0 2 hex\nfield _4 4 4 hex\nfield _12 12 8 hex\nfield _20 20 * hex\n");
}

}  // namespace
