// What isam load takes, what it refuses and how it says so.
#include "tools/other_process.h"
#include "tools/tool_run.h"

#include <isam.h>

namespace {

using tool_tests::Ran;
using tool_tests::ToolTest;

const char *const kGoods = "record 44..400\n"
                           "field number 0 4 long\n"
                           "field name 4 20 char\n"
                           "field price 24 4 packed scale 2\n"
                           "field since 32 8 date YYYYMMDD\n"
                           "field remark 44 * char\n"
                           "index unique number\n"
                           "index unique name/null=20 nullkeys\n";

class Load : public ToolTest {
  protected:
    void SetUp() override {
        put("goods.layout", kGoods);
        ASSERT_EQ(isam("build goods").status, 0);
    }
    Ran load(const std::string &input, const std::string &options = "") const {
        put("input", input);
        return isam("load goods input " + options);
    }
    // The records as rows, without the header.
    std::string rows() const {
        const std::string all = isam("dump goods").out;
        return all.substr(all.find('\n') + 1);
    }
    void expectRefused(const std::string &input, const std::string &fault, const std::string &options = "") const {
        const Ran ran = load(input, options);
        EXPECT_EQ(ran.status, 2) << input;
        EXPECT_EQ(ran.err, "isam load: input: " + fault + "\n") << input;
    }
};

TEST_F(Load, TakesColumnsInAnyOrderAndLeavesOthersEmpty) {
    const Ran ran = load("name,number\nnail,2\n\"screw, long\",1\n");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "2 written, 0 updated, 0 skipped, 0 refused\n");
    EXPECT_EQ(rows(), "2,nail,0.00,,,,\n1,\"screw, long\",0.00,,,,\n");
}

TEST_F(Load, TakesWhatOtherProgramsWrite) {
    EXPECT_EQ(load("\xef\xbb\xbf\"number\",name\r\n\r\n1,\" a\"\"b\"\r\n2,c").status, 0);
    EXPECT_EQ(rows(), "1,\" a\"\"b\",0.00,,,,\n2,c,0.00,,,,\n");
}

TEST_F(Load, ReadsStandardInputAndJsonByItsName) {
    put("more.jsonl",
        "{\"number\": 7, \"name\": \"saw\", \"price\": 1.5}\n\n{\"name\": \"\", \"number\": \"8\", \"price\": null}\n");
    EXPECT_EQ(isam("load goods more.jsonl").out, "2 written, 0 updated, 0 skipped, 0 refused\n");
    EXPECT_EQ(shell("echo '{\"number\": 9}' | isam load goods --format jsonl --json").out,
              "{\n  \"written\": 1,\n  \"updated\": 0,\n  \"skipped\": 0,\n  \"refused\": 0\n}\n");
    EXPECT_EQ(rows(), "7,saw,1.50,,,,\n8,,0.00,,,,\n9,,0.00,,,,\n");
}

TEST_F(Load, MarkedValuesAreBytes) {
    const std::string name = "ff41" + std::string(36, '3');
    EXPECT_EQ(load("number,name,price\n1,\\\\x41,\\x0000000f\n2,\\x" + name + ",1\n").status, 0);
    EXPECT_EQ(rows(), "1,\\\\x41,\\x0000000f,,,,\n2,\\x" + name + ",1.00,,,,\n");
    EXPECT_EQ(isam("get goods 2 --json").out, "{\"number\": 2, \"name\": {\"hex\": \"" + name +
                                                  "\"}, \"price\": \"1.00\", \"since\": \"\", \"remark\": \"\"}\n");
}

TEST_F(Load, FaultsOfCsvNameLineAndField) {
    expectRefused("", "has no header line with the fields' names");
    expectRefused("number,nam\n", "line 1: there is no field 'nam'");
    expectRefused("number,name,number\n", "line 1: the header has 'number' twice");
    expectRefused("number,name\n1\n", "line 2: has 1 cell, the header 2");
    expectRefused("number,name\n1,a,b\n", "line 2: has 3 cells, the header 2");
    expectRefused("number,name\n1,a\"b\n", "line 2: a quote stands where none can be");
    expectRefused("number,name\n1,\"a\n2,b\n", "line 2: a quote is opened and not closed");
    expectRefused("number,name\n,a\n", "line 2: field number: is to be a whole number");
    expectRefused("number,remark\n1,\"two\nlines\"\nx,\n", "line 4: field number: is to be a whole number");
    expectRefused("number,price\n9,12.345\n", "line 2: field price: has more than 2 digits behind the point");
    expectRefused("number,since\n9,2024-02-30\n", "line 2: field since: is no date of the calendar");
    expectRefused("number,name\n9,\\q\n",
                  "line 2: field name: behind the backslash that begins it comes a second one, or x and pairs of "
                  "hexadecimal digits");
    expectRefused("number,name\n9,\\x41\n", "line 2: field name: has 1 byte, the field 20");
    expectRefused("number,@mask\n9,1\n", "line 2: @mask: the file has no masks");
    expectRefused("number,@mask\n9,x\n", "line 2: @mask is to be a number from 0 to 4294967295");
    expectRefused("number,remark\n9," + std::string(357, 'x') + "\n",
                  "line 2: field remark: has 357 bytes, the longest record leaves 356");
    expectRefused("number,name\n9," + std::string(2U << 20U, 'x') + "\n", "line 2 is too long for a record");
    expectRefused(std::string("number,name\n9,a\0b\xff\n", 19), "line 2: field name: is no UTF-8");
}

