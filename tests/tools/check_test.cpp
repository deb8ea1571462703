// isam check: what it finds, in which words, and its exit status.
#include "tools/sample_files.h"
#include "tools/tool_run.h"

#include <isam.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

using nlohmann::json;
using tool_tests::Ran;
using tool_tests::ToolTest;

class Check : public ToolTest {
  protected:
    // A byte of a file becomes another.
    void change(const std::string &name, std::size_t at, char value) const {
        std::string bytes = get(name);
        ASSERT_LT(at, bytes.size());
        bytes[at] = value;
        put(name, bytes);
    }
};

TEST_F(Check, FindsFilesOfEveryKindSound) {
    std::string names, lines;
    for (const std::string &kind : tool_tests::sampleKinds()) {
        tool_tests::buildSample(kind, 400);
        names += " " + kind + ".idx";
        lines += kind + ": sound\n";
    }
    const Ran ran = isam("check" + names);
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, lines);
    EXPECT_EQ(ran.err, "");
}

TEST_F(Check, SaysEveryFindingInWords) {
    tool_tests::buildSample("fixed", 400);
    change("fixed.dat", 31 * 9 + 30, '\0');  // record 10 is deleted, the indexes have it still
    const Ran ran = isam("check fixed");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "fixed: data file: data free list is corrupt - numbers of deleted records are missing in their "
                       "list, or others stand in it\n"
                       "fixed: damaged; mend it with: isam repair fixed\n");
    change("fixed.dat", 31 * 9, 'x');
    EXPECT_NE(isam("check fixed")
                  .out.find("fixed: index 1: index/data mismatch - records are found by keys that they "
                            "do not have\n"),
              std::string::npos);
}

TEST_F(Check, SeesRecordsThatTheHeaderDoesNotCount) {
    tool_tests::buildSample("fixed", 400);
    const std::string index = get("fixed.idx"), data = get("fixed.dat");
    constexpr int kSlot = 31;
    // One more may be what a kill has left of a write.
    put("fixed.dat", data + data.substr(data.size() - kSlot));
    EXPECT_EQ(isam("check fixed").out, "fixed: sound\n");
    put("fixed.dat", data + data.substr(data.size() - 3 * kSlot));
    const Ran ran = isam("check fixed");
    EXPECT_EQ(ran.status, 1);
    EXPECT_EQ(ran.out, "fixed: data file: 3 records lie behind the highest number that the index file counts, 400 - "
                       "nobody finds them, and new ones would be written over them\n"
                       "fixed: damaged; mend it with: isam repair fixed\n");
}

TEST_F(Check, SeesANodeThatTwoHave) {
    tool_tests::buildSample("fixed", 400);
    std::string bytes = get("fixed.idx");
    bytes.replace(25, 4, bytes.substr(15, 4));  // the list of free records begins in the list of indexes
    put("fixed.idx", bytes);
    const Ran ran = isam("check fixed");
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.out.find("fixed: index file: the list of free records leads to node 2, which is in use: key "
                           "descriptions\n"),
              std::string::npos)
        << ran.out;
}

TEST_F(Check, TakesLostNodesForNoDamage) {
    tool_tests::buildSample("fixed", 400);
    put("fixed.idx", get("fixed.idx") + std::string(2048, '\0'));
    const Ran ran = isam("check fixed");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "fixed: note: index file: 2 nodes belong to nobody: room lost, nothing else\nfixed: sound\n");
}

TEST_F(Check, ExitsWithTheWorstOfSeveral) {
    tool_tests::buildSample("fixed", 100);
    tool_tests::buildSample("heap", 100);
    change("heap.dat", 31 * 9 + 30, 'x');
    EXPECT_EQ(isam("check fixed heap").status, 1);
    EXPECT_EQ(isam("check heap fixed").status, 1);
    const Ran ran = isam("check nosuch heap fixed");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam check: nosuch: cannot be opened: opening the index file: No such file or directory\n");
    EXPECT_NE(ran.out.find("heap: data file: data record corrupt"), std::string::npos);
    EXPECT_NE(ran.out.find("fixed: sound\n"), std::string::npos);
}

TEST_F(Check, FindsAMissingFileOfTheTwoAndOneThatTheLibraryRefuses) {
    tool_tests::buildSample("fixed", 100);
    const std::string index = get("fixed.idx"), data = get("fixed.dat");
    std::filesystem::remove(path("fixed.dat"));
    EXPECT_EQ(isam("check fixed").status, 1);
    put("fixed.dat", data);
    std::filesystem::remove(path("fixed.idx"));
    EXPECT_EQ(isam("check fixed").status, 1);
    put("fixed.idx", std::string(1024, '\0'));
    const Ran ran = isam("check fixed");
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.out.find("fixed: library: does not open the set: "), std::string::npos) << ran.out;
    put("fixed.idx", index);
    EXPECT_EQ(isam("check fixed").status, 0);
}

TEST_F(Check, CannotCheckWhatSomebodyHasForHimself) {
    tool_tests::buildSample("fixed", 100);
    const int fd = isopen("fixed", ISINOUT | ISLOCKEXCL);
    const Ran ran = isam("check fixed");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam check: fixed: in use: process " + std::to_string(getpid()) + " has it for itself\n");
    ASSERT_EQ(isclose(fd), 0);
    const int shared = isopen("fixed", ISINOUT | ISLOCKMANUAL);
    EXPECT_EQ(isam("check fixed").status, 0);
    ASSERT_EQ(isclose(shared), 0);
}

TEST_F(Check, TellsProgramsTheSame) {
    tool_tests::buildSample("fixed", 100);
    change("fixed.dat", 31 * 9 + 30, 'x');
    const Ran ran = isam("check --json fixed nosuch");
    EXPECT_EQ(ran.status, 2);
    const json documents = json::parse(ran.out);
    EXPECT_EQ(documents[0]["status"], "damaged");
    EXPECT_EQ(documents[0]["findings"][0]["where"], "data file");
    EXPECT_EQ(documents[0]["findings"][0]["what"], "data record corrupt");
    EXPECT_EQ(documents[1]["status"], "not checked");
}

}  // namespace
