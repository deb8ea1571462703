// Splits of compressed nodes: by bytes, not by entries, and with the right node's first entry stored in full.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenCompressedSplit : public GoldenTest {
  protected:
    static void head(Image &idx, const char *record_len, const char *records, const char *nodes, const char *changes) {
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, record_len)      // record length
            .at(25, "00 00 00 00")   // free record numbers
            .at(29, "00 00 00 00")   // free nodes
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

// Keys of one letter: nothing shared, 125 bytes an entry, 8 in a node.
TEST_F(GoldenCompressedSplit, AppendingCarriesTheNewKeyUp) {
    build(120, keyDesc(ISLEADCOMP, {{0, 120, CHARTYPE}}));
    writeLetters('a', 'i', 120, 1);

    Image nine(5);
    head(nine, "00 78", "00 00 00 09", "00 00 00 05", "00 00 00 0A");
    describe(nine, "02", "00 78 00 00 00");
    nine.node(3)
        .put("00 84")                   // used 2 + 125 + 5
        .put("00 'i'*120 00 00 00 04")  // leading count, the key just inserted, left node
        .put("78 00 00 00 05")          // all 120 bytes shared, right node
        .at(1020, "00 00 01 00");       // level 1
    nine.node(4)
        .put("03 EA")                   // used 2 + 8 * 125
        .put("00 'a'*120 00 00 00 01")  // leading count, key, record number
        .put("00 'b'*120 00 00 00 02")
        .put("00 'c'*120 00 00 00 03")
        .put("00 'd'*120 00 00 00 04")
        .put("00 'e'*120 00 00 00 05")
        .put("00 'f'*120 00 00 00 06")
        .put("00 'g'*120 00 00 00 07")
        .put("00 'h'*120 00 00 00 08");
    nine.node(5)
        .put("00 7F")  // used 2 + 125
        .put("00 'i'*120 00 00 00 09");
    expectIndex(nine);
    expectData("'a'*120 0A 'b'*120 0A 'c'*120 0A 'd'*120 0A 'e'*120 0A 'f'*120 0A 'g'*120 0A 'h'*120 0A 'i'*120 0A");

    writeLetters('j', 'q', 120, 10);

    Image seventeen(6);
    head(seventeen, "00 78", "00 00 00 11", "00 00 00 06", "00 00 00 12");
    describe(seventeen, "02", "00 78 00 00 00");
    seventeen.node(3)
        .put("01 01")  // used 2 + 125 + 125 + 5
        .put("00 'i'*120 00 00 00 04")
        .put("00 'q'*120 00 00 00 06")  // the new left node
        .put("78 00 00 00 05")          // raised to the same key
        .at(1020, "00 00 01 00");       // level 1
    seventeen.node(4)
        .put("03 EA")  // used 2 + 8 * 125
        .put("00 'a'*120 00 00 00 01")
        .put("00 'b'*120 00 00 00 02")
        .put("00 'c'*120 00 00 00 03")
        .put("00 'd'*120 00 00 00 04")
        .put("00 'e'*120 00 00 00 05")
        .put("00 'f'*120 00 00 00 06")
        .put("00 'g'*120 00 00 00 07")
        .put("00 'h'*120 00 00 00 08");
    seventeen.node(5)
        .put("00 7F")  // used 2 + 125
        .put("00 'q'*120 00 00 00 11");
    seventeen.node(6)
        .put("03 EA")  // used 2 + 8 * 125
        .put("00 'i'*120 00 00 00 09")
        .put("00 'j'*120 00 00 00 0A")
        .put("00 'k'*120 00 00 00 0B")
        .put("00 'l'*120 00 00 00 0C")
        .put("00 'm'*120 00 00 00 0D")
        .put("00 'n'*120 00 00 00 0E")
        .put("00 'o'*120 00 00 00 0F")
        .put("00 'p'*120 00 00 00 10");
    close();
    expectIndex(seventeen);
}

