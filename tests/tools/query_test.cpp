// isam get and isam scan: which records they show, in which form.
#include "tools/tool_run.h"

#include <isam.h>

namespace {

using tool_tests::Ran;
using tool_tests::ToolTest;

class Query : public ToolTest {
  protected:
    void SetUp() override {
        put("staff.layout", "record 40\n"
                            "field id 0 4 long\n"
                            "field name 4 10 char\n"
                            "field first 14 8 string\n"
                            "field pay 22 4 packed scale 2\n"
                            "field born 26 8 date YYYYMMDD\n"
                            "index unique id\n"
                            "index duplicates name first\n"
                            "index duplicates born/desc\n");
        ASSERT_EQ(isam("build staff").status, 0);
        put("input", "id,name,first,pay,born\n"
                     "30,Meyer,Anna,10,1980-01-01\n"
                     "-5,Meyer,Bob,-2.5,1990-01-01\n"
                     "7,Meyers,Cid,0,1970-01-01\n"
                     "200,\"O\"\"x, y\",,1,1990-01-01\n");
        ASSERT_EQ(isam("load staff input").status, 0);
    }
    // The ids of the records that a scan shows, in their order.
    std::string ids(const std::string &options) const {
        const Ran ran = isam("scan staff --format csv " + options);
        EXPECT_EQ(ran.status, 0) << ran.err;
        std::string all;
        std::istringstream lines(ran.out);
        std::string line;
        std::getline(lines, line);
        while (std::getline(lines, line))
            all += (all.empty() ? "" : " ") + line.substr(0, line.find(','));
        return all;
    }
};

TEST_F(Query, GetShowsTheRecordOfAKey) {
    const Ran ran = isam("get staff 30");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "id     30\nname   Meyer\nfirst  Anna\npay    10.00\nborn   1980-01-01\n");
    EXPECT_EQ(isam("get staff --numbers --json -- -5").out,
              "{\"@recnum\": 2, \"id\": -5, \"name\": \"Meyer\", \"first\": \"Bob\", \"pay\": \"-2.50\", \"born\": "
              "\"1990-01-01\"}\n");
}

TEST_F(Query, GetExitsWithOneWhereThereIsNone) {
    const Ran ran = isam("get staff 31");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err, "isam get: staff: no record has this key\n");
    EXPECT_EQ(isam("get staff --index 2 Meyer,A").status, 1);
    EXPECT_EQ(isam("get staff --index 0 9").status, 1);
}

TEST_F(Query, GetTakesPartsNamesAndNumbers) {
    EXPECT_EQ(isam("get staff --index 2 Meyer,Bob --json").out.substr(0, 9), "{\"id\": -5");
    EXPECT_EQ(isam("get staff first=Bob,name=Meyer --json").out.substr(0, 9), "{\"id\": -5");
    EXPECT_EQ(isam("get staff 'name=Meyers'  --json").out.substr(0, 9), "{\"id\": 7,");
    EXPECT_EQ(isam("get staff --index 2 '\"O\"\"x, y\"' --json").out.substr(0, 10), "{\"id\": 200");
    EXPECT_EQ(isam("get staff --index 0 3 --json").out.substr(0, 9), "{\"id\": 7,");
    EXPECT_EQ(isam("get staff born=1970-01-01 --json").out.substr(0, 9), "{\"id\": 7,");
}

TEST_F(Query, GetShowsAllThatHaveTheKeyWhereItIsToldTo) {
    EXPECT_EQ(isam("get staff name=Meyer").out,
              "id     30\nname   Meyer\nfirst  Anna\npay    10.00\nborn   1980-01-01\n");
    EXPECT_EQ(isam("get staff name=Meyer --all").out,
              "id     30\nname   Meyer\nfirst  Anna\npay    10.00\nborn   1980-01-01\n\n"
              "id     -5\nname   Meyer\nfirst  Bob\npay    -2.50\nborn   1990-01-01\n");
}

