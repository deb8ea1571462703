// Splits of nodes without compression. Keys of 120 bytes make entries of 124, of which 8 fill a node.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenFlatSplit : public GoldenTest {
  protected:
    static void describe(Image &idx) {
        idx.description()
            .put("00 12 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 78 00 00 00");       // length, start, type
    }
    static void describeDuplicates(Image &idx) {
        idx.description()
            .put("00 12 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("80 74 00 00 00");       // length with the top bit for duplicates, start, type
    }
    // Eight records b, d, f, .. p, which fill a leaf.
    void fillLeaf() {
        build(120, keyDesc(ISNODUPS, {{0, 120, CHARTYPE}}));
        long number = 1;
        for (char letter = 'b'; letter <= 'p'; letter = static_cast<char>(letter + 2))
            writeLetters(letter, letter, 120, number++);
    }
    // Header after the ninth record.
    static void head(Image &idx) {
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, "00 78")         // record length
            .at(25, "00 00 00 00"    // free record numbers
                    "00 00 00 00"    // free nodes
                    "00 00 00 09"    // last record number
                    "00 00 00 05"    // last node number
                    "00 00 00 0A"    // change counter
                    "00 00 00 01");  // unique id
    }
};

TEST_F(GoldenFlatSplit, AppendingLeavesTheLeftNodeFull) {
    build(120, keyDesc(ISNODUPS, {{0, 120, CHARTYPE}}));
    writeLetters('a', 'i', 120, 1);

    Image nine(5);
    head(nine);
    describe(nine);
    nine.node(3)
        .put("00 FA")                // used 2 + 2 * 124
        .put("'h'*120 00 00 00 04")  // highest key of the left node, its number
        .put("'h'*120 00 00 00 05")  // the same key again for the right one
        .at(1020, "00 00 01 00");    // level 1
    nine.node(4)
        .put("03 E2")                // used 2 + 8 * 124
        .put("'a'*120 00 00 00 01")  // key, record number
        .put("'b'*120 00 00 00 02")
        .put("'c'*120 00 00 00 03")
        .put("'d'*120 00 00 00 04")
        .put("'e'*120 00 00 00 05")
        .put("'f'*120 00 00 00 06")
        .put("'g'*120 00 00 00 07")
        .put("'h'*120 00 00 00 08");
    nine.node(5)
        .put("00 7E")  // used 2 + 124; the bytes of the old root are gone
        .put("'i'*120 00 00 00 09");
    expectIndex(nine);
    expectData("'a'*120 0A 'b'*120 0A 'c'*120 0A 'd'*120 0A 'e'*120 0A 'f'*120 0A 'g'*120 0A 'h'*120 0A 'i'*120 0A");

    writeLetters('j', 'q', 120, 10);

    Image seventeen(6);
    seventeen.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 78")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 11"    // last record number
                "00 00 00 06"    // last node number
                "00 00 00 12"    // change counter
                "00 00 00 01");  // unique id
    describe(seventeen);
    seventeen.node(3)
        .put("01 76")  // used 2 + 3 * 124
        .put("'h'*120 00 00 00 04")
        .put("'p'*120 00 00 00 06")  // the new left node, before the entry of the node that split
        .put("'p'*120 00 00 00 05")  // whose key is raised to keep the order
        .at(1020, "00 00 01 00");    // level 1
    seventeen.node(4)
        .put("03 E2")                // used 2 + 8 * 124
        .put("'a'*120 00 00 00 01")  // key, record number
        .put("'b'*120 00 00 00 02")
        .put("'c'*120 00 00 00 03")
        .put("'d'*120 00 00 00 04")
        .put("'e'*120 00 00 00 05")
        .put("'f'*120 00 00 00 06")
        .put("'g'*120 00 00 00 07")
        .put("'h'*120 00 00 00 08");
    seventeen.node(5)
        .put("00 7E")  // used 2 + 124
        .put("'q'*120 00 00 00 11");
    seventeen.node(6)
        .put("03 E2")  // used 2 + 8 * 124
        .put("'i'*120 00 00 00 09")
        .put("'j'*120 00 00 00 0A")
        .put("'k'*120 00 00 00 0B")
        .put("'l'*120 00 00 00 0C")
        .put("'m'*120 00 00 00 0D")
        .put("'n'*120 00 00 00 0E")
        .put("'o'*120 00 00 00 0F")
        .put("'p'*120 00 00 00 10");
    close();
    expectIndex(seventeen);
}

