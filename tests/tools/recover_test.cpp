// isam recover: files made again from a log, and what keeps it from beginning.
#include "tools/other_process.h"
#include "tools/sample_log.h"
#include "tools/tool_run.h"

#include <nlohmann/json.hpp>

namespace {

using namespace tool_tests;
using Json = nlohmann::json;

class Recover : public ToolTest {
  protected:
    void save(const std::string &base) const {
        for (const char *extension : {".idx", ".dat"})
            put("saved" + std::string(extension), get(base + extension));
    }
    void bringBack(const std::string &base) const {
        for (const char *extension : {".idx", ".dat"})
            put(base + extension, get("saved" + std::string(extension)));
    }
    // The records in the order of the key, their texts.
    static std::string texts(const char *base) {
        const int fd = isopen(base, ISINPUT | ISLOCKMANUAL);
        EXPECT_GE(fd, 0) << iserrno;
        std::string record(kItemLength, ' ');
        std::string out;
        while (isread(fd, record.data(), ISNEXT) == 0)
            out += record.substr(4, record.find(' ', 4) - 4) + " ";
        isclose(fd);
        return out;
    }
    // A file with two records, a copy of it, and a log of what was done to it then.
    void makeLog() const {
        int fd = buildItems("items");
        writeItem(fd, 1, "one");
        writeItem(fd, 2, "two");
        ASSERT_EQ(isclose(fd), 0);
        save("items");
        ASSERT_EQ(islogopen("items.log"), 0);
        fd = isopen("items", ISINOUT | ISTRANS | ISLOCKMANUAL);
        rewriteItem(fd, 1, "eins");
        deleteItem(fd, 2);
        writeItem(fd, 3, "drei");
        ASSERT_EQ(isbegin(), 0);
        rewriteItem(fd, 3, "trois");
        ASSERT_EQ(isrollback(), 0);
        ASSERT_EQ(isclose(fd), 0);
        ASSERT_EQ(islogclose(), 0);
    }
};

TEST_F(Recover, MakesFilesAgainThatTheLogBuilds) {
    ASSERT_EQ(islogopen("new.log"), 0);
    const int fd = buildItems("fresh");
    writeItem(fd, 2, "two");
    writeItem(fd, 1, "one");
    ASSERT_EQ(isclose(fd), 0);
    ASSERT_EQ(islogclose(), 0);
    ASSERT_EQ(iserase("fresh"), 0);
    const Ran ran = isam("recover new.log");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "new.log: 5 records, 2 changes\n"
                       "  fresh (built by the log): 2 written, 0 rewritten, 0 deleted\n"
                       "recovered\n");
    EXPECT_EQ(texts("fresh"), "one two ");
}

TEST_F(Recover, BringsACopyToWhatTheLogTells) {
    makeLog();
    bringBack("items");
    const Ran ran = isam("recover items.log --json");
    EXPECT_EQ(ran.status, 0) << ran.err;
    const Json done = Json::parse(ran.out);
    EXPECT_EQ(done["recovered"], true);
    EXPECT_EQ(done["changes"], 4);
    EXPECT_EQ(done["rolledBack"], 1);
    EXPECT_EQ(done["files"][0],
              Json({{"file", "items"}, {"there", true}, {"written", 1}, {"rewritten", 2}, {"deleted", 1}}));
    EXPECT_EQ(texts("items"), "eins drei ");
}

TEST_F(Recover, ChangesNothingInADryRun) {
    makeLog();
    bringBack("items");
    const std::string index = get("items.idx");
    const std::string data = get("items.dat");
    const Ran ran = isam("recover items.log --dry-run");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "items.log: 7 records, 4 changes\n"
                       "  items (there): 1 written, 2 rewritten, 1 deleted\n"
                       "transactions: 0 committed, 1 rolled back, 0 without end\n");
    EXPECT_EQ(get("items.idx"), index);
    EXPECT_EQ(get("items.dat"), data);
}