TEST_F(Query, KeysThatCannotBeAreRefused) {
    const auto refused = [this](const std::string &arguments, const std::string &why) {
        const Ran ran = isam("get staff " + arguments);
        EXPECT_EQ(ran.status, 2) << arguments;
        EXPECT_EQ(ran.err, "isam get: " + why + "\n") << arguments;
    };
    refused("x", "key 'x': id is to be a whole number");
    refused("1,2", "key '1,2': has more parts than index 1, 1");
    refused("first=Bob", "key 'first=Bob': no index begins with that");
    refused("pay=1", "key 'pay=1': no index begins with that");
    refused("--index 1 name=Bob", "key 'name=Bob': index 1 does not begin with that");
    refused("name=Meyer,Bob", "key 'name=Meyer,Bob': name all of its parts, or none");
    refused("--index 2 'a\"b'", "key 'a\"b': has quotes where none can be");
    refused("nam=Bob", "key 'nam=Bob': there is no field 'nam'");
    refused("'name=\"a\"'", "key 'name=\"a\"': has quotes where none can be; quotes go round name and value: "
                            "\"name=one, two\"");
    refused("--index 2 ABCDEFGHIJK", "key 'ABCDEFGHIJK': name has 11 bytes, the field 10");
    refused("--index 4 a", "staff: has no index 4");
    refused("--index 0 a", "'a' is no record number");
}

TEST_F(Query, ScanGoesByTheFirstIndexOrAnother) {
    EXPECT_EQ(ids(""), "-5 7 30 200");
    EXPECT_EQ(ids("--index 2"), "30 -5 7 200");
    EXPECT_EQ(ids("--index 3"), "-5 200 30 7");
    EXPECT_EQ(ids("--index 0"), "30 -5 7 200");
    EXPECT_EQ(ids("--reverse"), "200 30 7 -5");
    EXPECT_EQ(ids("--index 0 --reverse --limit 2"), "200 7");
    EXPECT_EQ(ids("--limit 0"), "");
}

TEST_F(Query, ScanKeepsToItsRange) {
    EXPECT_EQ(ids("--from 7"), "7 30 200");
    EXPECT_EQ(ids("--from 8 --to 100"), "30");
    EXPECT_EQ(ids("--to 7"), "-5 7");
    EXPECT_EQ(ids("--from 31 --to 30"), "");
    EXPECT_EQ(ids("--from 201"), "");
    EXPECT_EQ(ids("--reverse --from 7 --to 30"), "30 7");
    EXPECT_EQ(ids("--reverse --to 1000"), "200 30 7 -5");
    EXPECT_EQ(ids("--reverse --to=-6"), "");
    EXPECT_EQ(ids("--from name=Meyer --to name=Meyer"), "30 -5");
    EXPECT_EQ(ids("--from name=Meyer,first=B"), "-5 7 200");
    EXPECT_EQ(ids("--index 0 --from 2 --to 3"), "-5 7");
    EXPECT_EQ(ids("--index 0 --from 2 --to 3 --reverse"), "7 -5");
    EXPECT_EQ(ids("--index 0 --from 0 --to 99"), "30 -5 7 200");
}

TEST_F(Query, ScanInDescendingOrderBeginsWithTheGreater) {
    EXPECT_EQ(ids("--index 3 --from 1985-01-01"), "30 7");
    EXPECT_EQ(ids("--index 3 --from 1990-01-01 --to 1980-01-01"), "-5 200 30");
    EXPECT_EQ(ids("--index 3 --reverse --to 1980-01-01"), "30 200 -5");
}

TEST_F(Query, ScanFindsBeginningsOfText) {
    EXPECT_EQ(ids("--prefix name=Me"), "30 -5 7");
    EXPECT_EQ(ids("--prefix name=Meyer,first=A"), "30");
    EXPECT_EQ(ids("--index 2 --prefix 'Meyer '"), "30 -5");
    EXPECT_EQ(ids("--prefix name=Me --reverse"), "7 -5 30");
    EXPECT_EQ(ids("--prefix name=X"), "");
    EXPECT_EQ(ids("--index 2 --prefix ''"), "30 -5 7 200");
    EXPECT_EQ(isam("scan staff --prefix name=M --from 1").status, 2);
    EXPECT_EQ(isam("scan staff --index 0 --prefix 1").status, 2);
}

