// What each call puts into the log, outside transactions.
#include "log_test.h"

namespace golden {
namespace {

class GoldenLogRecord : public LogTest {};

TEST_F(GoldenLogRecord, BuildOpenAndClose) {
    openLog();
    expectLog("");
    close(build("fix"));
    close(open("fix"));

    expectLog(record("00 2A", "BU", kUnchained,
                     "04 02 "        // mode, ISLOCKMANUAL added
                     "00 06 00 06 "  // record length, twice
                     "00 00 "        // key flags
                     "00 01 "        // parts
                     "00 02 "        // bytes of the key
                     "00 00 00 02 "  // start, length
                     "00 00 "        // type
                     "'fix' 00") +
              record("00 1C", "FO", kUnchained,
                     "00 00 "  // descriptor
                     "00 00 "  // records of one length
                     "'fix' 00") +
              record("00 1C", "FC", kUnchained, "00 00 00 00 'fix' 00") +
              record("00 1C", "FO", kUnchained, "00 00 00 00 'fix' 00") +
              record("00 1C", "FC", kUnchained, "00 00 00 00 'fix' 00"));
}

TEST_F(GoldenLogRecord, BuildTellsTheWholeKey) {
    openLog();
    KeyDesc key = keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP | ISTRAILNUL | ISNULLKEY,
                          {{3, 2, INTTYPE | ISDESC, 0x2A}, {0, 3, CHARTYPE, ' '}});
    const int fd = isbuild("f", 20, &key, ISINOUT | ISTRANS | ISLOCKEXCL);
    ASSERT_GE(fd, 0) << iserrno;

    expectLog(record("00 2E", "BU", kUnchained,
                     "08 06 "              // mode
                     "00 14 00 14 "        // record length, twice
                     "00 3F 00 02 00 05 "  // key flags, parts, bytes
                     "00 03 00 02 2A 81 "  // start, length, null byte and type
                     "00 00 00 03 20 00 "
                     "'f' 00") +
              record("00 1A", "FO", kUnchained, "00 00 00 00 'f' 00"));
}

TEST_F(GoldenLogRecord, BuildWithoutKeyAndWithoutRecords) {
    openLog();
    KeyDesc none = noKey(), key = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}});
    ASSERT_EQ(0, isbuild("f", 9, &none, ISINOUT)) << iserrno;
    ASSERT_EQ(1, isbuild("g", 0, &key, ISINOUT)) << iserrno;

    expectLog(record("00 22", "BU", kUnchained,
                     "04 02 00 09 00 09 "  // mode, record length twice
                     "00 00 00 00 00 00 "  // key without parts
                     "'f' 00") +
              record("00 1A", "FO", kUnchained, "00 00 00 00 'f' 00") +
              record("00 28", "BU", kUnchained,
                     "04 02 00 00 00 00 "
                     "00 00 00 01 00 04 "  // key flags, parts, bytes
                     "00 00 00 04 00 02 "  // start, length, type
                     "'g' 00") +
              record("00 1A", "FO", kUnchained,
                     "00 01 "  // the second descriptor
                     "00 00 'g' 00"));
}

TEST_F(GoldenLogRecord, BuildWithVariableLength) {
    openLog();
    close(build("var", ISVARLEN | ISCOMPRESS, 500));

    expectLog(record("00 2A", "BU", kUnchained,
                     "04 32 "        // mode
                     "00 04 01 F4 "  // shortest and longest record
                         + std::string(kKey) + "'var' 00") +
              record("00 1C", "FO", kUnchained,
                     "00 00 "
                     "00 01 "  // records of variable length
                     "'var' 00") +
              record("00 1C", "FC", kUnchained, "00 00 00 01 'var' 00"));
}

TEST_F(GoldenLogRecord, EraseAndRename) {
    close(build("fix"));
    openLog();
    ASSERT_EQ(0, isrename("fix", "other")) << iserrno;
    ASSERT_EQ(0, iserase("other")) << iserrno;

    expectLog(record("00 22", "RE", kUnchained,
                     "00 04 00 06 "  // lengths of the names, NUL included
                     "'fix' 00 'other' 00") +
              record("00 1A", "ER", kUnchained, "'other' 00"));
}

