// isam locktest: fit where locks work, and unfit where they do not.
#include "tools/other_process.h"
#include "tools/tool_run.h"

#include "locks/file_system.h"
#include "locktest/exam.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <nlohmann/json.hpp>

namespace {

using namespace tool_tests;
using Json = nlohmann::json;
using tool::LockFinding;

class Locktest : public ToolTest {
  protected:
    bool isEmpty() const {
        for (const auto &entry : std::filesystem::directory_iterator(path(".")))
            if (!entry.path().filename().string().starts_with(".")) return false;
        return true;
    }
    // What the examination finds where locks behave so.
    std::vector<LockFinding> findings(const tool::LockCall &lock) const {
        tool::Actor actor(path("."), "scratch", lock);
        tool::HereSide here(actor);
        tool::ChildSide there(path("."), "scratch", lock);
        return examine(here, there, "name", [] {});
    }
    static std::vector<std::string> failed(const std::vector<LockFinding> &findings) {
        std::vector<std::string> out;
        for (const LockFinding &finding : findings)
            if (!finding.passed) out.push_back(finding.what);
        return out;
    }
};

using Names = std::vector<std::string>;

TEST_F(Locktest, FindsAWorkingFileSystemFitAndLeavesNothingThere) {
    const Ran ran = isam("locktest .");
    EXPECT_EQ(ran.status, 0) << ran.out << ran.err;
    EXPECT_NE(ran.out.find("  ok      an exclusive lock keeps others out\n"), std::string::npos) << ran.out;
    EXPECT_NE(ran.out.find("\nfit: programs of this machine can share files in ."), std::string::npos) << ran.out;
    EXPECT_EQ(ran.out.find("FAILED"), std::string::npos);
    EXPECT_TRUE(isEmpty());
}

TEST_F(Locktest, SaysTheSameAsJson) {
    const Ran ran = isam("locktest . --json");
    EXPECT_EQ(ran.status, 0) << ran.err;
    const Json verdict = Json::parse(ran.out);
    EXPECT_EQ(verdict["fit"], true);
    EXPECT_EQ(verdict["machines"], 1);
    EXPECT_EQ(verdict["tests"].size(), tool::examinationSteps());
    EXPECT_EQ(verdict["tests"][0]["passed"], true);
}

TEST_F(Locktest, FindsLocksUnfitThatAreAlwaysGranted) {
    const auto found = findings([](int, int command, struct flock *request) {
        if (command == F_GETLK) request->l_type = F_UNLCK;
        return 0;
    });
    EXPECT_FALSE(isFit(found));
    const Names names = failed(found);
    EXPECT_NE(std::find(names.begin(), names.end(), "an exclusive lock keeps others out"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "who waits for a lock gets it when it is released"), names.end());
    EXPECT_EQ(found[1].detail, "the second process: 'lock write 0 1073741823' gave 'granted', not 'refused'");
}

TEST_F(Locktest, FindsLocksUnfitThatTheSystemRefuses) {
    const auto found = findings([](int, int, struct flock *) {
        errno = ENOLCK;
        return -1;
    });
    EXPECT_FALSE(isFit(found));
    EXPECT_FALSE(found[0].passed);
    EXPECT_NE(found[0].detail.find("'error No locks available'"), std::string::npos) << found[0].detail;
}

TEST_F(Locktest, FindsLocksUnfitThatReachNotFarEnough) {
    const auto found = findings([](int fd, int command, struct flock *request) {
        if (request->l_start > 0x7fffffff) {
            errno = EINVAL;
            return -1;
        }
        return tool::systemLock(fd, command, request);
    });
    EXPECT_FALSE(isFit(found));
    EXPECT_EQ(failed(found), Names({"record 2147483647 can be locked"}));
}

TEST_F(Locktest, FindsLocksUnfitThatAreOfTheWholeFile) {
    const auto found = findings([](int fd, int command, struct flock *request) {
        struct flock whole = *request;
        whole.l_start = 0;
        whole.l_len = 0;
        return tool::systemLock(fd, command, &whole);
    });
    EXPECT_FALSE(isFit(found));
    const Names names = failed(found);
    EXPECT_NE(std::find(names.begin(), names.end(), "locks on neighbouring records do not touch"), names.end());
    EXPECT_NE(std::find(names.begin(), names.end(), "phase lock and open lock do not touch"), names.end());
    EXPECT_TRUE(found[1].passed);
}

TEST_F(Locktest, FindsLocksUnfitThatCannotBeAwaited) {
    const auto found = findings([](int fd, int command, struct flock *request) {
        return tool::systemLock(fd, command == F_SETLKW ? F_SETLK : command, request);
    });
    EXPECT_EQ(failed(found), Names({"who waits for a lock gets it when it is released"}));
    EXPECT_FALSE(isFit(found));
}

// One that has no room for what it is to write.
class FullSide : public tool::Side {
  public:
    explicit FullSide(tool::Side &side) : side_(side) {}
    std::string perform(const std::string &command) override {
        return command.starts_with("append") ? "error No space left on device" : side_.perform(command);
    }