TEST_F(Load, FaultsOfJsonNameLineAndField) {
    const auto refused = [this](const std::string &line, const std::string &fault) {
        expectRefused(line + "\n", "line 1: " + fault, "--format jsonl");
    };
    refused("{\"number\": 1", "is no JSON from byte 14 on");
    refused("{\"number\": 1} {}", "is no JSON from byte 15 on");
    refused("[1]", "is to be an object");
    refused("12", "is to be an object");
    refused("\"number\"", "is to be an object");
    refused("null", "is to be an object");
    refused("{\"numbr\": 1}", "there is no field 'numbr'");
    refused("{\"number\": 1, \"number\": 2}", "has 'number' twice");
    refused("{\"number\": true}", "field number: true is no value of a field");
    refused("{\"number\": [1]}", "field number: an array is no value of a field");
    refused("{\"number\": {}}", "field number: an object is to be {\"hex\": \"...\"}");
    refused("{\"number\": {\"hex\": 1}}", "field number: a number is no string of hexadecimal digits");
    refused("{\"number\": {\"hex\": null}}", "field number: null is no string of hexadecimal digits");
    refused("{\"number\": {\"hex\": \"zz\"}}", "field number: is to be pairs of hexadecimal digits");
    refused("{\"number\": {\"hex\": \"00\", \"hex\": \"00\"}}", "field number: an object is to be {\"hex\": \"...\"}");
    refused("{\"number\": {\"hex\": {\"hex\": \"00\"}}}",
            "field number: an object in an object is no value of a field");
    refused("{\"number\": {\"hex\": \"000001\"}}", "field number: has 3 bytes, the field 4");
    refused("{\"number\": 1.0}", "field number: is to be a whole number");
    refused("{\"number\": 100000000000000000000}", "field number: is to be from -2147483648 to 2147483647");
    refused("{\"price\": 1e1}", "field price: is to be a decimal number");
    refused("{\"name\": \"\xff\"}", "is no JSON from byte 11 on");
    refused("{\"@recnum\": -1}", "@recnum is to be a number from 0 to 2147483647");
    refused(std::string(100000, '['), "is to be an object");
}

TEST_F(Load, NumbersOfJsonKeepTheirDigits) {
    put("wide.layout",
        "record 28\nfield id 0 8 integer\nfield sum 8 16 packed scale 5\nfield u 24 4 unsigned\nindex unique id\n");
    ASSERT_EQ(isam("build wide").status, 0);
    put("input", "{\"id\": -9007199254740993, \"sum\": 12345678901234567890.12345, \"u\": 4294967295}\n");
    EXPECT_EQ(isam("load wide input --format jsonl").status, 0);
    EXPECT_EQ(isam("dump wide --format jsonl").out,
              "{\"id\": -9007199254740993, \"sum\": \"12345678901234567890.12345\", \"u\": 4294967295}\n");
}

TEST_F(Load, StopsAtTheFirstFaultAndKeepsWhatWasBefore) {
    const Ran ran = load("number,name\n1,a\nx,b\n3,c\n");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.out, "1 written, 0 updated, 0 skipped, 1 refused\n");
    EXPECT_EQ(rows(), "1,a,0.00,,,,\n");
}

TEST_F(Load, GoesOnWhereItIsToldTo) {
    const Ran ran = load("number,name\n1,a\nx,b\n3\n4,d\n1,e\n", "--keep-going");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam load: input: line 3: field number: is to be a whole number\n"
                       "isam load: input: line 4: has 1 cell, the header 2\n"
                       "isam load: input: line 6: index 1 has its key already\n");
    EXPECT_EQ(ran.out, "2 written, 0 updated, 0 skipped, 3 refused\n");
    EXPECT_EQ(rows(), "1,a,0.00,,,,\n4,d,0.00,,,,\n");
}

