// The readers of logs and trails take whatever bytes there are: they end, within the file, and say where.
#include "tools/sample_log.h"
#include "tools/tool_run.h"

#include "log/audit_trail.h"
#include "log/log_file.h"
#include "log/log_story.h"
#include "log/log_summary.h"
#include "log/log_text.h"
#include "log/stored_tail.h"

#include <fcntl.h>
#include <unistd.h>

namespace {

using namespace tool_tests;

class HostileLog : public ToolTest {
  protected:
    // Everything that the command does with a log, but for the printing.
    static std::string readLog(const std::string &path, std::int64_t &stopped) {
        tool::LogFile log(path);
        tool::LogStory story;
        tool::LogSummary summary;
        tool::LogRecord record;
        std::string text;
        tool::LogFile::Found found;
        while ((found = log.next(record)) == tool::LogFile::Found::kRecord) {
            const tool::LogStory::Place place = story.take(record);
            summary.count(record, place);
            text += tool::logLine(record, place) + tool::logContents(record) +
                    tool::logJson(record, place, true).dump(-1, ' ', false, tool::Json::error_handler_t::replace);
        }
        stopped = log.offset();
        EXPECT_LE(stopped, log.size());
        EXPECT_EQ(found == tool::LogFile::Found::kEnd, stopped == log.size());
        return text + summary.text() + openText(story);
    }
};

TEST_F(HostileLog, IsReadWithEveryByteFlipped) {
    makeFullLog("full.log");
    const std::string log = get("full.log");
    std::int64_t end = 0;
    readLog("full.log", end);
    EXPECT_EQ(static_cast<std::size_t>(end), log.size());
    const int fd = open("full.log", O_RDWR);
    for (std::size_t begin = 0; begin < log.size();) {
        const auto length = static_cast<std::size_t>(ldint(log.data() + begin));
        for (std::size_t i = 0; i < length; ++i) {
            for (const int flip : {0x01, 0x80, 0xff}) {
                const char bad = static_cast<char>(log[begin + i] ^ flip);
                ASSERT_EQ(pwrite(fd, &bad, 1, static_cast<off_t>(begin + i)), 1);
                readLog("full.log", end);
                // A wrong length is seen, and nothing else keeps what follows from being read.
                const bool is_length = i < 2 || i >= length - 2;
                EXPECT_EQ(static_cast<std::size_t>(end), is_length ? begin : log.size()) << begin << " + " << i;
            }
            ASSERT_EQ(pwrite(fd, &log[begin + i], 1, static_cast<off_t>(begin + i)), 1);
        }
        begin += length;
    }
    close(fd);
}

TEST_F(HostileLog, IsReadCutOffAnywhere) {
    makeFullLog("full.log");
    const std::string log = get("full.log");
    std::int64_t end = 0;
    for (std::size_t size = log.size(); size-- > 0;) {
        ASSERT_EQ(truncate("full.log", static_cast<off_t>(size)), 0);
        readLog("full.log", end);
        EXPECT_LE(static_cast<std::size_t>(end), size);
    }
}

TEST_F(HostileLog, MayLeadItsChainsAnywhere) {
    makeFullLog("full.log");
    std::string log = get("full.log");
    // Every record says that it belongs to the transaction whose last record stands at offset 0, or at its own.
    for (const bool own : {false, true}) {
        for (std::size_t at = 0; at < log.size();) {
            stlong(own ? static_cast<long>(at) : 0, log.data() + at + 12);
            stint(20, log.data() + at + 16);
            at += static_cast<std::size_t>(ldint(log.data() + at));
        }
        put("full.log", log);
        std::int64_t end = 0;
        readLog("full.log", end);
        EXPECT_EQ(static_cast<std::size_t>(end), log.size());
    }
}

class HostileTrail : public ToolTest {
  protected:
    static std::size_t readTrail(const std::string &path, const tool::AuditShape &shape, std::int64_t &stopped) {
        tool::AuditTrail trail(path, shape);
        tool::AuditEntry entry;
        std::size_t count = 0;
        while (trail.next(entry) == tool::AuditTrail::Found::kEntry)
            ++count;
        stopped = trail.offset();
        EXPECT_LE(stopped, trail.size());
        return count;
    }
};

TEST_F(HostileTrail, IsReadWithEveryByteFlippedAndCutOffAnywhere) {
    KeyDesc key = itemKey();
    const int fd = isvbuild("tails", kItemLength, 30000, &key, ISINOUT | ISVARLEN | ISCOMPRESS | ISLOCKMANUAL);
    ASSERT_GE(fd, 0);
    char name[] = "trail";
    ASSERT_EQ(isaudit(fd, name, ISAUDSETNAME), 0);
    ASSERT_EQ(isaudit(fd, nullptr, ISAUDSTART), 0);
    for (int i = 1; i <= 4; ++i) {
        std::string record = item(i, "text") + (i % 2 == 0 ? "" : "ab" + std::string(40, ' ') + "tail");
        isreclen = static_cast<int>(record.size());
        ASSERT_EQ(iswrite(fd, record.data()), 0);
    }
    ASSERT_EQ(isclose(fd), 0);
    const tool::AuditShape shape = {true, true, kItemLength, 30000};
    const std::string trail = get("trail");
    std::int64_t end = 0;
    EXPECT_EQ(readTrail("trail", shape, end), 4U);
    EXPECT_EQ(static_cast<std::size_t>(end), trail.size());
    for (std::size_t i = 0; i < trail.size(); ++i) {
        for (const int flip : {0x01, 0x80, 0xff}) {
            std::string bad = trail;
            bad[i] = static_cast<char>(bad[i] ^ flip);
            put("trail", bad);
            readTrail("trail", shape, end);
        }
        put("trail", trail.substr(0, i));
        EXPECT_LT(readTrail("trail", shape, end), 4U);
    }
}

tool::ByteString bytesOf(const std::string &text) { return {text.begin(), text.end()}; }

TEST(StoredTail, IsExpandedWithinItsBounds) {
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\0\0\3abc", 6)), 3), bytesOf("abc"));
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\x02\x85\x43\xc1\0ab", 7)), 11),
              bytesOf("ab     " + std::string(3, '\0') + "0"));
    EXPECT_EQ(tool::expandTail({}, 9), std::nullopt);
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\0\0\3ab", 5)), 9), std::nullopt);
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\0\0\3abc", 6)), 2), std::nullopt);
    EXPECT_EQ(tool::expandTail(bytesOf("\x02\x85"), 99), std::nullopt);
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\x03\0ab", 4)), 99), std::nullopt);
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\xbf\0", 2)), 62), std::nullopt);
    EXPECT_EQ(tool::expandTail(bytesOf(std::string("\x01\0ab", 4)), 99), std::nullopt);
}

}  // namespace
