// Records too big for a log record are refused before anything changes.
#include "logs.h"

namespace api {
namespace {

// A log record has 65535 bytes at the most: 28 besides the image of a record added or removed, 30 besides both images
// of one replaced.
constexpr int kLongestAdded = 65535 - 28;
constexpr int kLongestReplaced = (65535 - 30) / 2;

class LogSize : public LogTest {
  protected:
    static std::string wide(long id, int length, char fill = 'x') {
        std::string record(static_cast<std::size_t>(length), fill);
        stlong(id, record.data());
        return record;
    }
    static int modify(int fd, int (*call)(int, char *), std::string record) { return call(fd, record.data()); }
    std::string stored(int fd, long number, int length) {
        std::string record(static_cast<std::size_t>(length), '?');
        EXPECT_OK(isdata(fd, record.data(), number));
        return record;
    }
};

TEST_F(LogSize, LongestAddedRecordFits) {
    startLog();
    const int fd = build(ISINOUT | ISTRANS, idKey(), kLongestAdded);
    EXPECT_OK(isbegin());
    EXPECT_OK(modify(fd, iswrite, wide(1, kLongestAdded)));
    EXPECT_EQ(logOf(log()).back().length, 65535U);
    EXPECT_OK(isrollback());
    EXPECT_EQ(recordCount(fd), 0);
}

TEST_F(LogSize, LongerRecordsAreNotAdded) {
    for (const int length : {kLongestAdded + 1, 65535}) {
        SCOPED_TRACE(length);
        const std::string name = path(std::to_string(length));
        startLog();
        const int fd = buildNamed(name, ISINOUT | ISTRANS, idKey(), length);
        EXPECT_OK(isbegin());
        const std::string before = contents(log());
        for (int (*const call)(int, char *) : {iswrite, iswrlock, iswrcurr})
            expectRefused(name, ISERR_LOGWRITE, [&] { return modify(fd, call, wide(1, length)); });
        EXPECT_EQ(contents(log()), before);
        EXPECT_OK(iscommit());
        EXPECT_OK(islogclose());
        EXPECT_OK(modify(fd, iswrite, wide(1, length)));
        EXPECT_EQ(isrecnum, 1);
        EXPECT_EQ(stored(fd, 1, length), wide(1, length));
        startLog();
        expectRefused(name, ISERR_LOGWRITE, [&] { return modify(fd, isdelete, wide(1, length)); });
        expectRefused(name, ISERR_LOGWRITE, [&] { return isdelrec(fd, 1); });
        expectRefused(name, ISERR_LOGWRITE, [&] { return modify(fd, isrewrite, wide(1, length, 'y')); });
        EXPECT_EQ(lastType(log()), "CW");
        EXPECT_EQ(stored(fd, 1, length), wide(1, length));
        EXPECT_OK(islogclose());
    }
}

TEST_F(LogSize, LongestReplacedRecordFits) {
    startLog();
    const int fd = build(ISINOUT | ISTRANS, idKey(), kLongestReplaced);
    EXPECT_OK(modify(fd, iswrite, wide(1, kLongestReplaced)));
    EXPECT_OK(isbegin());
    EXPECT_OK(modify(fd, isrewrite, wide(1, kLongestReplaced, 'y')));
    EXPECT_EQ(logOf(log()).back().length, 30U + 2 * kLongestReplaced);
    EXPECT_OK(isrollback());
    EXPECT_EQ(stored(fd, 1, kLongestReplaced), wide(1, kLongestReplaced));
}

TEST_F(LogSize, LongerRecordsAreNotReplaced) {
    constexpr int kLength = kLongestReplaced + 1;
    startLog();
    const int fd = build(ISINOUT | ISTRANS, idKey(), kLength);
    add(fd, nameKey());
    EXPECT_OK(modify(fd, iswrite, wide(1, kLength)));
    EXPECT_OK(modify(fd, iswrite, wide(2, kLength)));
    const std::string before = contents(log());
    // With its keys as they are, and with new ones.
    for (const long id : {1L, 3L}) {
        const std::string changed = wide(id, kLength, 'y');
        expectRefused(base(), ISERR_LOGWRITE, [&] {
            std::string record = changed;
            return isrewrec(fd, 1, record.data());
        });
        EXPECT_OK(isgoto(fd, 1));
        expectRefused(base(), ISERR_LOGWRITE, [&] { return modify(fd, isrewcurr, changed); });
        EXPECT_OK(isgoto(fd, 1));
        expectRefused(base(), ISERR_LOGWRITE, [&] { return modify(fd, isrewnxt, changed); });
    }
    expectRefused(base(), ISERR_LOGWRITE, [&] { return modify(fd, isrewrite, wide(1, kLength, 'y')); });
    EXPECT_EQ(contents(log()), before);
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_EQ(lastType(log()), "DE");
}

TEST_F(LogSize, DuplicatesAreReportedFirst) {
    startLog();
    const int fd = build(ISINOUT | ISNOLOG, idKey(), 65535);
    EXPECT_OK(modify(fd, iswrite, wide(1, 65535)));
    EXPECT_OK(modify(fd, iswrite, wide(2, 65535)));
    const int logged = open(ISINOUT);
    expectRefused(base(), ISERR_DUPLICATE, [&] { return modify(logged, iswrite, wide(1, 65535, 'y')); });
    expectRefused(base(), ISERR_DUPLICATE, [&] {
        std::string record = wide(2, 65535, 'y');
        return isrewrec(logged, 1, record.data());
    });
    // The handle that is not logged may do what it likes.
    EXPECT_OK(modify(fd, isrewrite, wide(1, 65535, 'y')));
    EXPECT_OK(isdelrec(fd, 2));
}

TEST_F(LogSize, RefusedRecordsLeaveNoLock) {
    startLog();
    const int fd = build(ISINOUT | ISTRANS, idKey(), 65535);
    const int other = isopen(base(), ISINOUT | ISNOLOG);
    EXPECT_OK(modify(other, iswrite, wide(1, 65535)));
    EXPECT_FAILS(ISERR_LOGWRITE, modify(fd, isrewrite, wide(1, 65535, 'y')));
    EXPECT_FAILS(ISERR_LOGWRITE, modify(fd, iswrite, wide(2, 65535)));
    EXPECT_TRUE(lockable(other, 1));
    EXPECT_OK(modify(other, iswrite, wide(2, 65535)));
    EXPECT_TRUE(lockable(other, 2));
}

}  // namespace
}  // namespace api