TEST_F(GoldenFlatSplit, MiddleSplitWithTheNewKeyOnTheLeft) {
    fillLeaf();
    writeLetters('c', 'c', 120, 9);

    Image idx(5);
    head(idx);
    describe(idx);
    idx.node(3)
        .put("00 FA")  // used 2 + 2 * 124
        .put("'h'*120 00 00 00 04")
        .put("'h'*120 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("02 6E")  // used 2 + 5 * 124: the lower four and the new one
        .put("'b'*120 00 00 00 01")
        .put("'c'*120 00 00 00 09")
        .put("'d'*120 00 00 00 02")
        .put("'f'*120 00 00 00 03")
        .put("'h'*120 00 00 00 04");
    idx.node(5)
        .put("01 F2")  // used 2 + 4 * 124
        .put("'j'*120 00 00 00 05")
        .put("'l'*120 00 00 00 06")
        .put("'n'*120 00 00 00 07")
        .put("'p'*120 00 00 00 08");
    close();
    expectIndex(idx);
    expectData("'b'*120 0A 'd'*120 0A 'f'*120 0A 'h'*120 0A 'j'*120 0A 'l'*120 0A 'n'*120 0A 'p'*120 0A 'c'*120 0A");
}

TEST_F(GoldenFlatSplit, MiddleSplitWithTheNewKeyOnTheRight) {
    fillLeaf();
    writeLetters('k', 'k', 120, 9);

    Image idx(5);
    head(idx);
    describe(idx);
    idx.node(3)
        .put("00 FA")  // used 2 + 2 * 124
        .put("'h'*120 00 00 00 04")
        .put("'h'*120 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("01 F2")  // used 2 + 4 * 124
        .put("'b'*120 00 00 00 01")
        .put("'d'*120 00 00 00 02")
        .put("'f'*120 00 00 00 03")
        .put("'h'*120 00 00 00 04");
    idx.node(5)
        .put("02 6E")  // used 2 + 5 * 124
        .put("'j'*120 00 00 00 05")
        .put("'k'*120 00 00 00 09")
        .put("'l'*120 00 00 00 06")
        .put("'n'*120 00 00 00 07")
        .put("'p'*120 00 00 00 08");
    close();
    expectIndex(idx);
}

TEST_F(GoldenFlatSplit, NewKeyAtTheSplitEndsTheLeftNode) {
    fillLeaf();
    writeLetters('i', 'i', 120, 9);

    Image idx(5);
    head(idx);
    describe(idx);
    idx.node(3)
        .put("00 FA")  // used 2 + 2 * 124
        .put("'i'*120 00 00 00 04")
        .put("'i'*120 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("02 6E")  // used 2 + 5 * 124
        .put("'b'*120 00 00 00 01")
        .put("'d'*120 00 00 00 02")
        .put("'f'*120 00 00 00 03")
        .put("'h'*120 00 00 00 04")
        .put("'i'*120 00 00 00 09");
    idx.node(5)
        .put("01 F2")  // used 2 + 4 * 124
        .put("'j'*120 00 00 00 05")
        .put("'l'*120 00 00 00 06")
        .put("'n'*120 00 00 00 07")
        .put("'p'*120 00 00 00 08");
    close();
    expectIndex(idx);
}

// Keys of 128 bytes make entries of 132, of which 7 fill a node: 3 go left, 4 stay right.
TEST_F(GoldenFlatSplit, OddNumberOfEntriesLeavesTheLargerHalfOnTheRight) {
    build(128, keyDesc(ISNODUPS, {{0, 128, CHARTYPE}}));
    writeLetters('b', 'h', 128, 1);
    writeLetters('a', 'a', 128, 8);

    Image idx(5);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 80")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 08"    // last record number
                "00 00 00 05"    // last node number
                "00 00 00 09"    // change counter
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 80 00 00 00");       // length, start, type
    idx.node(3)
        .put("01 0A")  // used 2 + 2 * 132
        .put("'d'*128 00 00 00 04")
        .put("'d'*128 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("02 12")  // used 2 + 4 * 132: three and the new one
        .put("'a'*128 00 00 00 08")
        .put("'b'*128 00 00 00 01")
        .put("'c'*128 00 00 00 02")
        .put("'d'*128 00 00 00 03");
    idx.node(5)
        .put("02 12")  // used 2 + 4 * 132
        .put("'e'*128 00 00 00 04")
        .put("'f'*128 00 00 00 05")
        .put("'g'*128 00 00 00 06")
        .put("'h'*128 00 00 00 07");
    close();
    expectIndex(idx);
}

// Keys of 116 bytes and serials make entries of 124 again.
TEST_F(GoldenFlatSplit, SerialsOfOneKeyRunOnAcrossTheSplit) {
    build(116, keyDesc(ISDUPS, {{0, 116, CHARTYPE}}));
    for (long number = 1; number <= 9; ++number)
        writeLetters('m', 'm', 116, number);

    Image idx(5);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 74")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 09"    // last record number
                "00 00 00 05"    // last node number
                "00 00 00 0A"    // change counter
                "00 00 00 01");  // unique id
    describeDuplicates(idx);
    idx.node(3)
        .put("00 FA")                            // used 2 + 2 * 124
        .put("'m'*116 00 00 00 07 00 00 00 04")  // highest key and serial of the left node, its number
        .put("'m'*116 00 00 00 07 00 00 00 05")  // the same for the right one
        .at(1020, "00 00 01 00");                // level 1
    idx.node(4)
        .put("03 E2")                            // used 2 + 8 * 124
        .put("'m'*116 00 00 00 00 00 00 00 01")  // key, serial, record number
        .put("'m'*116 00 00 00 01 00 00 00 02")
        .put("'m'*116 00 00 00 02 00 00 00 03")
        .put("'m'*116 00 00 00 03 00 00 00 04")
        .put("'m'*116 00 00 00 04 00 00 00 05")
        .put("'m'*116 00 00 00 05 00 00 00 06")
        .put("'m'*116 00 00 00 06 00 00 00 07")
        .put("'m'*116 00 00 00 07 00 00 00 08");
    idx.node(5)
        .put("00 7E")  // used 2 + 124
        .put("'m'*116 00 00 00 08 00 00 00 09");
    close();
    expectIndex(idx);
}

// At the very start of a leaf the serial is one more than that of the parent's entry before, whatever its key.
TEST_F(GoldenFlatSplit, SerialAtTheStartOfALeafComesFromTheParent) {
    build(116, keyDesc(ISDUPS, {{0, 116, CHARTYPE}}));
    long number = 1;
    for (char letter = 'b'; letter <= 'p'; letter = static_cast<char>(letter + 2))
        writeLetters(letter, letter, 116, number++);
    writeLetters('r', 'r', 116, 9);
    writeLetters('q', 'q', 116, 10);

    Image idx(5);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 74")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 0A"    // last record number
                "00 00 00 05"    // last node number
                "00 00 00 0B"    // change counter
                "00 00 00 01");  // unique id
    describeDuplicates(idx);
    idx.node(3)
        .put("00 FA")  // used 2 + 2 * 124
        .put("'p'*116 00 00 00 00 00 00 00 04")
        .put("'p'*116 00 00 00 00 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("03 E2")                            // used 2 + 8 * 124
        .put("'b'*116 00 00 00 00 00 00 00 01")  // key, serial, record number
        .put("'d'*116 00 00 00 00 00 00 00 02")
        .put("'f'*116 00 00 00 00 00 00 00 03")
        .put("'h'*116 00 00 00 00 00 00 00 04")
        .put("'j'*116 00 00 00 00 00 00 00 05")
        .put("'l'*116 00 00 00 00 00 00 00 06")
        .put("'n'*116 00 00 00 00 00 00 00 07")
        .put("'p'*116 00 00 00 00 00 00 00 08");
    idx.node(5)
        .put("00 FA")                            // used 2 + 2 * 124
        .put("'q'*116 00 00 00 01 00 00 00 0A")  // serial 0 of "p", plus 1
        .put("'r'*116 00 00 00 00 00 00 00 09");
    close();
    expectIndex(idx);
}

}  // namespace
}  // namespace golden
