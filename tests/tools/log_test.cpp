// isam log: what it says of each record, what it picks out.
#include "tools/sample_log.h"
#include "tools/tool_run.h"

#include <algorithm>
#include <array>
#include <nlohmann/json.hpp>
#include <sstream>
#include <unistd.h>

namespace {

using namespace tool_tests;
using Json = nlohmann::json;

class Log : public ToolTest {
  protected:
    Log() { makeFullLog("full.log"); }

    std::vector<Json> records(const std::string &arguments) const {
        const Ran ran = isam("log full.log --json " + arguments);
        EXPECT_EQ(ran.status, 0) << ran.err;
        std::vector<Json> out;
        std::istringstream lines(ran.out);
        for (std::string line; std::getline(lines, line);)
            out.push_back(Json::parse(line));
        return out;
    }
    std::string types(const std::string &arguments) const {
        std::string out;
        for (const Json &record : records(arguments))
            out += (out.empty() ? "" : " ") + record.at("type").get<std::string>();
        return out;
    }
};

TEST_F(Log, NamesEveryTypeOfRecord) {
    EXPECT_EQ(types(""),
              "build open addindex delindex setunique uniqueid begin write write rewrite delete commit begin "
              "write rollback rename erase build open write close");
}

TEST_F(Log, TellsWhatEachRecordHolds) {
    const std::vector<Json> all = records("--long");
    ASSERT_EQ(all.size(), 21U);
    const Json &build = all[0];
    EXPECT_EQ(build["offset"], 0);
    EXPECT_EQ(build["file"], "all");
    EXPECT_EQ(build["process"], getpid() & 0xffff);
    EXPECT_EQ(build["user"], getuid() & 0xffffU);
    EXPECT_EQ(build["minimum"], kItemLength);
    EXPECT_EQ(build["maximum"], kItemLength);
    EXPECT_EQ(build["key"]["parts"][0]["length"], 4);
    EXPECT_EQ(all[2]["key"]["parts"][0]["start"], 4);
    EXPECT_EQ(all[4]["value"], 77);
    const Json &rewrite = all[9];
    EXPECT_EQ(rewrite["file"], "all");
    EXPECT_EQ(rewrite["record"], 1);
    EXPECT_EQ(rewrite["transaction"], 1);
    EXPECT_EQ(rewrite["old"], "000000016f6e65202020202020202020");
    EXPECT_EQ(rewrite["new"], "0000000165696e732020202020202020");
    EXPECT_EQ(all[10]["old"], "0000000274776f202020202020202020");
    EXPECT_FALSE(all[10].contains("new"));
    EXPECT_EQ(all[13]["transaction"], 2);
    EXPECT_EQ(all[15]["file"], "all");
    EXPECT_EQ(all[15]["newName"], "new");
    EXPECT_EQ(all[17]["maximum"], 100);
    EXPECT_EQ(all[19]["newLength"], kItemLength + 20);
    EXPECT_FALSE(all[19].contains("transaction"));
    std::int64_t offset = 0;
    for (const Json &record : all) {
        EXPECT_EQ(record["offset"], offset);
        offset += record["length"].get<std::int64_t>();
    }
    EXPECT_EQ(static_cast<std::size_t>(offset), get("full.log").size());
}

TEST_F(Log, PrintsALineForEachRecord) {
    const Ran ran = shell("isam log full.log --type rewrite | cut -c 1-10,32-");
    const std::string columns = ran.out.substr(ran.out.find('\n') + 1);
    EXPECT_TRUE(columns.ends_with("      1  rewrite   all record 1, 16 bytes\n")) << columns;
    const Ran contents = isam("log full.log --type rewrite --long");
    EXPECT_NE(contents.out.find("old\n            00000  00 00 00 01 6f 6e 65 20  20 20 20 20 20 20 20 20  |....one "),
              std::string::npos)
        << contents.out;
    EXPECT_NE(contents.out.find("new\n            00000  00 00 00 01 65 69 6e 73"), std::string::npos);
}

TEST_F(Log, PicksOutFilesTypesTransactionsProcessesAndTimes) {
    EXPECT_EQ(types("--file tails"), "build open write close");
    EXPECT_EQ(types("--file ./new"), "rename erase");
    EXPECT_EQ(types("--file all --type write,DE"), "write write delete write");
    EXPECT_EQ(types("--transaction 2"), "begin write rollback");
    EXPECT_EQ(types("--process " + std::to_string(getpid()) + " --type commit"), "commit");
    EXPECT_EQ(types("--process " + std::to_string(getpid() + 1)), "");
    EXPECT_EQ(types("--since 1h --type erase"), "erase");
    EXPECT_EQ(types("--since '2099-01-01 12:00'"), "");
    EXPECT_EQ(types("--until 2001-01-01"), "");
}

TEST_F(Log, RefusesWordsThatMeanNothing) {
    const Ran type = isam("log full.log --type write,nosuch");
    EXPECT_EQ(type.status, 2);
    EXPECT_NE(type.err.find("nosuch: is no type of record"), std::string::npos) << type.err;
    const Ran time = isam("log full.log --since yesterday");
    EXPECT_EQ(time.status, 2);
    EXPECT_NE(time.err.find("yesterday: is no time"), std::string::npos) << time.err;
    EXPECT_EQ(isam("log nosuch").err, "isam log: nosuch: cannot be opened: No such file or directory\n");
    EXPECT_EQ(isam("log .").err, "isam log: .: is not a file\n");
}

TEST_F(Log, CountsTheRecords) {
    const Json summary = Json::parse(isam("log full.log --summary --json").out);
    EXPECT_EQ(summary["records"], 21);
    EXPECT_EQ(summary["bytes"], get("full.log").size());
    EXPECT_EQ(summary["types"]["write"], 4);
    EXPECT_EQ(summary["files"][0], Json({{"file", "all"}, {"written", 3}, {"rewritten", 1}, {"deleted", 1}}));
    EXPECT_NE(isam("log full.log --summary").out.find("tails: 1 written, 0 rewritten, 0 deleted\n"), std::string::npos);
}

TEST_F(Log, ListsTransactionsWithoutEnd) {
    EXPECT_EQ(isam("log full.log --open").out, "");
    // The log without the commit of its first transaction and all that follows.
    const std::string log = get("full.log");
    const std::vector<Json> all = records("");
    put("full.log", log.substr(0, all[11]["offset"].get<std::size_t>()));
    const Json open = Json::parse(isam("log full.log --open --json").out);
    ASSERT_EQ(open.size(), 1U);
    EXPECT_EQ(open[0]["transaction"], 1);
    EXPECT_EQ(open[0]["changes"], 4);
    EXPECT_EQ(open[0]["files"], Json({"all"}));
    EXPECT_EQ(open[0]["offset"], all[6]["offset"]);
    EXPECT_NE(isam("log full.log --open").out.find(", 4 changes in all\n"), std::string::npos);
}

TEST_F(Log, SaysWhereTheLogIsCutOff) {
    const std::string log = get("full.log");
    const std::size_t last = records("").back()["offset"];
    put("full.log", log.substr(0, log.size() - 1));
    const Ran cut = isam("log full.log");
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.err, "isam log: full.log: cut off at offset " + std::to_string(last) + ": " +
                           std::to_string(log.size() - 1 - last) + " of a record's " +
                           std::to_string(log.size() - last) + " bytes\n");
    EXPECT_EQ(std::count(cut.out.begin(), cut.out.end(), '\n'), 21);
    put("full.log", log.substr(0, last + 5));
    EXPECT_NE(isam("log full.log").err.find(": 5 bytes of a record's head\n"), std::string::npos);
}

