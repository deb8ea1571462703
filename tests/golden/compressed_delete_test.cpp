// Deletions in compressed nodes, where the entry behind the deleted one is stored anew.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenCompressedDelete : public GoldenTest {
  protected:
    static void head(Image &idx, const char *record_len, const char *free_records, const char *free_nodes,
                     const char *records, const char *nodes, const char *changes) {
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, record_len)      // record length
            .at(25, free_records)    // free record numbers
            .at(29, free_nodes)      // free nodes
            .at(33, records)         // last record number
            .at(37, nodes)           // last node number
            .at(41, changes)         // change counter
            .at(45, "00 00 00 01");  // unique id
    }
    static void describe(Image &idx, const char *flags, const char *part) {
        idx.description()
            .put("00 12 00 00 00 00")  // used, no next node
            .put("00 0C 00 00 00 03")  // entry of 12 bytes, root 3
            .put(flags)                // flags / 2
            .put(part);                // length, start, type
    }
};

TEST_F(GoldenCompressedDelete, NextEntryGetsItsBytesBack) {
    build(8, keyDesc(ISLEADCOMP, {{0, 8, CHARTYPE}}));
    write("'aaaabbbb'", 1);
    write("'aaccdddd'", 2);
    write("'aaccdeee'", 3);  // stored as 5 shared bytes and "eee"
    erase(2);

    Image middle(4);
    head(middle, "00 08", "00 00 00 04", "00 00 00 00", "00 00 00 03", "00 00 00 04", "00 00 00 05");
    describe(middle, "02", "00 08 00 00 00");
    middle.node(3)
        .put("00 1A")                      // used 2 + 13 + 11
        .put("00 'aaaabbbb' 00 00 00 01")  // leading count, key bytes, record number
        .put("02 'ccdeee' 00 00 00 03");
    middle.freeList(4)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 02");
    expectIndex(middle);
    expectData("'aaaabbbb' 0A 'aaccdddd' 00 'aaccdeee' 0A");

    erase(1);

    Image first(4);
    head(first, "00 08", "00 00 00 04", "00 00 00 00", "00 00 00 03", "00 00 00 04", "00 00 00 06");
    describe(first, "02", "00 08 00 00 00");
    first.node(3)
        .put("00 0F")  // used 2 + 13
        .put("00 'aaccdeee' 00 00 00 03");
    first.freeList(4)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 02")
        .put("00 00 00 01");
    close();
    expectIndex(first);
    expectData("'aaaabbbb' 00 'aaccdddd' 00 'aaccdeee' 0A");
}

TEST_F(GoldenCompressedDelete, NodeGrowsWhenAShortEntryGoes) {
    build(12, keyDesc(ISLEADCOMP | ISTRAILCOMP, {{0, 12, CHARTYPE}}));
    write("'a'*12", 1);
    write("'r' 20*11", 2);
    write("'r' 20*10 'z'", 3);

    Image before(3);
    head(before, "00 0C", "00 00 00 00", "00 00 00 00", "00 00 00 03", "00 00 00 03", "00 00 00 04");
    describe(before, "06", "00 0C 00 00 00");
    before.node(3)
        .put("00 22")                     // used 2 + 18 + 7 + 7
        .put("00 00 'a'*12 00 00 00 01")  // leading and trailing count, key bytes, record number
        .put("00 0B 'r' 00 00 00 02")     // 11 blanks left out
        .put("0B 00 'z' 00 00 00 03");    // 11 bytes shared
    expectIndex(before);

    erase(2);

    Image after(4);
    head(after, "00 0C", "00 00 00 04", "00 00 00 00", "00 00 00 03", "00 00 00 04", "00 00 00 05");
    describe(after, "06", "00 0C 00 00 00");
    after.node(3)
        .put("00 26")  // used 2 + 18 + 18
        .put("00 00 'a'*12 00 00 00 01")
        .put("00 00 'r' 20*10 'z' 00 00 00 03");
    after.freeList(4)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 02");
    close();
    expectIndex(after);
    expectData("'a'*12 0A 'r' 20*11 00 'r' 20*10 'z' 0A");
}

