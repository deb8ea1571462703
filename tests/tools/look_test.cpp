// isam info, isam tree and isam map, and the reader of index files that they stand on.
#include "tools/sample_files.h"
#include "tools/tool_run.h"

#include "base/failure.h"
#include "index/survey.h"

#include <algorithm>
#include <fcntl.h>
#include <isam.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

using nlohmann::json;
using tool_tests::Ran;
using tool_tests::ToolTest;

class Look : public ToolTest {
  protected:
    json document(const std::string &arguments) const {
        const Ran ran = isam(arguments);
        EXPECT_EQ(ran.err, "");
        return json::parse(ran.out, nullptr, false);
    }

    static std::size_t count(const std::string &text, const std::string &word) {
        std::size_t found = 0;
        for (std::size_t at = text.find(word); at != std::string::npos; at = text.find(word, at + 1))
            ++found;
        return found;
    }
};

TEST_F(Look, InfoTellsWhatAFileIsMadeOf) {
    tool_tests::buildSample("fixed", 600);
    const Ran ran = isam("info fixed");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.err, "");
    EXPECT_EQ(ran.out, "file            fixed\n"
                       "kind            records of 30 bytes\n"
                       "records         585; highest number 600, 15 numbers free\n"
                       "data file       18600 bytes, slots of 31\n"
                       "index file      39936 bytes, nodes of 1024\n"
                       "nodes           36 in trees, 0 free, 3 for header, descriptions and lists\n"
                       "next id         77\n"
                       "precious        no\n"
                       "masks           no\n"
                       "audit trail     none\n"
                       "user area       68656c6c6f0000000000 \"hello\"\n"
                       "\n"
                       "index 1         unique\n"
                       "  key           bytes 0-3 long\n"
                       "  tree          2 levels, 9 nodes, 52% full, 585 keys\n"
                       "\n"
                       "index 2         duplicates, repeated keys once, leading bytes, trailing blanks\n"
                       "  key           bytes 4-23 char\n"
                       "  tree          2 levels, 10 nodes, 51% full, 585 keys, compression saves 69%\n"
                       "\n"
                       "index 3         duplicates\n"
                       "  key           bytes 24-25 int, descending\n"
                       "                bytes 4-11 char\n"
                       "  tree          2 levels, 17 nodes, 63% full, 585 keys\n");
}

TEST_F(Look, InfoCountsInEveryKindOfFileWhatIsThere) {
    for (const std::string &kind : tool_tests::sampleKinds()) {
        tool_tests::buildSample(kind, 400);
        const json info = document("info --json " + kind);
        const auto contents = tool_tests::contentsOf(kind);
        const auto counts = tool_tests::countsOf(kind);
        EXPECT_EQ(info["damage"], json::array()) << kind;
        ASSERT_EQ(info["indexes"].size(), counts.size()) << kind;
        for (std::size_t i = 0; i < counts.size(); ++i)
            EXPECT_EQ(info["indexes"][i]["keys"], counts[i]) << kind;
        if (kind != "keys") {
            EXPECT_EQ(info["records"], contents.size()) << kind;
        }
        EXPECT_EQ(info["masks"], kind == "masks");
        EXPECT_EQ(info["compressed"], kind == "compressed");
        EXPECT_EQ(info["primaryKey"], kind != "heap");
        EXPECT_EQ(info["lostNodes"], 0) << kind;
        EXPECT_EQ(info["tailNodes"] != 0, kind == "variable" || kind == "compressed") << kind;
    }
}

TEST_F(Look, InfoShowsPreciousModeAndAuditTrail) {
    tool_tests::buildSample("fixed", 50);
    const int fd = isopen("fixed", ISINOUT | ISLOCKEXCL);
    char name[] = "trail of it";
    ASSERT_EQ(isprecious(fd, 1), 0);
    ASSERT_EQ(isaudit(fd, name, ISAUDSETNAME), 0);
    ASSERT_EQ(isaudit(fd, nullptr, ISAUDSTART), 0);
    ASSERT_EQ(isclose(fd), 0);
    const json info = document("info --json fixed");
    EXPECT_EQ(info["precious"], true);
    EXPECT_EQ(info["audit"]["name"], "trail of it");
    EXPECT_EQ(info["audit"]["on"], true);
}

