// isam audit: settings of a trail, and what it says of its entries.
#include "tools/sample_log.h"
#include "tools/tool_run.h"

#include <nlohmann/json.hpp>
#include <sstream>
#include <unistd.h>

namespace {

using namespace tool_tests;
using Json = nlohmann::json;

class Audit : public ToolTest {
  protected:
    std::vector<Json> entries(const std::string &arguments) const {
        const Ran ran = isam("audit items show --json " + arguments);
        EXPECT_EQ(ran.status, 0) << ran.err;
        std::vector<Json> out;
        std::istringstream lines(ran.out);
        for (std::string line; std::getline(lines, line);)
            out.push_back(Json::parse(line));
        return out;
    }
    std::string kinds(const std::string &arguments) const {
        std::string out;
        for (const Json &entry : entries(arguments))
            out += (out.empty() ? "" : " ") + entry["what"].get<std::string>();
        return out;
    }
    void makeTrail() const {
        ASSERT_EQ(isclose(buildItems("items")), 0);
        ASSERT_EQ(isam("audit items name trail").status, 0);
        ASSERT_EQ(isam("audit items on").status, 0);
        const int fd = isopen("items", ISINOUT | ISLOCKMANUAL);
        writeItem(fd, 1, "one");
        writeItem(fd, 2, "two");
        rewriteItem(fd, 1, "eins");
        deleteItem(fd, 2);
        ASSERT_EQ(isclose(fd), 0);
    }
};

TEST_F(Audit, ShowsEveryEntryWithItsRecord) {
    makeTrail();
    EXPECT_EQ(kinds(""), "added added before after deleted");
    const std::vector<Json> all = entries("");
    EXPECT_EQ(all[0]["offset"], 0);
    EXPECT_EQ(all[0]["process"], getpid() & 0xffff);
    EXPECT_EQ(all[0]["user"], getuid() & 0xffffU);
    EXPECT_EQ(all[3]["record"], 1);
    EXPECT_EQ(all[3]["bytes"], "0000000165696e732020202020202020");
    EXPECT_EQ(all[4]["record"], 2);
    const Ran text = isam("audit items show --type after --long");
    EXPECT_EQ(text.out.substr(0, 16), "trail trail, on\n");
    EXPECT_NE(text.out.find("  after             1  ....eins\n            00000  00 00 00 01 65 69 6e 73"),
              std::string::npos)
        << text.out;
}

TEST_F(Audit, PicksOutTypesRecordsUsersProcessesAndTimes) {
    makeTrail();
    EXPECT_EQ(kinds("--type rewritten"), "before after");
    EXPECT_EQ(kinds("--type deleted,before"), "before deleted");
    EXPECT_EQ(kinds("--record 2"), "added deleted");
    EXPECT_EQ(kinds("--user " + std::to_string(getuid()) + " --record 2"), "added deleted");
    EXPECT_EQ(kinds("--user " + std::to_string(getuid() + 1)), "");
    EXPECT_EQ(kinds("--process " + std::to_string(getpid() + 1)), "");
    EXPECT_EQ(kinds("--since 2099-01-01"), "");
    EXPECT_EQ(kinds("--until 2099-01-01 --record 2"), "added deleted");
    EXPECT_EQ(isam("audit items show --type nosuch").status, 2);
    EXPECT_EQ(isam("audit items show --user nosuch").err, "isam audit: nosuch: is no user\n");
}

TEST_F(Audit, IsSwitchedOffAndOn) {
    makeTrail();
    const auto change = [](long number) {
        const int fd = isopen("items", ISINOUT | ISLOCKMANUAL);
        writeItem(fd, number, "new");
        isclose(fd);
    };
    EXPECT_EQ(isam("audit items off").status, 0);
    change(10);
    EXPECT_EQ(entries("").size(), 5U);
    EXPECT_EQ(isam("audit items on").status, 0);
    change(11);
    EXPECT_EQ(entries("").size(), 6U);
}

TEST_F(Audit, IsNamed) {
    ASSERT_EQ(isclose(buildItems("items")), 0);
    const Ran none = isam("audit items name");
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "isam audit: items: has no audit trail\n");
    for (const char *action : {"on", "off", "show"}) {
        const Ran ran = isam(std::string("audit items ") + action);
        EXPECT_EQ(ran.status, 2) << action;
        EXPECT_EQ(ran.err, "isam audit: items: has no audit trail; 'isam audit items name TRAIL' gives it one\n");
    }
    EXPECT_EQ(isam("audit items name " + std::string(64, 'n')).status, 0);
    const Ran longer = isam("audit items name " + std::string(65, 'n'));
    EXPECT_EQ(longer.status, 2);
    EXPECT_NE(longer.err.find("(114)"), std::string::npos) << longer.err;
    EXPECT_EQ(isam("audit items name").out, std::string(64, 'n') + "\n");
    EXPECT_EQ(isam("audit items name --json").out,
              "{\n  \"file\": \"items\",\n  \"name\": \"" + std::string(64, 'n') + "\",\n  \"on\": false\n}\n");
    EXPECT_EQ(isam("audit items on trail").status, 2);
    EXPECT_EQ(isam("audit items show").status, 1);  // nothing has been noted
}