TEST_F(Recover, RefusesFilesThatAreNotAsTheyWere) {
    makeLog();
    const std::string data = get("items.dat");
    const Ran ran = isam("recover items.log");
    EXPECT_EQ(ran.status, 2);
    EXPECT_NE(ran.err.find("items: record 1 is to be rewritten, but is not as it was then\n"), std::string::npos);
    EXPECT_NE(ran.err.find("items.log: nothing has been done: "), std::string::npos) << ran.err;
    EXPECT_EQ(get("items.dat"), data);
    const Ran dry = isam("recover items.log --dry-run --json");
    EXPECT_EQ(dry.status, 1);
    const Json problems = Json::parse(dry.out)["problems"];
    ASSERT_FALSE(problems.empty());
    EXPECT_EQ(problems[0]["file"], "items");
    EXPECT_GT(problems[0]["offset"], 0);
}

TEST_F(Recover, RefusesFilesThatAreThereOrNotThereOrInUse) {
    makeLog();
    ASSERT_EQ(iserase("items"), 0);
    const Ran gone = isam("recover items.log");
    EXPECT_EQ(gone.status, 2);
    EXPECT_NE(gone.err.find("at offset 0: items: is to be opened, but is not there\n"), std::string::npos) << gone.err;
    bringBack("items");
    const Holder user([] { isopen("items", ISINOUT | ISLOCKMANUAL); });
    EXPECT_NE(isam("recover items.log").err.find("at offset 0: items: is in use\n"), std::string::npos);
    makeFullLog("full.log");
    ASSERT_EQ(iserase("tails"), 0);
    buildItems("all");
    iscleanup();
    const Ran there = isam("recover full.log");
    EXPECT_EQ(there.status, 2);
    EXPECT_NE(there.err.find("at offset 0: all: is to be built, but is there already\n"), std::string::npos)
        << there.err;
}

TEST_F(Recover, GoesAheadUnderForceAndTellsWhereTheLibraryStopped) {
    makeLog();
    ASSERT_EQ(iserase("items"), 0);
    const Ran ran = isam("recover items.log --force");
    EXPECT_EQ(ran.status, 2);
    EXPECT_NE(ran.err.find("recovery has stopped half-way: "), std::string::npos) << ran.err;
}

TEST_F(Recover, DoesALogThatIsCutOffUpToThere) {
    ASSERT_EQ(islogopen("new.log"), 0);
    const int fd = buildItems("fresh");
    writeItem(fd, 1, "one");
    writeItem(fd, 2, "two");
    ASSERT_EQ(islogclose(), 0);
    iscleanup();
    ASSERT_EQ(iserase("fresh"), 0);
    const std::string log = get("new.log");
    put("new.log", log.substr(0, log.size() - 3));
    const Ran ran = isam("recover new.log");
    EXPECT_EQ(ran.status, 1);
    EXPECT_TRUE(ran.out.ends_with("recovered\n")) << ran.out;
    EXPECT_NE(ran.err.find("new.log: cut off at offset "), std::string::npos) << ran.err;
    EXPECT_EQ(texts("fresh"), "one ");
}

TEST_F(Recover, FollowsRenamedAndErasedFiles) {
    makeFullLog("full.log");
    ASSERT_EQ(iserase("tails"), 0);
    const Ran ran = isam("recover full.log");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(get("new.idx"), "");
    EXPECT_NE(get("tails.idx"), "");
}

TEST_F(Recover, RefusesALogWithoutTheOpeningOfAFile) {
    const int fd = buildItems("early");
    ASSERT_EQ(islogopen("late.log"), 0);
    writeItem(fd, 1, "one");
    ASSERT_EQ(islogclose(), 0);
    isclose(fd);
    const Ran ran = isam("recover late.log");
    EXPECT_EQ(ran.status, 2);
    EXPECT_NE(ran.err.find("at offset 0: belongs to a file that was opened before the log was begun: descriptor 0 of "),
              std::string::npos)
        << ran.err;
    EXPECT_EQ(isam("recover nosuch.log").status, 2);
    EXPECT_EQ(get("nosuch.log"), "");
}

}  // namespace
