// Several transactions in one process: their numbers stand in the records in place of the user's.
#include "log_test.h"

namespace golden {
namespace {

short caller = 0;
short identity() { return caller; }

class GoldenLogIdentity : public LogTest {
  protected:
    GoldenLogIdentity() {
        caller = 0;
        isTxnInit(identity);
    }
    static void begin(short who) {
        caller = who;
        ASSERT_EQ(0, isbegin()) << "error " << iserrno;
    }
    void write(short who, int fd, std::string_view text, long number) {
        caller = who;
        LogTest::write(fd, text, number);
    }
    void rewrite(short who, int fd, std::string_view text, long number) {
        caller = who;
        LogTest::rewrite(fd, text, number);
    }
};

TEST_F(GoldenLogIdentity, TwoTransactionsInterleaved) {
    openLog();
    const int one = build("one", ISTRANS), two = build("two", ISTRANS);
    begin(1);
    begin(-2);
    write(1, one, "'aaaaaa'", 1);
    write(-2, two, "'bbbbbb'", 1);
    long id = 0;
    ASSERT_EQ(0, isuniqueid(two, &id));
    rewrite(1, one, "'aa++++'", 1);
    caller = 3;  // has no transaction
    ASSERT_EQ(0, issetunique(one, 5));
    rewrite(-2, two, "'bb----'", 1);
    caller = 1;
    ASSERT_EQ(0, iscommit()) << iserrno;
    caller = -2;
    ASSERT_EQ(0, isrollback()) << iserrno;
    close(one);
    close(two);  // undone, and so no record

    expectLog(record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'one' 00", "00 00") +  // 00
              record("00 1C", "FO", kUnchained, "00 00 00 00 'one' 00", "00 00") +                                // 2A
              record("00 2A", "BU", kUnchained, "04 06 00 06 00 06" + std::string(kKey) + "'two' 00", "00 00") +  // 46
              record("00 1C", "FO", kUnchained, "00 01 00 00 'two' 00", "00 00") +                                // 70
              record("00 14", "BW", kUnchained, "", "00 01") +                                                    // 8C
              record("00 14", "BW", kUnchained, "", "FF FE") +                                                    // A0
              record("00 22", "IN", "00 00 00 8C 00 14", "00 00 00 00 00 01 00 06 'aaaaaa'", "00 01") +           // B4
              record("00 22", "IN", "00 00 00 A0 00 14", "00 01 00 00 00 01 00 06 'bbbbbb'", "FF FE") +           // D6
              record("00 1A", "UN", kUnchained, "00 01 00 00 00 01", "FF FE") +                                   // F8
              record("00 2A", "UP", "00 00 00 B4 00 22", "00 00 00 00 00 01 00 06 00 06 'aaaaaaaa++++'",
                     "00 01") +                                                  // 112
              record("00 1A", "SU", kUnchained, "00 00 00 00 00 05", "00 00") +  // 13C
              record("00 2A", "UP", "00 00 00 D6 00 22", "00 01 00 00 00 01 00 06 00 06 'bbbbbbbb----'",
                     "FF FE") +                                          // 156
              record("00 14", "CW", "00 00 01 12 00 2A", "", "00 01") +  // 180
              record("00 14", "RW", "00 00 01 56 00 2A", "", "FF FE") +  // 194
              record("00 1C", "FC", kUnchained, "00 00 00 00 'one' 00", "00 00"));
}

TEST_F(GoldenLogIdentity, EachTransactionParksItsOwnFiles) {
    close(build("one"));
    close(build("two"));
    openLog();
    begin(1);
    const int one = open("one", ISTRANS);
    begin(2);
    const int two = open("two", ISTRANS);
    caller = 1;
    close(one);
    caller = 2;
    EXPECT_EQ(2, open("one", ISTRANS));  // parked by the other: opened anew
    close(two);
    ASSERT_EQ(0, iscommit()) << iserrno;
    caller = 1;
    ASSERT_EQ(0, iscommit()) << iserrno;

    expectLog(record("00 14", "BW", kUnchained, "", "00 01") +                               // at 00
              record("00 1C", "FO", "00 00 00 00 00 14", "00 00 00 00 'one' 00", "00 01") +  // at 14
              record("00 14", "BW", kUnchained, "", "00 02") +                               // at 30
              record("00 1C", "FO", "00 00 00 30 00 14", "00 01 00 00 'two' 00", "00 02") +  // at 44
              record("00 1C", "FO", "00 00 00 44 00 1C", "00 02 00 00 'one' 00", "00 02") +  // at 60
              record("00 1C", "FC", "00 00 00 60 00 1C", "00 01 00 00 'two' 00", "00 02") +  // at 7C
              record("00 14", "CW", "00 00 00 7C 00 1C", "", "00 02") +                      // at 98
              record("00 1C", "FC", "00 00 00 14 00 1C", "00 00 00 00 'one' 00", "00 01") +  // at AC
              record("00 14", "CW", "00 00 00 AC 00 1C", "", "00 01"));
}

TEST_F(GoldenLogIdentity, OfFilesThatDoNotTakePart) {
    openLog();
    const int fd = build("fix");
    begin(7);
    write(7, fd, "'aaaaaa'", 1);  // not chained, but told to belong to it
    caller = 8;
    ASSERT_EQ(-1, iscommit());
    EXPECT_EQ(122, iserrno);
    caller = 7;
    ASSERT_EQ(0, iscommit()) << iserrno;
    isTxnInit(nullptr);
    LogTest::write(fd, "'bbbbbb'", 2);  // the user again

    expectLog(record("00 2A", "BU", kUnchained, "04 02 00 06 00 06" + std::string(kKey) + "'fix' 00", "00 00") +
              record("00 1C", "FO", kUnchained, "00 00 00 00 'fix' 00", "00 00") +
              record("00 14", "BW", kUnchained, "", "00 07") +  // at 46
              record("00 22", "IN", kUnchained, "00 00 00 00 00 01 00 06 'aaaaaa'", "00 07") +
              record("00 14", "CW", "00 00 00 46 00 14", "", "00 07") +
              record("00 22", "IN", kUnchained, "00 00 00 00 00 02 00 06 'bbbbbb'"));
}

}  // namespace
}  // namespace golden