TEST_F(GoldenLogRecord, IndexesAddedAndDropped) {
    close(build("fix"));
    openLog();
    const int fd = open("fix", ISLOCKEXCL);
    KeyDesc key = keyDesc(ISDUPS | ISLEADCOMP, {{2, 4, LONGTYPE | ISDESC}, {0, 1, CHARTYPE}});
    ASSERT_EQ(0, isaddindex(fd, &key)) << iserrno;
    ASSERT_EQ(0, isdelindex(fd, &key)) << iserrno;

    const std::string body = "00 00 "              // descriptor
                             "00 05 00 02 00 05 "  // key flags, parts, bytes
                             "00 02 00 04 00 82 "  // start, length, type
                             "00 00 00 01 00 00 ";
    expectLog(record("00 1C", "FO", kUnchained, "00 00 00 00 'fix' 00") + record("00 28", "CI", kUnchained, body) +
              record("00 28", "DI", kUnchained, body));
}

TEST_F(GoldenLogRecord, UniqueIds) {
    const int fd = build("fix");
    openLog();
    long id = 0;
    ASSERT_EQ(0, isuniqueid(fd, &id));
    ASSERT_EQ(0, issetunique(fd, 0x7fffffff));
    ASSERT_EQ(0, isuniqueid(fd, &id));
    ASSERT_EQ(0, isuniqueid(fd, &id));

    expectLog(record("00 1A", "UN", kUnchained, "00 00 00 00 00 01") +  // the one handed out
              record("00 1A", "SU", kUnchained, "00 00 7F FF FF FF") +
              record("00 1A", "UN", kUnchained, "00 00 7F FF FF FF") +
              record("00 1A", "UN", kUnchained, "00 00 00 00 00 01"));
}

TEST_F(GoldenLogRecord, RecordsOfOneLength) {
    const int first = build("one"), fd = build("two");
    openLog();
    write(fd, "'aaaaaa'", 1);
    write(fd, "'bb' 00*4", 2);
    rewrite(fd, "'aa++++'", 1);
    rewrite(fd, "'aa++++'", 1);  // without a change
    erase(fd, 2);
    write(first, "'cccccc'", 1);
    std::string again = bytes("'aa----'");
    EXPECT_EQ(-1, iswrite(fd, again.data()));  // refused: no record
    EXPECT_EQ(-1, isdelrec(fd, 2));

    expectLog(record("00 22", "IN", kUnchained,
                     "00 01 "        // descriptor
                     "00 00 00 01 "  // record number
                     "00 06 'aaaaaa'") +
              record("00 22", "IN", kUnchained, "00 01 00 00 00 02 00 06 'bb' 00*4") +
              record("00 2A", "UP", kUnchained,
                     "00 01 00 00 00 01 "
                     "00 06 00 06 "  // length before and after
                     "'aaaaaa' 'aa++++'") +
              record("00 2A", "UP", kUnchained, "00 01 00 00 00 01 00 06 00 06 'aa++++' 'aa++++'") +
              record("00 22", "DE", kUnchained, "00 01 00 00 00 02 00 06 'bb' 00*4") +
              record("00 22", "IN", kUnchained, "00 00 00 00 00 01 00 06 'cccccc'"));
}

