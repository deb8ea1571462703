// isam locks: locks of other processes, by what they mean.
#include "tools/other_process.h"
#include "tools/sample_log.h"
#include "tools/tool_run.h"

#include "locks/lock_table.h"
#include "locks/lock_words.h"

#include <chrono>
#include <fcntl.h>
#include <nlohmann/json.hpp>
#include <thread>
#include <unistd.h>

namespace {

using namespace tool_tests;
using Json = nlohmann::json;

class Locks : public ToolTest {
  protected:
    Locks() {
        const int fd = buildItems("items");
        for (long i = 1; i <= 9; ++i)
            writeItem(fd, i, "text");
        isclose(fd);
    }

    Json locks() const {
        const Ran ran = isam("locks items --json");
        EXPECT_EQ(ran.status, 0) << ran.err;
        return Json::parse(ran.out)["locks"];
    }
    // "open shared held", "records 3-3 exclusive held", ..
    std::vector<std::string> words() const {
        std::vector<std::string> out;
        for (const Json &lock : locks()) {
            std::string text = lock["lock"].get<std::string>();
            if (lock.contains("first")) text += " " + lock["first"].dump() + "-" + lock["last"].dump();
            out.push_back(text + " " + lock["mode"].get<std::string>() + " " + lock["state"].get<std::string>());
        }
        return out;
    }
    static int openItems(int mode = ISLOCKMANUAL) { return isopen("items", ISINOUT | mode); }
    static void lockRecord(int fd, long number) {
        std::string record = item(number, "");
        isread(fd, record.data(), ISEQUAL | ISLOCK);
    }
};

using Words = std::vector<std::string>;

TEST_F(Locks, ShowsNoneWhereNobodyHasTheFileOpen) {
    EXPECT_EQ(locks(), Json::array());
    EXPECT_EQ(isam("locks items.idx").out, "items: nobody holds a lock\n");
    EXPECT_EQ(isam("locks nosuch").status, 2);
}

TEST_F(Locks, ShowsTheOpenLockWithProcessProgramAndUser) {
    const Holder holder([] { openItems(); });
    EXPECT_EQ(words(), Words({"open shared held"}));
    const Json lock = locks()[0];
    EXPECT_EQ(lock["process"], holder.pid());
    EXPECT_EQ(lock["program"], "tool_tests");
    EXPECT_NE(lock["command"].get<std::string>().find("tool_tests"), std::string::npos);
    EXPECT_FALSE(lock["user"].get<std::string>().empty());
    EXPECT_EQ(lock["start"], 0x40000000);
    EXPECT_EQ(lock["end"], 0x7ffffffe);
    const Ran text = isam("locks items");
    EXPECT_NE(text.out.find("open lock         shared     "), std::string::npos) << text.out;
    EXPECT_NE(text.out.find("has the file open\n"), std::string::npos) << text.out;
}

TEST_F(Locks, ShowsAnExclusiveOpen) {
    const Holder holder([] { openItems(ISLOCKEXCL); });
    EXPECT_EQ(words(), Words({"open exclusive held"}));
}

TEST_F(Locks, ShowsLockedRecordsAndTheWholeFile) {
    const Holder records([] {
        const int fd = openItems();
        for (const long number : {3, 5, 6})
            lockRecord(fd, number);
    });
    EXPECT_EQ(words(), Words({"open shared held", "records 3-3 exclusive held", "records 5-6 exclusive held"}));
    EXPECT_NE(isam("locks items").out.find("records 5 to 6    exclusive  "), std::string::npos);
}

TEST_F(Locks, ShowsTheLockOnTheWholeFile) {
    const Holder holder([] { islock(openItems()); });
    EXPECT_EQ(words(), Words({"open shared held", "all records 1-268435454 exclusive held"}));
}

TEST_F(Locks, ShowsThePhaseLock) {
    // As a call holds it for a moment.
    const Holder holder([] {
        const int fd = open("items.idx", O_RDWR);
        struct flock lock {};
        lock.l_type = F_WRLCK;
        lock.l_len = 0x3fffffff;
        fcntl(fd, F_SETLK, &lock);
    });
    EXPECT_EQ(words(), Words({"phase exclusive held"}));
    EXPECT_NE(isam("locks items").out.find("changes the file\n"), std::string::npos);
}

TEST_F(Locks, ShowsWhoWaitsForWhom) {
    const Holder holder([] { lockRecord(openItems(), 4); });
    int fd = -1;
    Holder waiter([&fd] { fd = openItems(); },
                  [&fd] {
                      std::string record = item(4, "");
                      isread(fd, record.data(), ISEQUAL | ISLOCK | ISWAIT);
                  });
    waiter.goOn();
    Words seen;
    const Words wanted = {"open shared held", "open shared held", "records 4-4 exclusive held",
                          "records 4-4 exclusive waiting"};
    for (int i = 0; i < 500 && seen != wanted; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
        seen = words();
    }
    EXPECT_EQ(seen, wanted);
    const Json waiting = locks()[3];
    EXPECT_EQ(waiting["process"], waiter.pid());
    EXPECT_EQ(waiting["waitsFor"], holder.pid());
    EXPECT_NE(isam("locks items").out.find("waits for process " + std::to_string(holder.pid()) + "\n"),
              std::string::npos);
}

TEST_F(Locks, FollowsALinkFile) {
    put("linked.lnk", path("items") + "\n");
    const Holder holder([] { openItems(); });
    const Json found = Json::parse(isam("locks linked --json").out)["locks"];
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0]["file"], path("items") + ".idx");
}

