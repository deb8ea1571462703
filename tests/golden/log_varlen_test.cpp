// Images of variable-length records in the log.
#include "log_test.h"

namespace golden {
namespace {

class GoldenLogVarlen : public LogTest {};

TEST_F(GoldenLogVarlen, WholeRecordsWithTheirLengths) {
    const int fd = build("var", ISVARLEN);
    openLog();
    write(fd, "'aaaa' 'tail'", 1);
    rewrite(fd, "'aaaa' 'longer tail'", 1);
    rewrite(fd, "'aa++'", 1);
    rewrite(fd, "'aaaa' 't'", 1);
    erase(fd, 1);
    write(fd, "'bbbb'", 1);
    erase(fd, 1);

    expectLog(record("00 24", "IN", kUnchained,
                     "00 00 00 00 00 01 "
                     "00 08 'aaaatail'") +
              record("00 35", "UP", kUnchained,
                     "00 00 00 00 00 01 "
                     "00 08 00 0F "  // length before and after
                     "'aaaatail' 'aaaalonger tail'") +
              record("00 31", "UP", kUnchained, "00 00 00 00 00 01 00 0F 00 04 'aaaalonger tail' 'aa++'") +
              record("00 27", "UP", kUnchained, "00 00 00 00 00 01 00 04 00 05 'aa++' 'aaaat'") +
              record("00 21", "DE", kUnchained, "00 00 00 00 00 01 00 05 'aaaat'") +
              record("00 20", "IN", kUnchained, "00 00 00 00 00 01 00 04 'bbbb'") +
              record("00 20", "DE", kUnchained, "00 00 00 00 00 01 00 04 'bbbb'"));
}

TEST_F(GoldenLogVarlen, LengthBelowTheMinimumCountsAsTheMinimum) {
    const int fd = build("var", ISVARLEN);
    openLog();
    std::string record_text = "aaaa";
    isreclen = 1;
    ASSERT_EQ(0, iswrite(fd, record_text.data())) << iserrno;
    isreclen = 0;
    ASSERT_EQ(0, isrewrec(fd, 1, record_text.data())) << iserrno;

    expectLog(record("00 20", "IN", kUnchained, "00 00 00 00 00 01 00 04 'aaaa'") +
              record("00 26", "UP", kUnchained, "00 00 00 00 00 01 00 04 00 04 'aaaa' 'aaaa'"));
}

TEST_F(GoldenLogVarlen, TailsOfSeveralPiecesAreWhole) {
    const int fd = build("var", ISVARLEN, 4000);
    openLog();
    write(fd, "'aaaa' 'r'*994 's'*994 'tt'", 1);
    rewrite(fd, "'aaaa' 'x'*994 'y'", 1);
    erase(fd, 1);

    expectLog(record("07 E6", "IN", kUnchained, "00 00 00 00 00 01 07 CA 'aaaa' 'r'*994 's'*994 'tt'") +
              record("0B CF", "UP", kUnchained,
                     "00 00 00 00 00 01 07 CA 03 E7 "
                     "'aaaa' 'r'*994 's'*994 'tt' "
                     "'aaaa' 'x'*994 'y'") +
              record("04 03", "DE", kUnchained, "00 00 00 00 00 01 03 E7 'aaaa' 'x'*994 'y'"));
}

TEST_F(GoldenLogVarlen, LongestImages) {
    const int fd = build("var", ISVARLEN, 32511);
    openLog();
    write(fd, "'aaaa' 'x'*32507", 1);
    rewrite(fd, "'aaaa' 'y'*32507", 1);

    expectLog(record("7F 1B", "IN", kUnchained, "00 00 00 00 00 01 7E FF 'aaaa' 'x'*32507") +
              record("FE 1C", "UP", kUnchained, "00 00 00 00 00 01 7E FF 7E FF 'aaaa' 'x'*32507 'aaaa' 'y'*32507"));
}

// What was written goes into the log as it was given, what was stored as it can be read back.
TEST_F(GoldenLogVarlen, CompressedTailsAreExpanded) {
    const int fd = build("var", ISVARLEN | ISCOMPRESS);
    openLog();
    const std::string lost = "'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789!#'";  // 64 bytes
    write(fd, "'aaaa' 20*50", 1);
    rewrite(fd, "'aaaa' 20*10" + lost, 1);  // of this only the blanks are kept
    rewrite(fd, "'aaaa' 'raw'", 1);
    erase(fd, 1);

    expectLog(record("00 52", "IN", kUnchained, "00 00 00 00 00 01 00 36 'aaaa' 20*50") +
              record("00 A2", "UP", kUnchained, "00 00 00 00 00 01 00 36 00 4E 'aaaa' 20*50 'aaaa' 20*10" + lost) +
              record("00 33", "UP", kUnchained, "00 00 00 00 00 01 00 0E 00 07 'aaaa' 20*10 'aaaa' 'raw'") +
              record("00 23", "DE", kUnchained, "00 00 00 00 00 01 00 07 'aaaa' 'raw'"));
}

}  // namespace
}  // namespace golden