TEST_F(Look, InfoFollowsALinkFile) {
    tool_tests::buildSample("fixed", 50);
    std::filesystem::create_directory(path("elsewhere"));
    std::filesystem::rename(path("fixed.idx"), path("elsewhere/real.idx"));
    std::filesystem::rename(path("fixed.dat"), path("elsewhere/real.dat"));
    put("fixed.lnk", "elsewhere/real\n");
    EXPECT_EQ(document("info --json fixed")["file"], "elsewhere/real");
}

TEST_F(Look, InfoTellsOfADamagedFileWhatCanBeRead) {
    tool_tests::buildSample("fixed", 600);
    std::string bytes = get("fixed.idx");
    bytes[13] = 0;  // the record length
    bytes[14] = 3;
    put("fixed.idx", bytes);
    const Ran ran = isam("info fixed");
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.out.find("kind            records of 3 bytes\n"), std::string::npos) << ran.out;
    EXPECT_NE(ran.out.find("damage          a key description in node 2 cannot be one\n"), std::string::npos)
        << ran.out;
    put("fixed.idx", "");
    EXPECT_EQ(isam("info fixed").status, 1);
}

TEST_F(Look, InfoWaitsForNobodyWhoHasTheFileForHimselfAndNamesHim) {
    tool_tests::buildSample("fixed", 50);
    const int fd = isopen("fixed", ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    const Ran ran = isam("info fixed");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam info: fixed: in use: process " + std::to_string(getpid()) + " has it for itself\n");
    ASSERT_EQ(isclose(fd), 0);
}

TEST_F(Look, TreeShowsLevelsAndFill) {
    tool_tests::buildSample("fixed", 600);
    const Ran ran = isam("tree fixed --index 3");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "index 3 of fixed: duplicates: bytes 24-25 int, descending; bytes 4-11 char\n"
                       "\n"
                       "level        nodes     entries  full\n"
                       "1                1          16   28%\n"
                       "leaves          16         585   65%\n"
                       "\n"
                       "leaves by fill\n"
                       "  0- 10%       0\n"
                       " 10- 20%       0\n"
                       " 20- 30%       0\n"
                       " 30- 40%       0\n"
                       " 40- 50%       0\n"
                       " 50- 60%       3  #############\n"
                       " 60- 70%      12  ##################################################\n"
                       " 70- 80%       1  #####\n"
                       " 80- 90%       0\n"
                       " 90-100%       0\n");
    const json tree = document("tree fixed --index 3 --json");
    EXPECT_EQ(tree["levels"][1]["nodes"], 16);
    EXPECT_EQ(tree["keys"], 585);
    EXPECT_EQ(isam("tree fixed --index 4").status, 2);
}

TEST_F(Look, TreeDrawsABoxForEveryNodeAndForManyOfALargeTreeOne) {
    tool_tests::buildSample("fixed", 600);
    EXPECT_EQ(isam("tree fixed --index 3 --svg small.svg").status, 0);
    const std::string small = get("small.svg");
    EXPECT_EQ(count(small, "<title>node "), 17U);
    EXPECT_NE(small.find("keys 12, name 0 to 12, name 78"), std::string::npos) << small;
    KeyDesc key = {ISNODUPS, 1, {{0, 120, CHARTYPE}}, 0, 0};
    const int fd = isbuild("large", 120, &key, ISINOUT | ISLOCKEXCL);
    std::vector<char> record(120);
    for (int i = 0; i < 3000; ++i) {
        stchar(std::to_string(1000000 + i).c_str(), record.data(), 120);
        ASSERT_EQ(iswrite(fd, record.data()), 0);
    }
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(isam("tree large --svg large.svg").status, 0);
    const std::string large = get("large.svg");
    EXPECT_NE(large.find(" nodes a box<"), std::string::npos);
    EXPECT_LT(count(large, "<rect"), 2500U);
    for (const char *picture : {"small.svg", "large.svg"})
        EXPECT_EQ(
            shell(std::string("python3 -c \"import sys,xml.dom.minidom as d; d.parse('") + picture + "')\"").status, 0);
}