// The entry behind needs 119 bytes more where 7 become free: it is put back through a split.
TEST_F(GoldenCompressedDelete, FullNodeSplitsWhenAShortEntryGoes) {
    build(120, keyDesc(ISLEADCOMP | ISTRAILCOMP, {{0, 120, CHARTYPE}}));
    writeLetters('a', 'g', 120, 1);
    write("'r' 20*119", 8);
    write("'r' 20*118 'z'", 9);
    write("'s'*20 20*100", 10);

    Image before(3);
    head(before, "00 78", "00 00 00 00", "00 00 00 00", "00 00 00 0A", "00 00 00 03", "00 00 00 0B");
    describe(before, "06", "00 78 00 00 00");
    before.node(3)
        .put("03 9C")                      // used 2 + 7 * 126 + 7 + 7 + 26
        .put("00 00 'a'*120 00 00 00 01")  // leading and trailing count, key bytes, record number
        .put("00 00 'b'*120 00 00 00 02")
        .put("00 00 'c'*120 00 00 00 03")
        .put("00 00 'd'*120 00 00 00 04")
        .put("00 00 'e'*120 00 00 00 05")
        .put("00 00 'f'*120 00 00 00 06")
        .put("00 00 'g'*120 00 00 00 07")
        .put("00 77 'r' 00 00 00 08")  // 119 blanks left out
        .put("77 00 'z' 00 00 00 09")  // 119 bytes shared
        .put("00 64 's'*20 00 00 00 0A");
    expectIndex(before);

    erase(8);

    Image after(6);
    head(after, "00 78", "00 00 00 06", "00 00 00 00", "00 00 00 0A", "00 00 00 06", "00 00 00 0C");
    describe(after, "06", "00 78 00 00 00");
    after.node(3)
        .put("00 86")                      // used 2 + 126 + 6
        .put("00 00 'd'*120 00 00 00 04")  // left node
        .put("78 00 00 00 00 05")          // right node, the same key
        .at(1020, "00 00 01 00");          // level 1
    after.node(4)
        .put("01 FA")  // used 2 + 4 * 126
        .put("00 00 'a'*120 00 00 00 01")
        .put("00 00 'b'*120 00 00 00 02")
        .put("00 00 'c'*120 00 00 00 03")
        .put("00 00 'd'*120 00 00 00 04");
    after.node(5)
        .put("02 14")  // used 2 + 3 * 126 + 126 + 26
        .put("00 00 'e'*120 00 00 00 05")
        .put("00 00 'f'*120 00 00 00 06")
        .put("00 00 'g'*120 00 00 00 07")
        .put("00 00 'r' 20*118 'z' 00 00 00 09")
        .put("00 64 's'*20 00 00 00 0A");
    after.freeList(6)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 08");
    close();
    expectIndex(after);
}