TEST_F(GoldenLogRecord, OtherWaysToWrite) {
    const int fd = build("fix", ISMASK);
    openLog();
    std::string one = bytes("'aaaaaa'"), two = bytes("'bbbbbb'"), buffer(6, ' ');
    ASSERT_EQ(0, issetmask(fd, 2));  // masks are not logged
    ASSERT_EQ(0, iswrlock(fd, one.data())) << iserrno;
    ASSERT_EQ(0, iswrcurr(fd, two.data())) << iserrno;
    ASSERT_EQ(0, isread(fd, buffer.data(), ISFIRST)) << iserrno;
    ASSERT_EQ(0, isrewnxt(fd, one.data())) << iserrno;
    ASSERT_EQ(0, isrewcurr(fd, two.data())) << iserrno;
    ASSERT_EQ(0, isrewrite(fd, one.data())) << iserrno;
    ASSERT_EQ(0, isdelcurr(fd)) << iserrno;
    ASSERT_EQ(0, isdelete(fd, one.data())) << iserrno;

    expectLog(record("00 22", "IN", kUnchained, "00 00 00 00 00 01 00 06 'aaaaaa'") +
              record("00 22", "IN", kUnchained, "00 00 00 00 00 02 00 06 'bbbbbb'") +
              record("00 2A", "UP", kUnchained, "00 00 00 00 00 01 00 06 00 06 'aaaaaaaaaaaa'") +
              record("00 2A", "UP", kUnchained, "00 00 00 00 00 02 00 06 00 06 'bbbbbbbbbbbb'") +
              record("00 2A", "UP", kUnchained, "00 00 00 00 00 01 00 06 00 06 'aaaaaaaaaaaa'") +
              record("00 22", "DE", kUnchained, "00 00 00 00 00 02 00 06 'bbbbbb'") +
              record("00 22", "DE", kUnchained, "00 00 00 00 00 01 00 06 'aaaaaa'"));
}

TEST_F(GoldenLogRecord, NothingOfAFileThatIsNotLogged) {
    openLog();
    const int fd = build("fix", ISNOLOG);
    write(fd, "'aaaaaa'", 1);
    rewrite(fd, "'aa++++'", 1);
    erase(fd, 1);
    long id = 0;
    ASSERT_EQ(0, isuniqueid(fd, &id));
    ASSERT_EQ(0, issetunique(fd, 5));
    close(fd);
    close(open("fix", ISNOLOG));
    expectLog("");
}

TEST_F(GoldenLogRecord, CloseOfAFileWhoseOpeningIsNotInTheLog) {
    const int fd = build("fix");
    openLog();
    write(fd, "'aaaaaa'", 1);
    close(fd);
    expectLog(record("00 22", "IN", kUnchained, "00 00 00 00 00 01 00 06 'aaaaaa'"));
}

TEST_F(GoldenLogRecord, PureKeysAreNotLogged) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 4, CHARTYPE}});
    const int fd = isbuild("key", 0, &key, ISINOUT);
    ASSERT_GE(fd, 0) << iserrno;
    openLog();
    std::string entry = bytes("'abcd'");
    isrecnum = 7;
    ASSERT_EQ(0, iswrite(fd, entry.data())) << iserrno;
    ASSERT_EQ(0, isdelete(fd, entry.data())) << iserrno;
    expectLog("");
}

TEST_F(GoldenLogRecord, UserIsTheRealOne) {
    const int fd = build("fix");
    openLog();
    const OtherUser user;
    write(fd, "'aaaaaa'", 1);
    expectLog(record("00 22", "IN", kUnchained, "00 00 00 00 00 01 00 06 'aaaaaa'", user.text()));
}

// An insert of 65507 bytes makes a record of 65535, the longest there can be.
TEST_F(GoldenLogRecord, LongestRecord) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1, CHARTYPE}});
    const int fits = isbuild("fits", 65507, &key, ISINOUT), longer = isbuild("longer", 65508, &key, ISINOUT);
    ASSERT_EQ(0, fits);
    ASSERT_EQ(1, longer);
    openLog();
    write(fits, "'x'*65507", 1);
    std::string refused(65508, 'x');
    EXPECT_EQ(-1, iswrite(longer, refused.data()));
    EXPECT_EQ(121, iserrno);
    std::string changed(65507, 'x');
    EXPECT_EQ(-1, isrewrec(fits, 1, changed.data()));  // both images do not fit
    EXPECT_EQ(121, iserrno);

    expectLog(record("FF FF", "IN", kUnchained, "00 00 00 00 00 01 FF E3 'x'*65507"));
}

}  // namespace
}  // namespace golden