TEST_F(Audit, IsNotSwitchedOnWhereItWouldKeepTheFileFromBeingChanged) {
    ASSERT_EQ(isclose(buildItems("items")), 0);
    const std::string nowhere = path("nowhere"), trail = nowhere + "/trail";
    ASSERT_EQ(isam("audit items name " + trail).status, 0);
    const Ran missing = isam("audit items on");
    EXPECT_EQ(missing.status, 2);
    EXPECT_EQ(missing.err, "isam audit: items: the trail " + trail +
                               " cannot be written, and so no change be made while it is on: " + nowhere +
                               ": No such file or directory\n");
    ASSERT_EQ(isam("audit items name " + path("")).status, 0);
    EXPECT_EQ(isam("audit items on").status, 2);
    EXPECT_EQ(Json::parse(isam("audit items name --json").out)["on"], false);
    ASSERT_EQ(isam("audit items name " + path("trail")).status, 0);
    EXPECT_EQ(isam("audit items on").status, 0);
    EXPECT_EQ(Json::parse(isam("audit items name --json").out)["on"], true);
}

TEST_F(Audit, IsNeverTheFileItself) {
    ASSERT_EQ(isclose(buildItems("items")), 0);
    const Ran ran = isam("audit items name items.dat");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam audit: items.dat: belongs to items itself, which would be lost\n");
    EXPECT_EQ(isam("audit items name").status, 1);
}

TEST_F(Audit, IsFoundBesideTheFileAndReadFromWhereItIsToldToBe) {
    makeTrail();
    ASSERT_EQ(shell("mkdir sub old && mv trail old/put-away && cp old/put-away trail").status, 0);
    const Ran beside = shell("cd sub && isam audit ../items show --record 2 --type deleted");
    EXPECT_EQ(beside.status, 0) << beside.err;
    EXPECT_EQ(beside.out.substr(0, 18), "trail ../trail, on");
    ASSERT_EQ(shell("rm trail").status, 0);
    EXPECT_EQ(kinds("--trail old/put-away --record 2"), "added deleted");
}

TEST_F(Audit, SaysWhereATrailIsCutOffOrDamaged) {
    makeTrail();
    const std::string trail = get("trail");
    const std::size_t entry = 14 + kItemLength;
    put("trail", trail.substr(0, trail.size() - 1));
    const Ran cut = isam("audit items show --json");
    EXPECT_EQ(cut.status, 1);
    EXPECT_EQ(cut.err,
              "isam audit: trail: cut off at offset " + std::to_string(4 * entry) + ": 15 of a record's 16 bytes\n");
    std::string bad = trail;
    bad[entry] = 'x';
    put("trail", bad);
    const Ran damaged = isam("audit items show --json");
    EXPECT_EQ(damaged.status, 1);
    EXPECT_EQ(damaged.err,
              "isam audit: trail: damaged at offset " + std::to_string(entry) + ": no entry begins there\n");
}

TEST_F(Audit, ShowsVariableLengthRecordsAsTheyWereBeforeTheyWereStored) {
    for (const int compress : {0, ISCOMPRESS}) {
        iserase("items");
        shell("rm -f trail");
        KeyDesc key = itemKey();
        const int fd = isvbuild("items", kItemLength, 200, &key, ISINOUT | ISVARLEN | compress | ISLOCKMANUAL);
        ASSERT_GE(fd, 0);
        char name[] = "trail";
        ASSERT_EQ(isaudit(fd, name, ISAUDSETNAME), 0);
        ASSERT_EQ(isaudit(fd, nullptr, ISAUDSTART), 0);
        const auto put = [fd](std::string record, int (*call)(int, char *)) {
            isreclen = static_cast<int>(record.size());
            EXPECT_EQ(call(fd, record.data()), 0) << iserrno;
        };
        put(item(1, "none"), iswrite);
        put(item(2, "runs") + "ab" + std::string(60, ' ') + "z", iswrite);
        put(item(2, "raw") + "tail", isrewrite);
        ASSERT_EQ(isclose(fd), 0);
        const std::vector<Json> all = entries("");
        ASSERT_EQ(all.size(), 4U);
        EXPECT_EQ(all[0]["bytes"], nullptr);
        std::string blanks;
        for (int i = 0; i < 60; ++i)
            blanks += "20";
        const std::string runs = "0000000272756e732020202020202020"
                                 "6162" +
                                 blanks + "7a";
        EXPECT_EQ(all[1]["bytes"], runs);
        EXPECT_EQ(all[2]["bytes"], runs);
        EXPECT_EQ(all[3]["bytes"], "000000027261772020202020202020207461696c");
    }
}

TEST_F(Audit, TellsLengthsThatLookLikeTheLettersOfAnEntry) {
    constexpr int kLettersLength = 0x6161;  // "aa"
    KeyDesc key = itemKey();
    const int fd = isvbuild("items", kItemLength, 30000, &key, ISINOUT | ISVARLEN | ISLOCKMANUAL);
    ASSERT_GE(fd, 0);
    char name[] = "trail";
    ASSERT_EQ(isaudit(fd, name, ISAUDSETNAME), 0);
    ASSERT_EQ(isaudit(fd, nullptr, ISAUDSTART), 0);
    const auto add = [fd](long number, int length) {
        std::string record = item(number, "x");
        record.resize(static_cast<std::size_t>(length), '\0');
        isreclen = length;
        EXPECT_EQ(iswrite(fd, record.data()), 0) << iserrno;
    };
    add(1, kItemLength);
    add(2, kLettersLength);
    add(3, kItemLength);
    add(4, kItemLength);
    add(5, kLettersLength);
    ASSERT_EQ(isclose(fd), 0);
    const std::vector<Json> all = entries("");
    ASSERT_EQ(all.size(), 5U);
    for (std::size_t i = 0; i < all.size(); ++i) {
        EXPECT_EQ(all[i]["record"], i + 1);
        EXPECT_EQ(all[i]["bytes"].is_null(), i != 1 && i != 4);
    }
}

}  // namespace
