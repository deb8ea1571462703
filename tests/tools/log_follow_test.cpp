// isam log --follow and isam audit show --follow, beside a process that writes.
#include "tools/other_process.h"
#include "tools/sample_log.h"
#include "tools/tool_run.h"

#include <csignal>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <unistd.h>

namespace {

using namespace tool_tests;
using Json = nlohmann::json;

class Follow : public ToolTest {
  protected:
    static std::string typeOf(const std::string &line) {
        const Json json = Json::parse(line, nullptr, false);
        return json.is_object() && json.contains("type") ? json["type"].get<std::string>() : line;
    }
    static void append(const char *file, const std::string &bytes) {
        const int fd = open(file, O_WRONLY | O_APPEND | O_CREAT, 0666);
        ASSERT_EQ(write(fd, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        close(fd);
    }
};

TEST_F(Follow, ShowsRecordsAsAnotherProcessWritesThem) {
    for (const int signal : {SIGINT, SIGTERM}) {
        put("live.log", "");
        int fd = -1;
        long number = 0;
        Holder writer(
            [&fd] {
                islogopen("live.log");
                iserase("live");
                fd = buildItems("live");
            },
            [&] { writeItem(fd, ++number, "new"); });
        Running follow({ISAM_TOOL, "log", "live.log", "--follow", "--json", "--file", "live"});
        if (signal == SIGTERM) {
            EXPECT_EQ(typeOf(follow.line()), "erase");
        }
        EXPECT_EQ(typeOf(follow.line()), "build");
        EXPECT_EQ(typeOf(follow.line()), "open");
        for (int i = 1; i <= 3; ++i) {
            writer.goOn();
            const Json record = Json::parse(follow.line(), nullptr, false);
            EXPECT_EQ(record["type"], "write");
            EXPECT_EQ(record["record"], i);
        }
        follow.interrupt(signal);
        EXPECT_EQ(follow.line(), "(end)");
        EXPECT_EQ(follow.wait(), 0);
    }
}

TEST_F(Follow, WaitsForTheRestOfARecord) {
    makeFullLog("full.log");
    const std::string log = get("full.log");
    put("part.log", log.substr(0, 30));
    Running follow({ISAM_TOOL, "log", "part.log", "-f", "--json"});
    append("part.log", log.substr(30));
    for (const char *type : {"build", "open", "addindex"})
        EXPECT_EQ(typeOf(follow.line()), type);
    follow.interrupt(SIGINT);
    EXPECT_EQ(follow.wait(), 0);
}

TEST_F(Follow, TellsOfARecordThatIsTakenBack) {
    ASSERT_EQ(islogopen("back.log"), 0);
    const int fd = buildItems("back");
    ASSERT_EQ(isbegin(), 0);
    writeItem(fd, 1, "one");
    const std::string before = get("back.log");
    writeItem(fd, 2, "two");
    const std::string longer = get("back.log");
    writeItem(fd, 3, "three");
    ASSERT_EQ(islogclose(), 0);
    const std::string longest = get("back.log");
    // The last record goes, and another one of the same transaction comes in its place.
    std::string other = longest.substr(longer.size());
    other.replace(12, 6, longer.substr(before.size() + 12, 6));
    put("copy.log", longer);
    Running follow({ISAM_TOOL, "log", "copy.log", "-f", "--json"});
    for (const char *type : {"build", "open", "begin", "write", "write"})
        EXPECT_EQ(typeOf(follow.line()), type);
    const int log = open("copy.log", O_WRONLY);
    ASSERT_EQ(pwrite(log, other.data(), other.size(), static_cast<off_t>(before.size())),
              static_cast<ssize_t>(other.size()));
    close(log);
    EXPECT_EQ(Json::parse(follow.line(), nullptr, false), Json({{"offset", before.size()}, {"takenBack", true}}));
    const Json again = Json::parse(follow.line(), nullptr, false);
    EXPECT_EQ(again["record"], 3);
    EXPECT_EQ(again["transaction"], 1);
    ASSERT_EQ(truncate("copy.log", 0), 0);
    EXPECT_EQ(Json::parse(follow.line(), nullptr, false)["takenBack"], true);
    follow.interrupt(SIGINT);
    EXPECT_EQ(isrollback(), -1);
    isclose(fd);
}

TEST_F(Follow, EndsWhenAnotherLogTakesTheName) {
    makeFullLog("full.log");
    const std::string log = get("full.log");
    const std::size_t first = static_cast<unsigned char>(log[0]) << 8U | static_cast<unsigned char>(log[1]);
    put("live.log", log.substr(0, first));
    Running follow({ISAM_TOOL, "log", "live.log", "-f", "--json"});
    EXPECT_EQ(typeOf(follow.line()), "build");
    // Who has the old one open goes on with it, until there is another.
    std::filesystem::rename("live.log", "old.log");
    append("old.log", log.substr(first));
    EXPECT_EQ(typeOf(follow.line()), "open");
    put("live.log", log);
    for (std::string line = follow.line(); line != "(end)"; line = follow.line())
        ASSERT_NE(line, "(nothing)");
    EXPECT_EQ(follow.wait(), 2);
}

TEST_F(Follow, ReadsALogWhoseLockIsNotLetGo) {
    makeFullLog("full.log");
    const Holder holder([] {
        const int fd = open("full.log", O_RDWR);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_len = 1;
        fcntl(fd, F_SETLK, &lock);
    });
    EXPECT_EQ(isam("log full.log --summary").out.substr(0, 10), "21 records");
}

TEST_F(Follow, ShowsAuditEntriesAsTheyAreWritten) {
    int fd = -1;
    long number = 0;
    Holder writer(
        [&fd] {
            fd = buildItems("audited");
            char name[] = "trail";
            isaudit(fd, name, ISAUDSETNAME);
            isaudit(fd, nullptr, ISAUDSTART);
            writeItem(fd, 100, "first");
        },
        [&] { writeItem(fd, ++number, "new"); });
    Running follow({ISAM_TOOL, "audit", "audited", "show", "--follow", "--json"});
    EXPECT_EQ(Json::parse(follow.line(), nullptr, false)["record"], 1);
    for (int i = 2; i <= 4; ++i) {
        writer.goOn();
        EXPECT_EQ(Json::parse(follow.line(), nullptr, false)["record"], i);
    }
    follow.interrupt(SIGINT);
    EXPECT_EQ(follow.wait(), 0);
}

}  // namespace