TEST_F(Load, DuplicatesAreFaultsOrSkipped) {
    ASSERT_EQ(load("number,name\n1,a\n2,b\n").status, 0);
    expectRefused("number,name\n1,c\n", "line 2: index 1 has its key already");
    expectRefused("number,name\n3,b\n", "line 2: index 2 has its key already");
    const Ran ran = load("number,name\n1,c\n3,b\n4,d\n", "--skip-duplicates");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "1 written, 0 updated, 2 skipped, 0 refused\n");
    EXPECT_EQ(rows(), "1,a,0.00,,,,\n2,b,0.00,,,,\n4,d,0.00,,,,\n");
}

TEST_F(Load, UpdatesLeaveAloneWhatTheRowsDoNotSay) {
    ASSERT_EQ(load("number,name,price,remark\n1,a,5,first\n2,b,6,second\n").status, 0);
    const Ran ran = load("number,price,remark\n2,7,\n3,8,third\n", "--update");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "1 written, 1 updated, 0 skipped, 0 refused\n");
    EXPECT_EQ(rows(), "1,a,5.00,,first,,\n2,b,7.00,,,,\n3,,8.00,,third,,\n");
    expectRefused("name,price\na,1\n", "line 2: field number: is missing, and belongs to the primary key", "--update");
    expectRefused("number,name\n1,b\n", "line 2: index 2 has its key already", "--update");
    EXPECT_EQ(load("number,name\n1,b\n", "--update --skip-duplicates").out,
              "0 written, 0 updated, 1 skipped, 0 refused\n");
    EXPECT_EQ(rows(), "1,a,5.00,,first,,\n2,b,7.00,,,,\n3,,8.00,,third,,\n");
}

// Another process counts in bytes of the record that the rows leave alone.
TEST_F(Load, UpdatesLoseNothingThatOthersWriteMeanwhile) {
    constexpr int kTimes = 2000;
    ASSERT_EQ(load("number,name\n1,first\n").status, 0);
    const tool_tests::Holder holder([] {},
                                    [] {
                                        std::string record(400, '\0');
                                        const int fd = isopen("goods", ISINOUT | ISLOCKMANUAL | ISVARAUTO);
                                        stlong(1, record.data());
                                        for (int done = 0; done < kTimes;) {
                                            if (isread(fd, record.data(), ISEQUAL | ISLOCK) != 0) continue;
                                            stlong(done == 0 ? 1 : ldlong(&record[36]) + 1, &record[36]);
                                            if (isrewcurr(fd, record.data()) == 0) ++done;
                                            isrelease(fd);
                                        }
                                        isclose(fd);
                                        std::filesystem::create_directory("counted");
                                    });
    const_cast<tool_tests::Holder &>(holder).goOn();
    std::string rows = "number,name\n";
    for (int i = 0; i < 200; ++i)
        rows += "1,name " + std::to_string(i) + "\n";
    while (!std::filesystem::exists(path("counted")))
        load(rows, "--update --keep-going");
    std::string record(400, '\0');
    const int fd = isopen("goods", ISINPUT | ISLOCKMANUAL | ISVARAUTO);
    ASSERT_GE(fd, 0);
    stlong(1, record.data());
    ASSERT_EQ(isread(fd, record.data(), ISEQUAL), 0);
    EXPECT_EQ(ldlong(&record[36]), kTimes);
    ASSERT_EQ(isclose(fd), 0);
}

// A file keeps no number free while numbers are given; that must not stay so.
TEST_F(Load, ASignalEndsItWithTheFileAsItShouldBe) {
    const Ran ran = shell("mkfifo pipe; isam load goods pipe --numbers & pid=$!; exec 3>pipe\n"
                          "printf 'number,@recnum\\n1,3\\n2,5\\n' >&3\n"
                          "while [ $(wc -c <goods.dat) -lt 255 ]; do sleep 0.05; done\n"
                          "kill -TERM $pid; wait $pid; echo $?");
    EXPECT_EQ(ran.out, "2 written, 0 updated, 0 skipped, 0 refused\n143\n");
    EXPECT_EQ(ran.err.substr(0, ran.err.find('\n')), "isam load: pipe: stopped by a signal behind the row of line 3");
    const std::string info = isam("info goods").out;
    EXPECT_NE(info.find("2; highest number 5, 3 numbers free"), std::string::npos) << info;
    EXPECT_NE(info.find("precious        no\n"), std::string::npos) << info;
}

TEST_F(Load, UpdatesNeedAUniquePrimaryKey) {
    put("heap.layout", "record 8\nfield a 0 8 char\nindex record-number\nindex unique a\n");
    ASSERT_EQ(isam("build heap").status, 0);
    EXPECT_EQ(isam("load heap --update").err,
              "isam load: heap: has no unique primary key that would tell which record to update\n");
}