TEST_F(Locks, LeavesNoneBehindAndIsInNobodysWay) {
    const Holder holder([] { openItems(ISLOCKEXCL); });
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(words(), Words({"open exclusive held"}));
}

TEST(LockTable, IsReadLineByLine) {
    const std::string table = "1: FLOCK  ADVISORY  WRITE 50 08:01:77 0 EOF\n"
                              "2: POSIX  ADVISORY  READ 51 08:01:77 1073741824 2147483646\n"
                              "3: POSIX  ADVISORY  WRITE 52 08:01:78 0 0\n"
                              "4: POSIX  ADVISORY  WRITE 53 08:01:77 0 EOF\n"
                              "4: -> POSIX  ADVISORY  WRITE 54 08:01:77 0 1073741822\n"
                              "4:  -> POSIX  ADVISORY  READ 55 08:01:77 0 1073741822\n"
                              "5: OFDLCK ADVISORY  WRITE -1 08:01:77 0 EOF\n"
                              "6: POSIX  ADVISORY\n"
                              "nonsense\n\n";
    const std::vector<tool::FileLock> locks = tool::parseLockTable(table, "08:01:77");
    ASSERT_EQ(locks.size(), 4U);
    EXPECT_FALSE(locks[0].exclusive);
    EXPECT_EQ(locks[0].process, 51);
    EXPECT_EQ(locks[0].start, 1073741824);
    EXPECT_EQ(locks[1].end, tool::kToTheEnd);
    EXPECT_TRUE(locks[2].waiting);
    EXPECT_EQ(locks[2].blocker, 53);
    EXPECT_EQ(locks[3].process, 55);
    EXPECT_EQ(locks[3].blocker, 53);
}

TEST(LockTable, CallsForeignRangesWhatTheyAre) {
    EXPECT_EQ(tool::meaningOf({true, 1, 5, tool::kToTheEnd, false, 0}, true).words, "bytes 5 to the end");
    EXPECT_EQ(tool::meaningOf({true, 1, 0, 9, false, 0}, false).kind, "other");
    EXPECT_EQ(tool::meaningOf({true, 1, 0x40000000, 0x40000000 + 4, false, 0}, false).words, "records 1 to 4");
    EXPECT_EQ(tool::meaningOf({true, 1, 0xbfffffff, 0xbfffffff, false, 0}, false).words, "record 2147483647");
}

}  // namespace
