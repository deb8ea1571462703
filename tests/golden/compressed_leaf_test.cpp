// Leaves under each kind of compression.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenCompressedLeaf : public GoldenTest {
  protected:
    // Header and description of a file with one index on bytes 0.. and no deleted records.
    static Image start(const char *record_len, const char *records, const char *changes, const char *flags,
                       const char *part) {
        Image idx(3);
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, record_len)      // record length
            .at(25, "00 00 00 00")   // free record numbers
            .at(29, "00 00 00 00")   // free nodes
            .at(33, records)         // last record number
            .at(37, "00 00 00 03")   // last node number
            .at(41, changes)         // change counter
            .at(45, "00 00 00 01");  // unique id
        idx.description()
            .put("00 12 00 00 00 00")  // used, no next node
            .put("00 0C 00 00 00 03")  // entry of 12 bytes, root 3
            .put(flags)                // flags / 2
            .put(part);                // length, start, type
        return idx;
    }
};

TEST_F(GoldenCompressedLeaf, LeadingBytes) {
    build(8, keyDesc(ISLEADCOMP, {{0, 8, CHARTYPE}}));
    write("'abcdxxxx'", 1);
    write("'abcdyyyy'", 2);
    write("'abbbbbbb'", 3);  // goes first: the entry behind it is stored anew

    Image idx = start("00 08", "00 00 00 03", "00 00 00 04", "02", "00 08 00 00 00");
    idx.node(3)
        .put("00 23")                      // used 2 + 13 + 11 + 9
        .put("00 'abbbbbbb' 00 00 00 03")  // leading count, key bytes, record number
        .put("02 'cdxxxx' 00 00 00 01")    // shares "ab"
        .put("04 'yyyy' 00 00 00 02");     // shares "abcd"
    close();
    expectIndex(idx);
    expectData("'abcdxxxx' 0A 'abcdyyyy' 0A 'abbbbbbb' 0A");
}

TEST_F(GoldenCompressedLeaf, TrailingBlanks) {
    build(8, keyDesc(ISTRAILCOMP, {{0, 8, CHARTYPE}}));
    write("'ab      '", 1);
    write("'abc     '", 2);
    write("'        '", 3);

    Image idx = start("00 08", "00 00 00 03", "00 00 00 04", "04", "00 08 00 00 00");
    idx.node(3)
        .put("00 16")                // used 2 + 5 + 7 + 8
        .put("08 00 00 00 03")       // trailing count, no key byte, record number
        .put("06 'ab' 00 00 00 01")  // 6 blanks left out
        .put("05 'abc' 00 00 00 02");
    close();
    expectIndex(idx);
    expectData("'ab      ' 0A 'abc     ' 0A 20*8 0A");
}

TEST_F(GoldenCompressedLeaf, TrailingNulsKeepBlanks) {
    build(6, keyDesc(ISTRAILCOMP | ISTRAILNUL, {{0, 6, STRINGTYPE}}));
    write("'ab    '", 1);
    write("'ab' 00 'zzz'", 2);  // a key ends at the NUL, the record keeps what follows

    Image idx = start("00 06", "00 00 00 02", "00 00 00 03", "0C", "00 06 00 00 07");
    idx.node(3)
        .put("00 14")                // used 2 + 7 + 11
        .put("04 'ab' 00 00 00 02")  // trailing count: 4 NULs; key bytes, record number
        .put("00 'ab    ' 00 00 00 01");
    close();
    expectIndex(idx);
    expectData("'ab    ' 0A 'ab' 00 'zzz' 0A");
}

TEST_F(GoldenCompressedLeaf, TrailingNulFlagAloneLeavesTheNodeFlat) {
    build(4, keyDesc(ISTRAILNUL, {{0, 4, CHARTYPE}}));
    write("'b' 00 00 00", 1);
    write("'a' 00 00 00", 2);

    Image idx = start("00 04", "00 00 00 02", "00 00 00 03", "08", "00 04 00 00 00");
    idx.node(3)
        .put("00 12")                     // used 2 + 2 * 8
        .put("'a' 00 00 00 00 00 00 02")  // key in full, record number
        .put("'b' 00 00 00 00 00 00 01");
    close();
    expectIndex(idx);
}

TEST_F(GoldenCompressedLeaf, SharedKeysWithoutDuplicatesHaveNoCounts) {
    build(4, keyDesc(ISDUPCOMP, {{0, 4, CHARTYPE}}));
    write("'oboe'", 1);
    write("'harp'", 2);

    Image idx = start("00 04", "00 00 00 02", "00 00 00 03", "01", "00 04 00 00 00");
    idx.node(3)
        .put("00 12")               // used 2 + 2 * 8
        .put("'harp' 00 00 00 02")  // key, record number
        .put("'oboe' 00 00 00 01");
    close();
    expectIndex(idx);
    expectData("'oboe' 0A 'harp' 0A");
}

TEST_F(GoldenCompressedLeaf, SharedDuplicates) {
    build(8, keyDesc(ISDUPS | ISDUPCOMP, {{0, 8, CHARTYPE}}));
    write("'redredre'", 1);
    write("'blueblue'", 2);
    write("'redredre'", 3);
    write("'redredre'", 4);

    Image idx = start("00 08", "00 00 00 04", "00 00 00 05", "01", "80 08 00 00 00");
    idx.node(3)
        .put("00 32")                               // used 2 + 16 + 16 + 8 + 8
        .put("'blueblue' 00 00 00 00 00 00 00 02")  // key, serial, record number
        .put("'redredre' 00 00 00 00 80 00 00 01")  // share bit: the next one has no key
        .put("00 00 00 01 80 00 00 03")             // serial, record number with share bit
        .put("00 00 00 02 00 00 00 04");
    close();
    expectIndex(idx);
    expectData("'redredre' 0A 'blueblue' 0A 'redredre' 0A 'redredre' 0A");
}

TEST_F(GoldenCompressedLeaf, AllTogether) {
    build(8, keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, {{0, 8, CHARTYPE}}));
    write("'mint    '", 1);
    write("'mango   '", 2);
    write("'mint    '", 3);
    write("'minute  '", 4);
    write("'mango   '", 5);
    write("'mint    '", 6);

    Image idx = start("00 08", "00 00 00 06", "00 00 00 07", "07", "80 08 00 00 00");
    idx.node(3)
        .put("00 43")                                  // used 2 + 15 + 8 + 13 + 8 + 8 + 13
        .put("00 03 'mango' 00 00 00 00 80 00 00 02")  // leading, trailing, key bytes, serial, record number, shared
        .put("00 00 00 01 00 00 00 05")                // the same key again
        .put("01 04 'int' 00 00 00 00 80 00 00 01")    // "m" as before, 4 blanks, shared
        .put("00 00 00 01 80 00 00 03")                // shared once more
        .put("00 00 00 02 00 00 00 06")
        .put("03 02 'ute' 00 00 00 00 00 00 00 04");  // "min" as before, 2 blanks
    close();
    expectIndex(idx);
    expectData("'mint    ' 0A 'mango   ' 0A 'mint    ' 0A 'minute  ' 0A 'mango   ' 0A 'mint    ' 0A");
}

}  // namespace
}  // namespace golden