TEST_F(Log, SaysWhereTheLogIsDamaged) {
    const std::string log = get("full.log");
    const std::size_t second = records("")[1]["offset"];
    std::string bad = log;
    bad[second - 1] ^= 1;
    put("full.log", bad);
    const Ran trailer = isam("log full.log");
    EXPECT_EQ(trailer.status, 1);
    EXPECT_NE(trailer.err.find("damaged at offset 0: a record has "), std::string::npos) << trailer.err;
    bad = log;
    bad.replace(second, 2, std::string("\0\x05", 2));
    put("full.log", bad);
    const std::string at = std::to_string(second);
    EXPECT_EQ(isam("log full.log").err, "isam log: full.log: damaged at offset " + at + ": a record of 5 bytes\n");
    bad = log;
    bad.replace(2, 2, "ZZ");  // a type that nobody knows
    put("full.log", bad);
    const Ran unknown = isam("log full.log --json");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(Json::parse(unknown.out.substr(0, unknown.out.find('\n')))["type"], "ZZ");
    EXPECT_EQ(std::count(unknown.out.begin(), unknown.out.end(), '\n'), 21);
}

TEST_F(Log, TellsFilesThatWereOpenedBeforeTheLog) {
    const int fd = buildItems("early");
    ASSERT_EQ(islogopen("late.log"), 0);
    writeItem(fd, 1, "one");
    EXPECT_EQ(islogclose(), 0);
    EXPECT_EQ(isclose(fd), 0);
    EXPECT_NE(isam("log late.log").out.find("write     (descriptor 0, opened before the log) record 1, 16 bytes\n"),
              std::string::npos);
}

TEST_F(Log, ShowsNoControlCharactersOfAName) {
    ASSERT_EQ(islogopen("odd.log"), 0);
    EXPECT_EQ(isclose(buildItems("a\x1b[2J")), 0);
    EXPECT_EQ(islogclose(), 0);
    const Ran ran = isam("log odd.log --type open");
    EXPECT_EQ(ran.out.find('\x1b'), std::string::npos);
    EXPECT_NE(ran.out.find(" a\\x1b[2J descriptor 0\n"), std::string::npos) << ran.out;
}

}  // namespace