TEST_F(Look, MapCountsEveryNodeOnce) {
    for (const std::string &kind : tool_tests::sampleKinds()) {
        tool_tests::buildSample(kind, 400);
        const json map = document("map --json " + kind);
        std::uint64_t counted = 0, next = 1;
        for (const json &entry : map["counts"])
            counted += entry["nodes"].get<std::uint64_t>();
        for (const json &run : map["runs"]) {
            EXPECT_EQ(run["first"], next) << kind;
            next = run["last"].get<std::uint64_t>() + 1;
        }
        EXPECT_EQ(counted, std::filesystem::file_size(path(kind + ".idx")) / 1024) << kind;
        EXPECT_EQ(next, counted + 1) << kind;
        EXPECT_EQ(map["counts"][0], json({{"kind", "header"}, {"nodes", 1}})) << kind;
        EXPECT_EQ(isam("map " + kind + " --svg map.svg").status, 0) << kind;
        EXPECT_EQ(count(get("map.svg"), "<title>"), counted) << kind;
    }
}

TEST_F(Look, MapShowsFreeAndLostNodes) {
    tool_tests::buildSample("fixed", 600);
    const int fd = isopen("fixed", ISINOUT | ISLOCKEXCL);
    KeyDesc key;
    ASSERT_EQ(isindexinfo(fd, &key, 3), 0);
    ASSERT_EQ(isdelindex(fd, &key), 0);
    ASSERT_EQ(isclose(fd), 0);
    const Ran ran = isam("map fixed");
    EXPECT_EQ(ran.status, 0);
    EXPECT_NE(ran.out.find("       17  free\n"), std::string::npos) << ran.out;
    std::string bytes = get("fixed.idx");
    std::fill_n(bytes.begin() + 29, 4, '\0');  // the head of their list
    put("fixed.idx", bytes);
    const Ran lost = isam("map fixed");
    EXPECT_EQ(lost.status, 0);
    EXPECT_NE(lost.out.find("       17  lost\n"), std::string::npos) << lost.out;
}

TEST_F(Look, MapShowsNodesThatShouldBeATreesAndAreNot) {
    tool_tests::buildSample("fixed", 600);
    std::string bytes = get("fixed.idx");
    bytes.replace(3 * 1024, 1024, 1024, '\0');  // the second index's root
    put("fixed.idx", bytes);
    const Ran ran = isam("map fixed");
    EXPECT_EQ(ran.status, 1);
    EXPECT_NE(ran.out.find("        9  lost\n        1  index 2, ruined\n"), std::string::npos) << ran.out;
}

// Every byte of an index file, one after the other, is something else: the reader ends, and what it has found adds up.
class HostileIndex : public ToolTest {
  protected:
    void changeEveryByte(const std::string &kind, int records, unsigned change) const {
        tool_tests::buildSample(kind, records);
        const std::string bytes = get(kind + ".idx");
        const int fd = open(path(kind + ".idx").c_str(), O_RDWR | O_CLOEXEC);
        ASSERT_GE(fd, 0);
        for (std::size_t at = 0; at < bytes.size(); ++at) {
            const auto other = static_cast<char>(static_cast<unsigned char>(bytes[at]) ^ change);
            ASSERT_EQ(pwrite(fd, &other, 1, static_cast<off_t>(at)), 1);
            look(kind);
            ASSERT_EQ(pwrite(fd, &bytes[at], 1, static_cast<off_t>(at)), 1);
        }
        close(fd);
    }

  private:
    static void look(const std::string &kind) {
        const tool::FileView view(kind, tool::FileView::Access::kShared);
        const tool::Shape shape = tool::readShape(view);
        if (!shape.headerRead) return;
        std::uint64_t steps = 0;
        const tool::Survey survey = tool::surveyNodes(view, shape, [&steps](std::uint64_t nodes) { steps += nodes; });
        std::uint64_t in_trees = 0;
        for (const tool::Tree &tree : survey.trees)
            in_trees += tree.nodes();
        ASSERT_LE(in_trees, survey.nodes.size());
        ASSERT_LE(steps, survey.nodes.size());
    }
};

TEST_F(HostileIndex, OfFixedRecordsIsReadToItsEnd) { changeEveryByte("fixed", 120, 0xff); }
TEST_F(HostileIndex, OfTailsIsReadToItsEnd) { changeEveryByte("variable", 25, 0x81); }
TEST_F(HostileIndex, OfKeysAloneIsReadToItsEnd) { changeEveryByte("keys", 300, 0x01); }

}  // namespace
