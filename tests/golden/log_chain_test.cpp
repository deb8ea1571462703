// Transactions in the log: each record leads to the one before it in the same transaction.
#include "log_test.h"

#include <fstream>

namespace golden {
namespace {

class GoldenLogChain : public LogTest {
  protected:
    static void begin() { ASSERT_EQ(0, isbegin()) << "error " << iserrno; }
    static void commit() { ASSERT_EQ(0, iscommit()) << "error " << iserrno; }
    static void rollBack() { ASSERT_EQ(0, isrollback()) << "error " << iserrno; }
};

TEST_F(GoldenLogChain, WholeTransaction) {
    openLog();
    const int fd = build("fix", ISTRANS);
    begin();
    begin();  // goes on with the same one
    write(fd, "'aaaaaa'", 1);
    long id = 0;
    ASSERT_EQ(0, isuniqueid(fd, &id));  // not chained
    rewrite(fd, "'aa++++'", 1);
    erase(fd, 1);
    close(fd);  // put off, and the file is taken back
    EXPECT_EQ(fd, open("fix", ISTRANS));
    commit();
    close(fd);

    expectLog(record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'fix' 00") +  // at 00
              record("00 1C", "FO", kUnchained, "00 00 00 00 'fix' 00") +                                // at 2A
              record("00 14", "BW", kUnchained) +                                                        // at 46
              record("00 22", "IN", "00 00 00 46 00 14", "00 00 00 00 00 01 00 06 'aaaaaa'") +           // at 5A
              record("00 1A", "UN", kUnchained, "00 00 00 00 00 01") +                                   // at 7C
              record("00 2A", "UP", "00 00 00 5A 00 22",
                     "00 00 00 00 00 01 00 06 00 06 'aaaaaaaa++++'") +                          // at 96
              record("00 22", "DE", "00 00 00 96 00 2A", "00 00 00 00 00 01 00 06 'aa++++'") +  // at C0
              record("00 14", "CW", "00 00 00 C0 00 22") +                                      // at E2
              record("00 1C", "FC", kUnchained, "00 00 00 00 'fix' 00"));
}

TEST_F(GoldenLogChain, Rollback) {
    openLog();
    const int fd = build("fix", ISTRANS);
    begin();
    write(fd, "'aaaaaa'", 1);
    rewrite(fd, "'aa++++'", 1);
    rollBack();
    begin();
    write(fd, "'bbbbbb'", 1);  // the file is not logged any more
    commit();
    close(fd);

    expectLog(record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'fix' 00") +  // at 00
              record("00 1C", "FO", kUnchained, "00 00 00 00 'fix' 00") +                                // at 2A
              record("00 14", "BW", kUnchained) +                                                        // at 46
              record("00 22", "IN", "00 00 00 46 00 14", "00 00 00 00 00 01 00 06 'aaaaaa'") +           // at 5A
              record("00 2A", "UP", "00 00 00 5A 00 22",
                     "00 00 00 00 00 01 00 06 00 06 'aaaaaaaa++++'") +  // at 7C
              record("00 14", "RW", "00 00 00 7C 00 2A") +              // at A6
              record("00 14", "BW", kUnchained) +                       // at BA
              record("00 14", "CW", "00 00 00 BA 00 14"));
}

TEST_F(GoldenLogChain, FilesClosedInsideAreClosedAtTheEnd) {
    openLog();
    const int one = build("one", ISTRANS), two = build("two", ISTRANS);
    begin();
    close(one);
    close(two);
    commit();

    expectLog(record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'one' 00") +  // at 00
              record("00 1C", "FO", kUnchained, "00 00 00 00 'one' 00") +                                // at 2A
              record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'two' 00") +  // at 46
              record("00 1C", "FO", kUnchained, "00 01 00 00 'two' 00") +                                // at 70
              record("00 14", "BW", kUnchained) +                                                        // at 8C
              record("00 1C", "FC", "00 00 00 8C 00 14", "00 00 00 00 'one' 00") +                       // at A0
              record("00 1C", "FC", "00 00 00 A0 00 1C", "00 01 00 00 'two' 00") +                       // at BC
              record("00 14", "CW", "00 00 00 BC 00 1C"));
}

TEST_F(GoldenLogChain, FilesOpenedInsideAreChained) {
    close(build("one"));
    close(build("two", ISVARLEN));
    openLog();
    begin();
    const int one = open("one", ISTRANS), two = open("two", ISTRANS | ISVARLEN);
    close(one);
    EXPECT_EQ(one, open("one", ISTRANS));
    close(two);
    EXPECT_EQ(two, open("two", ISTRANS | ISVARAUTO));
    close(two);  // in the place that the first one had left
    close(one);
    commit();

    expectLog(record("00 14", "BW", kUnchained) +                                   // at 00
              record("00 1C", "FO", "00 00 00 00 00 14", "00 00 00 00 'one' 00") +  // at 14
              record("00 1C", "FO", "00 00 00 14 00 1C", "00 01 00 01 'two' 00") +  // at 30
              record("00 1C", "FC", "00 00 00 30 00 1C", "00 01 00 01 'two' 00") +  // at 4C
              record("00 1C", "FC", "00 00 00 4C 00 1C", "00 00 00 00 'one' 00") +  // at 68
              record("00 14", "CW", "00 00 00 68 00 1C"));
}

// Places for parked files come by the ten and are taken from the highest on: the eleventh file gets the highest of all,
// and the highest is closed first.
TEST_F(GoldenLogChain, ElevenFilesClosedInside) {
    constexpr unsigned long kFiles = 11;
    const auto name = [](unsigned long i) {
        return std::string("file") + static_cast<char>('a' + i);
    };
    for (unsigned long i = 0; i < kFiles; ++i)
        close(build(name(i).c_str()));
    openLog();
    begin();
    for (unsigned long i = 0; i < kFiles; ++i)
        EXPECT_EQ(static_cast<int>(i), open(name(i).c_str(), ISTRANS));
    for (unsigned long i = 0; i < kFiles; ++i)
        close(static_cast<int>(i));
    commit();

    std::string log = record("00 14", "BW", kUnchained), previous = "00 00 00 00 00 14";
    unsigned long offset = 0x14;
    const auto add = [&](const char *type, unsigned long i) {
        log += record("00 1E", type, previous, be16(i) + "00 00 '" + name(i) + "' 00");
        previous = be32(offset) + "00 1E";
        offset += 0x1E;
    };
    for (unsigned long i = 0; i < kFiles; ++i)
        add("FO", i);
    add("FC", 10);
    for (unsigned long i = 0; i < 10; ++i)
        add("FC", i);
    expectLog(log + record("00 14", "CW", previous));
}

TEST_F(GoldenLogChain, OtherModeIsAnotherOpening) {
    close(build("fix"));
    openLog();
    begin();
    close(open("fix", ISTRANS));
    const int again = open("fix");  // does not take part
    EXPECT_EQ(1, again);
    write(again, "'aaaaaa'", 1);
    close(again);
    commit();

    expectLog(record("00 14", "BW", kUnchained) +                                      // at 00
              record("00 1C", "FO", "00 00 00 00 00 14", "00 00 00 00 'fix' 00") +     // at 14
              record("00 1C", "FO", kUnchained, "00 01 00 00 'fix' 00") +              // at 30
              record("00 22", "IN", kUnchained, "00 01 00 00 00 01 00 06 'aaaaaa'") +  // at 4C
              record("00 1C", "FC", kUnchained, "00 01 00 00 'fix' 00") +              // at 6E
              record("00 1C", "FC", "00 00 00 14 00 1C", "00 00 00 00 'fix' 00") +     // at 8A
              record("00 14", "CW", "00 00 00 8A 00 1C"));
}

TEST_F(GoldenLogChain, RolledBackFileIsClosedWithoutARecord) {
    openLog();
    const int one = build("one", ISTRANS), two = build("two", ISTRANS);
    begin();
    write(one, "'aaaaaa'", 1);
    close(one);
    close(two);
    rollBack();

    expectLog(record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'one' 00") +  // at 00
              record("00 1C", "FO", kUnchained, "00 00 00 00 'one' 00") +                                // at 2A
              record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'two' 00") +  // at 46
              record("00 1C", "FO", kUnchained, "00 01 00 00 'two' 00") +                                // at 70
              record("00 14", "BW", kUnchained) +                                                        // at 8C
              record("00 22", "IN", "00 00 00 8C 00 14", "00 00 00 00 00 01 00 06 'aaaaaa'") +           // at A0
              record("00 1C", "FC", "00 00 00 A0 00 22", "00 01 00 00 'two' 00") +                       // at C2
              record("00 14", "RW", "00 00 00 C2 00 1C"));
}

TEST_F(GoldenLogChain, WhatDoesNotTakePartIsNotChained) {
    openLog();
    const int fd = build("fix");
    begin();
    write(fd, "'aaaaaa'", 1);
    const int added = build("new", ISTRANS);
    ASSERT_EQ(0, issetunique(added, 9)) << iserrno;
    commit();
    write(added, "'bbbbbb'", 1);  // no transaction is open

    expectLog(record("00 2A", "BU", kUnchained, "04 02 00 06 00 06" + std::string(kKey) + "'fix' 00") +  // at 00
              record("00 1C", "FO", kUnchained, "00 00 00 00 'fix' 00") +                                // at 2A
              record("00 14", "BW", kUnchained) +                                                        // at 46
              record("00 22", "IN", kUnchained, "00 00 00 00 00 01 00 06 'aaaaaa'") +                    // at 5A
              record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'new' 00") +  // at 7C
              record("00 1C", "FO", "00 00 00 46 00 14", "00 01 00 00 'new' 00") +                       // at A6
              record("00 1A", "SU", kUnchained, "00 01 00 00 00 09") +                                   // at C2
              record("00 14", "CW", "00 00 00 A6 00 1C") +                                               // at DC
              record("00 22", "IN", kUnchained, "00 01 00 00 00 01 00 06 'bbbbbb'"));
}

TEST_F(GoldenLogChain, CatalogueAndWholeFilesAreNotChained) {
    close(build("fix"));
    close(build("old"));
    openLog();
    begin();
    const int fd = open("fix", ISTRANS);
    KeyDesc key = keyDesc(ISDUPS, {{2, 4, CHARTYPE}});
    ASSERT_EQ(0, isaddindex(fd, &key)) << iserrno;
    ASSERT_EQ(0, isdelindex(fd, &key)) << iserrno;
    ASSERT_EQ(0, isrename("old", "gone")) << iserrno;
    ASSERT_EQ(0, iserase("gone")) << iserrno;
    commit();

    const std::string index = "00 00 00 01 00 01 00 04 00 02 00 04 00 00";
    expectLog(record("00 14", "BW", kUnchained) +                                   // at 00
              record("00 1C", "FO", "00 00 00 00 00 14", "00 00 00 00 'fix' 00") +  // at 14
              record("00 22", "CI", kUnchained, index) + record("00 22", "DI", kUnchained, index) +
              record("00 21", "RE", kUnchained, "00 04 00 05 'old' 00 'gone' 00") +
              record("00 19", "ER", kUnchained, "'gone' 00") + record("00 14", "CW", "00 00 00 14 00 1C"));
}

TEST_F(GoldenLogChain, VariableLengthRecords) {
    close(build("var", ISVARLEN));
    openLog();
    begin();
    const int fd = open("var", ISTRANS | ISVARLEN);
    write(fd, "'aaaa' 'tail'", 1);
    rewrite(fd, "'aaaa' 'xy'", 1);
    erase(fd, 1);
    commit();

    expectLog(record("00 14", "BW", kUnchained) +                                                             // at 00
              record("00 1C", "FO", "00 00 00 00 00 14", "00 00 00 01 'var' 00") +                            // at 14
              record("00 24", "IN", "00 00 00 14 00 1C", "00 00 00 00 00 01 00 08 'aaaatail'") +              // at 30
              record("00 2C", "UP", "00 00 00 30 00 24", "00 00 00 00 00 01 00 08 00 06 'aaaatailaaaaxy'") +  // at 54
              record("00 22", "DE", "00 00 00 54 00 2C", "00 00 00 00 00 01 00 06 'aaaaxy'") +                // at 80
              record("00 14", "CW", "00 00 00 80 00 22"));
}

TEST_F(GoldenLogChain, OffsetsHaveFourBytes) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1, CHARTYPE}});
    ASSERT_EQ(0, isbuild("big", 60000, &key, ISINOUT | ISTRANS)) << iserrno;
    openLog();
    begin();
    write(0, "'a'*60000", 1);
    write(0, "'b'*60000", 2);
    commit();

    expectLog(record("00 14", "BW", kUnchained) +                                                // at 0000
              record("EA 7C", "IN", "00 00 00 00 00 14", "00 00 00 00 00 01 EA 60 'a'*60000") +  // at 0014
              record("EA 7C", "IN", "00 00 00 14 EA 7C", "00 00 00 00 00 02 EA 60 'b'*60000") +  // at EA90
              record("00 14", "CW", "00 00 EA 90 EA 7C"));
}

TEST_F(GoldenLogChain, LogGoesOnBehindWhatItHolds) {
    std::ofstream("log") << "already here";
    const int fd = build("fix", ISTRANS);
    openLog();
    begin();
    write(fd, "'aaaaaa'", 1);
    close(fd);  // at the end without a record: the opening is not in the log
    commit();
    ASSERT_EQ(0, islogclose());
    openLog();
    ASSERT_EQ(0, islogopen("other"));  // one is open
    begin();
    commit();

    expectLog("'already here'" + record("00 14", "BW", kUnchained) +                            // at 0C
              record("00 22", "IN", "00 00 00 0C 00 14", "00 00 00 00 00 01 00 06 'aaaaaa'") +  // at 20
              record("00 14", "CW", "00 00 00 20 00 22") +                                      // at 42
              record("00 14", "BW", kUnchained) +                                               // at 56
              record("00 14", "CW", "00 00 00 56 00 14"));
    EXPECT_FALSE(std::filesystem::exists("other"));
}

}  // namespace
}  // namespace golden
