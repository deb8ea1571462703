// The log reader must see damage, or the transaction test would trust it for nothing.
#include "support/log_reader.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using namespace testing_support;

Bytes operator+(Bytes a, const Bytes &b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
Bytes text(const std::string &characters) { return {characters.begin(), characters.end()}; }
Bytes number(std::uint32_t value, int width) {
    Bytes out;
    putBe(&out, value, width);
    return out;
}

// A log put together record by record.
class LogReader : public ::testing::Test {
  protected:
    // chained: names the record added before it.
    void add(const char *type, const Bytes &body, bool chained, std::uint32_t process = 300) {
        auto length = static_cast<std::uint32_t>(18 + body.size() + 2);
        Bytes head = number(length, 2) + text(type) + number(process, 2) + number(0xfffe, 2) + number(1700000000, 4);
        head = head + number(chained ? previous_ : 0, 4) + number(chained ? previousLength_ : 0, 2);
        previous_ = static_cast<std::uint32_t>(log_.size());
        previousLength_ = length;
        log_ = log_ + head + body + number(length, 2);
    }
    void addOpen(int fd) {
        add("FO", number(static_cast<std::uint32_t>(fd), 2) + number(0, 2) + text("f") + Bytes{0}, false);
    }
    void addInsert(int fd, bool chained) {
        add("IN", number(static_cast<std::uint32_t>(fd), 2) + number(70000, 4) + number(3, 2) + text("abc"), chained);
    }
    // Whatever is wrong.
    std::string wrong() const {
        std::vector<LogRecord> records;
        std::string out = readLog(log_, &records);
        return out.empty() ? checkLog(records) : out;
    }
    std::vector<LogRecord> records() const {
        std::vector<LogRecord> out;
        EXPECT_EQ("", readLog(log_, &out));
        return out;
    }
    // A transaction on an open file.
    void addTransaction() {
        addOpen(4);
        add("BW", {}, false);
        addInsert(4, true);
        addInsert(4, true);
        add("CW", {}, true);
    }

    Bytes log_;
    std::uint32_t previous_ = 0;
    std::uint32_t previousLength_ = 0;
};

TEST_F(LogReader, ReadsHeadAndImage) {
    addTransaction();
    EXPECT_EQ("", wrong());
    std::vector<LogRecord> all = records();
    ASSERT_EQ(5U, all.size());
    EXPECT_EQ("IN chained fd 4 number 70000 after 3 bytes", all[3].content.text());
    EXPECT_EQ(text("abc"), all[3].content.after);
    EXPECT_EQ(300U, all[3].process);
    EXPECT_EQ(0xfffeU, all[3].user);
    EXPECT_EQ(1700000000U, all[3].time);
    EXPECT_EQ(all[2].offset, all[3].previous);
    EXPECT_EQ(31, all[3].previousLength);
}

TEST_F(LogReader, ReadsEveryOtherBody) {
    Bytes key = number(3, 2) + number(1, 2) + number(6, 2) + number(2, 2) + number(6, 2) + number(0x80, 2);
    addOpen(1);
    add("BU", number(0x402, 2) + number(10, 2) + number(90, 2) + key + text("new") + Bytes{0}, false);
    add("RE", number(2, 2) + number(3, 2) + text("a") + Bytes{0} + text("bc") + Bytes{0}, false);
    add("ER", text("gone") + Bytes{0}, false);
    add("CI", number(1, 2) + key, false);
    add("SU", number(1, 2) + number(77, 4), false);
    add("DE", number(1, 2) + number(5, 4) + number(2, 2) + text("xy"), false);
    add("UP", number(1, 2) + number(5, 4) + number(1, 2) + number(2, 2) + text("oNN"), false);
    add("FC", number(1, 2) + number(0, 2) + text("f") + Bytes{0}, false);
    EXPECT_EQ("", wrong());
    std::vector<LogRecord> all = records();
    ASSERT_EQ(9U, all.size());
    EXPECT_EQ("BU new mode 1026 lengths 10, 90 key 2+6 CHAR desc; dups dupcomp", all[1].content.text());
    EXPECT_EQ("RE a to bc", all[2].content.text());
    EXPECT_EQ("ER gone", all[3].content.text());
    EXPECT_EQ("CI fd 1 key 2+6 CHAR desc; dups dupcomp", all[4].content.text());
    EXPECT_EQ(77U, all[5].content.number);
    EXPECT_EQ(text("xy"), all[6].content.before);
    EXPECT_EQ(text("o"), all[7].content.before);
    EXPECT_EQ(text("NN"), all[7].content.after);
}

TEST_F(LogReader, EveryCutIsSeen) {
    addTransaction();
    Bytes whole = log_;
    std::vector<std::size_t> ends = {0};
    for (const LogRecord &record : records())
        ends.push_back(record.offset + static_cast<std::size_t>(record.length));
    for (std::size_t length = 0; length < whole.size(); ++length) {
        log_.assign(whole.begin(), whole.begin() + static_cast<long>(length));
        bool between = std::find(ends.begin(), ends.end(), length) != ends.end();
        EXPECT_EQ(between, wrong().empty()) << length;
    }
}

TEST_F(LogReader, EveryFlippedByteOfTheFormIsSeen) {
    addTransaction();
    Bytes whole = log_;
    for (const LogRecord &record : records())
        for (int at = 0; at < record.length; ++at) {
            // Time; numbers, names and images may be others, and whose an unchained record is.
            bool free = (at >= 8 && at < 12) || (record.content.type == "IN" && at >= 20 && at < 24) ||
                        (record.content.type == "IN" && at >= 26 && at < 29) ||
                        (record.content.type == "FO" && (at == 6 || at == 7 || at == 22));
            if (free) continue;
            log_ = whole;
            log_[record.offset + static_cast<std::size_t>(at)] ^= 0x40;
            EXPECT_NE("", wrong()) << "byte " << at << " of " << record.content.text();
        }
}

TEST_F(LogReader, ChainThatSkipsARecordIsSeen) {
    addOpen(4);
    add("BW", {}, false);
    std::uint32_t begin = previous_;
    addInsert(4, true);
    previous_ = begin;
    previousLength_ = 20;
    addInsert(4, true);
    EXPECT_NE(std::string::npos, wrong().find("should follow")) << wrong();
}

TEST_F(LogReader, ChainsOfTwoProcessesAreTwo) {
    add("BW", {}, false, 1);
    std::uint32_t first = previous_;
    add("BW", {}, false, 2);
    add("CW", {}, true, 2);
    previous_ = first;
    previousLength_ = 20;
    add("RW", {}, true, 1);
    EXPECT_EQ("", wrong());
}

TEST_F(LogReader, TransactionInsideOneIsSeen) {
    add("BW", {}, false);
    add("BW", {}, false);
    EXPECT_NE("", wrong());
}

TEST_F(LogReader, EndWithoutBeginIsSeen) {
    add("CW", {}, false);
    EXPECT_NE("", wrong());
}

TEST_F(LogReader, ChainedUniqueIdIsSeen) {
    addOpen(1);
    add("BW", {}, false);
    add("UN", number(1, 2) + number(77, 4), true);
    EXPECT_NE("", wrong());
}

TEST_F(LogReader, ChangeOfAClosedFileIsSeen) {
    addOpen(1);
    addInsert(2, false);
    EXPECT_NE(std::string::npos, wrong().find("is not open")) << wrong();
}

}  // namespace