  private:
    tool::Side &side_;
};

TEST_F(Locktest, FindsAFullFileSystemNeitherFitNorUnfit) {
    tool::Actor actor(path("."), "scratch", tool::systemLock);
    tool::HereSide here(actor);
    tool::ChildSide there(path("."), "scratch", tool::systemLock);
    FullSide full(there);
    try {
        examine(here, full, "name", [] {});
        FAIL() << "it is found something";
    } catch (const tool::NoRoom &failure) {
        EXPECT_EQ(std::string(failure.what()).find("the second process: 'append "), 0U) << failure.what();
    }
}

TEST_F(Locktest, GoesThroughTheSameStepsBetweenTwoProcessesThatShareADirectoryOnly) {
    Running leader({ISAM_TOOL, "locktest", ".", "--wait", "--json"});
    const Ran joined = isam("locktest . --join --json");
    std::string text;
    for (std::string line = leader.line(); line != "(end)" && line != "(nothing)"; line = leader.line())
        text += line + "\n";
    EXPECT_EQ(leader.wait(), 0);
    EXPECT_EQ(joined.status, 0) << joined.err;
    EXPECT_EQ(joined.out, text);
    const Json verdict = Json::parse(text);
    EXPECT_EQ(verdict["machines"], 2);
    EXPECT_EQ(verdict["fit"], true);
    EXPECT_EQ(verdict["tests"].size(), tool::examinationSteps());
    EXPECT_TRUE(isEmpty());
}

TEST_F(Locktest, GivesUpWaitingAndTidiesUp) {
    const Ran alone = isam("locktest . --wait --seconds 1");
    EXPECT_EQ(alone.status, 2);
    EXPECT_NE(alone.err.find("the other side has not answered for 1 seconds\n"), std::string::npos) << alone.err;
    EXPECT_TRUE(isEmpty());
    EXPECT_EQ(isam("locktest . --join --seconds 1").status, 2);
    Running leader({ISAM_TOOL, "locktest", ".", "--wait"});
    while (!std::filesystem::exists("isam-locktest.wait")) {
    }
    leader.interrupt(SIGTERM);
    EXPECT_EQ(leader.wait(), 2);
    EXPECT_TRUE(isEmpty());
}

TEST_F(Locktest, DoesNotDisturbAnotherTest) {
    put("isam-locktest.wait", "");
    const Ran second = isam("locktest . --wait --seconds 1");
    EXPECT_EQ(second.status, 2);
    EXPECT_NE(second.err.find("isam-locktest.wait: is there: another test is under way"), std::string::npos);
    EXPECT_TRUE(std::filesystem::exists("isam-locktest.wait"));
}

TEST_F(Locktest, SaysWhenItCannotBeTried) {
    EXPECT_EQ(isam("locktest nosuch").err, "isam locktest: nosuch: is no directory\n");
    EXPECT_EQ(isam("locktest nosuch").status, 2);
    EXPECT_EQ(isam("locktest . --wait --join").status, 2);
}

TEST(FileSystems, AreKnownByName) {
    EXPECT_EQ(tool::fileSystemByNumber(0xef53).name, "ext2, ext3 or ext4");
    EXPECT_FALSE(tool::fileSystemByNumber(0xef53).network);
    EXPECT_EQ(tool::fileSystemByNumber(0x6969).name, "NFS");
    EXPECT_TRUE(tool::fileSystemByNumber(0x6969).network);
    EXPECT_EQ(tool::fileSystemByNumber(0x1234).name, "type 0x1234");
}

}  // namespace
