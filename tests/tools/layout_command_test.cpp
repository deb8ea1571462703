// isam layout proposes a layout that can be used; isam build makes files by layouts.
#include "tools/file_kinds.h"
#include "tools/tool_run.h"

#include "layout/layout.h"

#include <isam.h>

namespace {

using tool_tests::Ran;
using tool_tests::ToolTest;

class LayoutCommand : public ToolTest {
  protected:
    // The field lines of a proposal, without their comments.
    static std::vector<std::string> fieldsOf(const std::string &proposal) {
        std::vector<std::string> fields;
        for (const tool::Field &field : tool::parseLayout(proposal, "proposal").fields)
            fields.push_back(tool::fieldLine(field));
        return fields;
    }
};

TEST_F(LayoutCommand, ProposesTypesByTheData) {
    put("real.layout", "record 75..200\n"
                       "field id 0 4 long\n"
                       "field name 4 16 char\n"
                       "field city 20 10 char\n"
                       "field since 30 8 date YYYYMMDD\n"
                       "field price 38 4 packed scale 2\n"
                       "field stock 42 5 zoned\n"
                       "field weight 47 8 double\n"
                       "field code 55 8 string\n"
                       "field count 63 4 long\n"
                       "field remark 75 * char\n"
                       "index unique id\n");
    ASSERT_EQ(isam("build real").status, 0);
    std::string rows = "id,name,city,since,price,stock,weight,code,count,remark\n";
    for (int i = 1; i <= 40; ++i) {
        const std::string n = std::to_string(i);
        rows += n + ",name " + n + ",Town" + n + ",20" + std::to_string(10 + i % 20) + "-03-0" +
                std::to_string(1 + i % 9) + "," + std::to_string(i * 37 % 500) + ".5," +
                std::to_string((i % 2 == 0 ? -1 : 1) * i * 11) + "," + std::to_string(i) + ".25,c" + n + "," +
                std::to_string(i * 1000) + ",\"remark, " + n + "\"\n";
    }
    put("input", rows);
    ASSERT_EQ(isam("load real input").status, 0);
    std::filesystem::remove(path("real.layout"));
    const Ran ran = isam("layout real");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(fieldsOf(ran.out),
              (std::vector<std::string>{"field k0_4 0 4 long", "field text_4 4 16 char", "field text_20 20 10 char",
                                        "field date_30 30 8 date YYYYMMDD", "field packed_38 38 4 packed",
                                        "field zoned_42 42 5 zoned", "field number_47 47 8 double",
                                        "field text_55 55 8 string", "field number_63 63 4 long",
                                        "field text_75 75 * char"}));
    EXPECT_NE(ran.out.find("# sure: "), std::string::npos);
    EXPECT_NE(ran.out.find("# likely: "), std::string::npos);
    EXPECT_NE(ran.out.find("# from byte 67, 8 bytes: blanks or NULs in all of them\n"), std::string::npos);
}

TEST_F(LayoutCommand, ProposalsFitEveryKindOfFile) {
    for (const tool_tests::FileKind &kind : tool_tests::fileKinds()) {
        tool_tests::makeFile(kind, "f");
        ASSERT_EQ(isam("layout f --output f.layout").status, 0) << kind.name;
        const Ran dumped = isam("dump f --output rows");
        EXPECT_EQ(dumped.status, 0) << kind.name << dumped.err;
        ASSERT_EQ(isam("build g --layout f.layout").status, 0) << kind.name;
        EXPECT_EQ(isam("load g rows").status, 0) << kind.name;
        EXPECT_EQ(shell("isam dump g | cmp - rows").status, 0) << kind.name;
        std::filesystem::remove(path("f.layout"));
        std::filesystem::remove(path("g.layout"));
        ASSERT_EQ(iserase("f") + iserase("g"), 0);
    }
}

TEST_F(LayoutCommand, AFileWithoutRecordsHasItsKeysAlone) {
    put("e.txt", "record 20\nindex unique 4+8/char\n");
    ASSERT_EQ(isam("build e --layout e.txt").status, 0);
    EXPECT_EQ(fieldsOf(isam("layout e").out), std::vector<std::string>{"field k4_8 4 8 char"});
}

TEST_F(LayoutCommand, WritesBesideTheFileAndOverNothing) {
    put("e.txt", "record 20\nindex unique 4+8/char\n");
    ASSERT_EQ(isam("build e --layout e.txt").status, 0);
    EXPECT_EQ(isam("layout e --write").err, "isam layout: e.layout: is there already; --force writes over it\n");
    EXPECT_EQ(get("e.layout"), get("e.txt"));
    EXPECT_EQ(isam("layout e --write --force").status, 0);
    EXPECT_EQ(fieldsOf(get("e.layout")).size(), 1U);
}

TEST_F(LayoutCommand, BuildKeepsTheLayoutAndOverwritesNothing) {
    put("a.txt", "record 20\nindex unique 0+8/char\n");
    put("b.txt", "record 30\nindex unique 0+8/char\n");
    EXPECT_EQ(isam("build f --layout a.txt").status, 0);
    EXPECT_EQ(get("f.layout"), get("a.txt"));
    EXPECT_EQ(isam("build f --layout a.txt").err,
              "isam build: f: cannot be made: making the index file: File exists\n");
    ASSERT_EQ(iserase("f"), 0);
    EXPECT_EQ(isam("build f --layout b.txt").err, "isam build: f.layout: is there already, and is not b.txt\n");
    EXPECT_FALSE(std::filesystem::exists(path("f.idx")));
    EXPECT_EQ(isam("build f").status, 0);
    EXPECT_EQ(isam("build g").err, "isam build: g.layout: cannot be opened: No such file or directory\n");
}

TEST_F(LayoutCommand, BuildTakesTextsOfOtherSystems) {
    put("f.layout", "\xef\xbb\xbfrecord 20\r\nindex unique 0+8/char\r\n");
    EXPECT_EQ(isam("build f").err, "");
}

TEST_F(LayoutCommand, BuildLeavesNothingBehindWhereAnIndexCannotBe) {
    put("twice.txt", "record 20\nindex unique 0+8/char\nindex duplicates 0+8/char\n");
    EXPECT_EQ(isam("build f --layout twice.txt").status, 2);
    EXPECT_FALSE(std::filesystem::exists(path("f.idx")));
    EXPECT_FALSE(std::filesystem::exists(path("f.dat")));
    EXPECT_FALSE(std::filesystem::exists(path("f.layout")));
    put("once.txt", "record 20\nindex unique 0+8/char\n");
    put("f.dat", "of another");
    EXPECT_EQ(isam("build f --layout once.txt").err,
              "isam build: f: cannot be made: making the data file: File exists\n");
    EXPECT_FALSE(std::filesystem::exists(path("f.idx")));
    EXPECT_EQ(get("f.dat"), "of another");
    std::filesystem::remove(path("f.dat"));
    put("none.txt", "record 20\n");
    EXPECT_EQ(isam("build f --layout none.txt").err,
              "isam build: none.txt: has no index lines; 'index record-number' makes a file without primary key\n");
    put("five.txt", "record 20\nindex unique 0+1/char 1+1/char 2+1/char 3+1/char 4+1/char nullkeys\n");
    EXPECT_EQ(isam("build f --layout five.txt").err, "isam build: five.txt: a key with nullkeys has 4 parts at most\n");
}

}  // namespace