// Keys that share one byte: 125 bytes for a node's first entry, 124 for the others.
class GoldenCompressedMiddleSplit : public GoldenCompressedSplit {
  protected:
    void fillLeaf() {
        build(120, keyDesc(ISLEADCOMP, {{0, 120, CHARTYPE}}));
        write("'K' 'b'*119", 1);
        write("'K' 'd'*119", 2);
        write("'K' 'f'*119", 3);
        write("'K' 'h'*119", 4);
        write("'K' 'j'*119", 5);
        write("'K' 'l'*119", 6);
        write("'K' 'n'*119", 7);
        write("'K' 'p'*119", 8);
    }
    static void start(Image &idx) {
        head(idx, "00 78", "00 00 00 09", "00 00 00 05", "00 00 00 0A");
        describe(idx, "02", "00 78 00 00 00");
    }
};

TEST_F(GoldenCompressedMiddleSplit, NewKeyOnTheLeft) {
    fillLeaf();
    write("'K' 'c'*119", 9);

    Image idx(5);
    start(idx);
    idx.node(3)
        .put("00 84")  // used 2 + 125 + 5
        .put("00 'K' 'h'*119 00 00 00 04")
        .put("78 00 00 00 05")     // the same key
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("02 6F")  // used 2 + 125 + 4 * 124
        .put("00 'K' 'b'*119 00 00 00 01")
        .put("01 'c'*119 00 00 00 09")
        .put("01 'd'*119 00 00 00 02")
        .put("01 'f'*119 00 00 00 03")
        .put("01 'h'*119 00 00 00 04");
    idx.node(5)
        .put("01 F3")                       // used 2 + 125 + 3 * 124
        .put("00 'K' 'j'*119 00 00 00 05")  // stands alone now
        .put("01 'l'*119 00 00 00 06")
        .put("01 'n'*119 00 00 00 07")
        .put("01 'p'*119 00 00 00 08");
    close();
    expectIndex(idx);
}

TEST_F(GoldenCompressedMiddleSplit, NewKeyOnTheRight) {
    fillLeaf();
    write("'K' 'k'*119", 9);

    Image idx(5);
    start(idx);
    idx.node(3)
        .put("00 84")  // used 2 + 125 + 5
        .put("00 'K' 'h'*119 00 00 00 04")
        .put("78 00 00 00 05")     // the same key
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("01 F3")  // used 2 + 125 + 3 * 124
        .put("00 'K' 'b'*119 00 00 00 01")
        .put("01 'd'*119 00 00 00 02")
        .put("01 'f'*119 00 00 00 03")
        .put("01 'h'*119 00 00 00 04");
    idx.node(5)
        .put("02 6F")                       // used 2 + 125 + 4 * 124
        .put("00 'K' 'j'*119 00 00 00 05")  // stands alone now
        .put("01 'k'*119 00 00 00 09")
        .put("01 'l'*119 00 00 00 06")
        .put("01 'n'*119 00 00 00 07")
        .put("01 'p'*119 00 00 00 08");
    close();
    expectIndex(idx);
}

TEST_F(GoldenCompressedMiddleSplit, NewKeyAtTheSplitIsTheSeparator) {
    fillLeaf();
    write("'K' 'i'*119", 9);

    Image idx(5);
    start(idx);
    idx.node(3)
        .put("00 84")  // used 2 + 125 + 5
        .put("00 'K' 'i'*119 00 00 00 04")
        .put("78 00 00 00 05")     // the same key
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("02 6F")  // used 2 + 125 + 4 * 124
        .put("00 'K' 'b'*119 00 00 00 01")
        .put("01 'd'*119 00 00 00 02")
        .put("01 'f'*119 00 00 00 03")
        .put("01 'h'*119 00 00 00 04")
        .put("01 'i'*119 00 00 00 09");
    idx.node(5)
        .put("01 F3")                       // used 2 + 125 + 3 * 124
        .put("00 'K' 'j'*119 00 00 00 05")  // stands alone now
        .put("01 'l'*119 00 00 00 06")
        .put("01 'n'*119 00 00 00 07")
        .put("01 'p'*119 00 00 00 08");
    close();
    expectIndex(idx);
}