TEST_F(GoldenCompressedDelete, KeyOfARepeatedGroupStays) {
    build(8, keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, {{0, 8, CHARTYPE}}));
    write("'mint    '", 1);
    write("'mango   '", 2);
    write("'mint    '", 3);
    write("'minute  '", 4);
    write("'mango   '", 5);
    write("'mint    '", 6);
    erase(1);  // the first "mint": the next one takes over the key bytes

    Image one(4);
    head(one, "00 08", "00 00 00 04", "00 00 00 00", "00 00 00 06", "00 00 00 04", "00 00 00 08");
    describe(one, "07", "80 08 00 00 00");
    one.node(3)
        .put("00 3B")                                  // used 2 + 15 + 8 + 13 + 8 + 13
        .put("00 03 'mango' 00 00 00 00 80 00 00 02")  // leading, trailing, key bytes, serial, record number, shared
        .put("00 00 00 01 00 00 00 05")
        .put("01 04 'int' 00 00 00 01 80 00 00 03")  // serial and record of the second, shared
        .put("00 00 00 02 00 00 00 06")
        .put("03 02 'ute' 00 00 00 00 00 00 00 04");
    one.freeList(4)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 01");
    expectIndex(one);

    erase(6);  // the last "mint": the one before shares its key no more

    Image two(4);
    head(two, "00 08", "00 00 00 04", "00 00 00 00", "00 00 00 06", "00 00 00 04", "00 00 00 09");
    describe(two, "07", "80 08 00 00 00");
    two.node(3)
        .put("00 33")  // used 2 + 15 + 8 + 13 + 13
        .put("00 03 'mango' 00 00 00 00 80 00 00 02")
        .put("00 00 00 01 00 00 00 05")
        .put("01 04 'int' 00 00 00 01 00 00 00 03")  // share bit cleared
        .put("03 02 'ute' 00 00 00 00 00 00 00 04");
    two.freeList(4)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 01")
        .put("00 00 00 06");
    expectIndex(two);

    erase(2);  // the node's first entry

    Image three(4);
    head(three, "00 08", "00 00 00 04", "00 00 00 00", "00 00 00 06", "00 00 00 04", "00 00 00 0A");
    describe(three, "07", "80 08 00 00 00");
    three.node(3)
        .put("00 2B")  // used 2 + 15 + 13 + 13
        .put("00 03 'mango' 00 00 00 01 00 00 00 05")
        .put("01 04 'int' 00 00 00 01 00 00 00 03")
        .put("03 02 'ute' 00 00 00 00 00 00 00 04");
    three.freeList(4)
        .put("00 12 00 00 00 00")  // used 6 + 3 * 4, no next node
        .put("00 00 00 01")
        .put("00 00 00 06")
        .put("00 00 00 02");
    close();
    expectIndex(three);
    expectData("'mint    ' 00 'mango   ' 00 'mint    ' 0A 'minute  ' 0A 'mango   ' 0A 'mint    ' 00");
}

TEST_F(GoldenCompressedDelete, ShareBitOfTheLastEntryStaysAndMovesOn) {
    build(4, keyDesc(ISDUPS | ISDUPCOMP, {{0, 4, CHARTYPE}}));
    write("'lute'", 1);
    write("'lute'", 2);
    erase(2);

    Image last(4);
    head(last, "00 04", "00 00 00 04", "00 00 00 00", "00 00 00 02", "00 00 00 04", "00 00 00 04");
    describe(last, "01", "80 04 00 00 00");
    last.node(3)
        .put("00 0E")                            // used 2 + 12
        .put("'lute' 00 00 00 00 80 00 00 01");  // announces nothing any more
    last.freeList(4)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 02");
    expectIndex(last);

    write("'oboe'", 2);

    Image other(4);
    head(other, "00 04", "00 00 00 00", "00 00 00 04", "00 00 00 02", "00 00 00 04", "00 00 00 05");
    describe(other, "01", "80 04 00 00 00");
    other.node(3)
        .put("00 1A")  // used 2 + 2 * 12
        .put("'lute' 00 00 00 00 00 00 00 01")
        .put("'oboe' 00 00 00 00 80 00 00 02");  // took over the bit
    other.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    expectIndex(other);

    write("'oboe'", 3);

    Image same(4);
    head(same, "00 04", "00 00 00 00", "00 00 00 04", "00 00 00 03", "00 00 00 04", "00 00 00 06");
    describe(same, "01", "80 04 00 00 00");
    same.node(3)
        .put("00 22")  // used 2 + 2 * 12 + 8
        .put("'lute' 00 00 00 00 00 00 00 01")
        .put("'oboe' 00 00 00 00 80 00 00 02")
        .put("00 00 00 01 80 00 00 03");        // and again
    same.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(same);
    expectData("'lute' 0A 'oboe' 0A 'oboe' 0A");
}

}  // namespace
}  // namespace golden