TEST_F(Query, ScanSkipsNumbersOfDeletedRecords) {
    const int fd = isopen("staff", ISINOUT | ISLOCKEXCL);
    ASSERT_EQ(isdelrec(fd, 2), 0);
    isclose(fd);
    EXPECT_EQ(ids("--index 0 --from 2"), "7 200");
    EXPECT_EQ(ids("--index 0 --reverse --to 2"), "30");
    EXPECT_EQ(isam("get staff --index 0 2").status, 1);
}

TEST_F(Query, TablesLineUpAndCannotMoveTheCursor) {
    put("input", "{\"id\": 1, \"name\": \"\\u001b[2Jä\\u0085\", \"pay\": {\"hex\": \"ffffffff\"}}\n");
    ASSERT_EQ(isam("load staff input --format jsonl").status, 0);
    EXPECT_EQ(isam("scan staff --limit 3").out, "id  name            first         pay  born\n"
                                                "-5  Meyer           Bob         -2.50  1990-01-01\n"
                                                " 1  \\x1b[2Jä\\xc285         \\xffffffff\n"
                                                " 7  Meyers          Cid          0.00  1970-01-01\n");
}

TEST_F(Query, FilesWithoutALayoutShowKeyPartsAndBytes) {
    std::filesystem::remove(path("staff.layout"));
    EXPECT_EQ(
        isam("scan staff --limit 1 --format jsonl").out,
        "{\"k0_4\": -5, \"k4_10\": \"Meyer\", \"k14_8\": \"Bob\", \"k26_8\": \"19900101\", \"_22\": \"0000250d\"}\n");
    EXPECT_EQ(isam("get staff k4_10=Meyers").out,
              "k0_4   7\nk4_10  Meyers\nk14_8  Cid\nk26_8  19700101\n_22    0000000c\n");
}

TEST_F(Query, ReadsBesideSomebodyWhoHasEverythingLocked) {
    const int fd = isopen("staff", ISINOUT | ISLOCKMANUAL);
    ASSERT_EQ(islock(fd), 0);
    EXPECT_EQ(ids(""), "-5 7 30 200");
    EXPECT_EQ(isam("get staff 7").status, 0);
    EXPECT_EQ(isam("dump staff").status, 0);
    isclose(fd);
}

// Files with masks may have one index twice; the calls find the last of them by its description.
TEST_F(Query, AnIndexThatIsThereTwiceIsNotConfused) {
    put("twice.layout", "record 8 masks\nfield a 0 4 long\nindex unique a\nindex unique a\n");
    ASSERT_EQ(isam("build twice").status, 0);
    put("input", "a,@mask\n1,2\n2,1\n");
    ASSERT_EQ(isam("load twice input").status, 0);
    EXPECT_EQ(isam("scan twice --index 1 --format csv").out, "@mask,a,_4\n2,1,\n");
    EXPECT_EQ(isam("scan twice --index 2 --format csv").out, "@mask,a,_4\n1,2,\n");
    EXPECT_EQ(isam("scan twice --index 2 --from 1 --format csv").out, "@mask,a,_4\n1,2,\n");
    const Ran ran = isam("scan twice --index 1 --from 1");
    EXPECT_EQ(ran.out, "");
    EXPECT_EQ(ran.err,
              "isam scan: twice: another index is described as index 1 is; keys are looked for in that one alone\n");
}

// The byte before a compressed key counts what it leaves out.
TEST_F(Query, DamageThatStopsTheLibraryIsNoOutput) {
    put("f.layout", "record 16\nfield id 0 4 long\nfield name 4 12 char\n"
                    "index unique id\nindex duplicates name compress leading blanks\n");
    ASSERT_EQ(isam("build f").status, 0);
    put("input", "id,name\n1,nail\n2,nut\n");
    ASSERT_EQ(isam("load f input").status, 0);
    std::string index = get("f.idx");
    ASSERT_NE(index.find("nail"), std::string::npos);
    index[index.find("nail") - 1] = '\xff';
    put("f.idx", index);
    const Ran ran = isam("scan f --index 2 --format csv");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.out, "id,name\n");
    EXPECT_EQ(ran.err, "isam scan: fatal isam error iscomp(70)\n");
    EXPECT_EQ(isam("dump f").out, "id,name\n1,nail\n2,nut\n");
}

}  // namespace