TEST_F(Load, UpdatesKeepMasks) {
    put("m.layout", "record 8 masks\nfield a 0 4 long\nfield b 4 4 char\nindex unique a\nindex duplicates b\n");
    ASSERT_EQ(isam("build m").status, 0);
    put("input", "a,b,@mask\n1,x,2\n2,y,0\n");
    ASSERT_EQ(isam("load m input").status, 0);
    put("input", "a,b\n1,z\n");
    ASSERT_EQ(isam("load m input --update").status, 0);
    EXPECT_EQ(isam("dump m").out, "@mask,a,b\n2,1,z\n0,2,y\n");
    put("input", "{\"a\": 1, \"@mask\": 0}\n");
    ASSERT_EQ(isam("load m input --format jsonl --update").status, 0);
    EXPECT_EQ(isam("scan m --index 2 --format csv").out, "@mask,a,b\n0,2,y\n0,1,z\n");
}

TEST_F(Load, ALockedRecordIsAFault) {
    ASSERT_EQ(load("number,name\n1,a\n").status, 0);
    const int fd = isopen("goods", ISINOUT | ISLOCKMANUAL | ISVARLEN);
    ASSERT_GE(fd, 0);
    std::string record(400, '\0');
    ASSERT_EQ(isread(fd, record.data(), ISFIRST | ISLOCK), 0);
    expectRefused("number,name\n1,b\n", "line 2: somebody else has locked the record", "--update");
    isclose(fd);
}

TEST_F(Load, ChosenNumbersAreTakenOrRefused) {
    ASSERT_EQ(load("@recnum,number,name\n3,1,a\n9,2,b\n", "--numbers").status, 0);
    EXPECT_EQ(isam("scan goods --index 0 --numbers --format csv").out,
              "@recnum,number,name,price,since,remark,_28,_40\n3,1,a,0.00,,,,\n9,2,b,0.00,,,,\n");
    expectRefused("number,name\n5,e\n", "line 2: @recnum: is missing", "--numbers");
    expectRefused("@recnum,number,name\n9,5,e\n", "line 2: @recnum: number 9 is in use, or not free any more",
                  "--numbers");
    EXPECT_EQ(
        isam("dump goods --numbers --format jsonl").out,
        "{\"@recnum\": 3, \"number\": 1, \"name\": \"a\", \"price\": \"0.00\", \"since\": \"\", \"remark\": \"\"}\n"
        "{\"@recnum\": 9, \"number\": 2, \"name\": \"b\", \"price\": \"0.00\", \"since\": \"\", \"remark\": \"\"}\n");
    const int fd = isopen("goods", ISINOUT | ISLOCKEXCL | ISVARLEN);
    EXPECT_EQ(ischeckdata(fd), 0);
    isclose(fd);
}

TEST_F(Load, KeysAloneNeedTheirNumbers) {
    put("keys.layout", "record none\nfield id 2 4 long\nindex unique id\n");
    ASSERT_EQ(isam("build keys").status, 0);
    put("input", "id\n1\n");
    EXPECT_EQ(isam("load keys input").err,
              "isam load: input: line 2: @recnum: is missing, and a key without a record has one\n");
    put("input", "id,@recnum\n5,77\n-5,78\n");
    EXPECT_EQ(isam("load keys input").out, "2 written, 0 updated, 0 skipped, 0 refused\n");
    EXPECT_EQ(isam("scan keys").out, "@recnum  id\n     78  -5\n     77   5\n");
}

// The compression drops the last 64 bytes of a tail that it shortens and that ends in 64, 127, .. bytes without a run.
TEST_F(Load, ATailThatItsCompressionWouldCutIsRefused) {
    put("c.layout", "record 4..900 compressed\nfield id 0 4 long\nfield t 4 * char\nindex unique id\n");
    ASSERT_EQ(isam("build c").status, 0);
    std::string plain;
    for (int i = 0; i < 64; ++i)
        plain += static_cast<char>('A' + i % 26);
    const std::string cut = std::string(100, ' ') + plain;
    put("input", "id,t\n1,\"" + cut + "!\"\n2,\"" + cut + "\"\n");
    const Ran ran = isam("load c input");
    EXPECT_EQ(ran.err, "isam load: input: line 3: the compression of tails would lose the end of this one\n");
    EXPECT_EQ(isam("dump c").out, "id,t\n1,\"" + cut + "!\"\n");
    put("input", "id,t\n1,\"" + cut + "\"\n");
    EXPECT_EQ(isam("load c input --update").status, 2);
    EXPECT_EQ(isam("dump c").out, "id,t\n1,\"" + cut + "!\"\n");
}

TEST_F(Load, ALayoutOfAnotherFileIsRefused) {
    put("goods.layout", "record 45..400\nfield number 0 4 long\n");
    EXPECT_EQ(isam("dump goods").err, "isam dump: goods.layout: has 'record 45..400', the file 'record 44..400'\n");
    EXPECT_EQ(isam("dump goods --no-layout").status, 0);
}

}  // namespace