// An appended key's serial is one more than the last of the full node, even though the keys differ.
TEST_F(GoldenCompressedSplit, AppendedKeyTakesItsSerialFromTheFullNode) {
    build(116, keyDesc(ISDUPS | ISLEADCOMP, {{0, 116, CHARTYPE}}));
    writeLetters('a', 'i', 116, 1);

    Image idx(5);
    head(idx, "00 74", "00 00 00 09", "00 00 00 05", "00 00 00 0A");
    describe(idx, "02", "80 74 00 00 00");
    idx.node(3)
        .put("00 88")                               // used 2 + 125 + 9
        .put("00 'i'*116 00 00 00 00 00 00 00 04")  // the left node's last serial, its number
        .put("74 00 00 00 00 00 00 00 05")          // all 116 bytes shared
        .at(1020, "00 00 01 00");                   // level 1
    idx.node(4)
        .put("03 EA")                               // used 2 + 8 * 125
        .put("00 'a'*116 00 00 00 00 00 00 00 01")  // leading count, key, serial, record number
        .put("00 'b'*116 00 00 00 00 00 00 00 02")
        .put("00 'c'*116 00 00 00 00 00 00 00 03")
        .put("00 'd'*116 00 00 00 00 00 00 00 04")
        .put("00 'e'*116 00 00 00 00 00 00 00 05")
        .put("00 'f'*116 00 00 00 00 00 00 00 06")
        .put("00 'g'*116 00 00 00 00 00 00 00 07")
        .put("00 'h'*116 00 00 00 00 00 00 00 08");
    idx.node(5)
        .put("00 7F")  // used 2 + 125
        .put("00 'i'*116 00 00 00 01 00 00 00 09");
    close();
    expectIndex(idx);
}

// One key 112 times: 128 bytes for the first entry, 8 for the others, 1018 in all.
class GoldenSharedSplit : public GoldenCompressedSplit {
  protected:
    void fillLeaf() {
        build(120, keyDesc(ISDUPS | ISDUPCOMP, {{0, 120, CHARTYPE}}));
        for (long number = 1; number <= 112; ++number)
            writeLetters('m', 'm', 120, number);
    }
    // Entries without a key: serial n - 1 and record n, each with the share bit.
    static void putShared(NodeImage &node, unsigned long first, unsigned long last) {
        for (unsigned long n = first; n <= last; ++n)
            node.put(be32(n - 1)).put(be32(0x80000000UL + n));
    }
};

TEST_F(GoldenSharedSplit, AppendingKeepsTheSerialsRunning) {
    fillLeaf();
    writeLetters('m', 'm', 120, 113);

    Image idx(5);
    head(idx, "00 78", "00 00 00 71", "00 00 00 05", "00 00 00 72");
    describe(idx, "01", "80 78 00 00 00");
    idx.node(3)
        .put("00 8A")                            // used 2 + 128 + 8
        .put("'m'*120 00 00 00 6F 80 00 00 04")  // serial of the left node's last entry, its number, shared
        .put("00 00 00 6F 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    NodeImage left = idx.node(4);
    left.put("03 FA")                             // used 2 + 128 + 111 * 8
        .put("'m'*120 00 00 00 00 80 00 00 01");  // key, serial 0, record 1, shared
    putShared(left, 2, 111);
    left.put("00 00 00 6F 00 00 00 70");  // serial 111, record 112
    idx.node(5)
        .put("00 82")                             // used 2 + 128
        .put("'m'*120 00 00 00 70 00 00 00 71");  // serial 112, record 113
    close();
    expectIndex(idx);
}

TEST_F(GoldenSharedSplit, MiddleSplitGoesByBytes) {
    fillLeaf();
    writeLetters('a', 'a', 120, 113);

    Image idx(5);
    head(idx, "00 78", "00 00 00 71", "00 00 00 05", "00 00 00 72");
    describe(idx, "01", "80 78 00 00 00");
    idx.node(3)
        .put("00 8A")                            // used 2 + 128 + 8
        .put("'m'*120 00 00 00 30 80 00 00 04")  // serial 48 of the left node's last entry, its number, shared
        .put("00 00 00 30 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    NodeImage left = idx.node(4);
    left.put("02 82")                            // used 2 + 128 + 128 + 48 * 8
        .put("'a'*120 00 00 00 00 00 00 00 71")  // the new key
        .put("'m'*120 00 00 00 00 80 00 00 01");
    putShared(left, 2, 49);  // the last one keeps its share bit
    NodeImage right = idx.node(5);
    right
        .put("02 72")                             // used 2 + 128 + 62 * 8
        .put("'m'*120 00 00 00 31 80 00 00 32");  // serial 49, record 50, with its key again
    putShared(right, 51, 111);
    right.put("00 00 00 6F 00 00 00 70");
    close();
    expectIndex(idx);
}

}  // namespace
}  // namespace golden
