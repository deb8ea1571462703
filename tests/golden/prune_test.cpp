// Emptied nodes: cut out of the parent, put on the list of free nodes, down to the empty tree.
#include "golden_test.h"

namespace golden {
namespace {

// Keys of 120 bytes, in ascending order: 8 in each leaf but the last.
class GoldenPrune : public GoldenTest {
  protected:
    void buildLetters(char last) {
        build(120, keyDesc(ISNODUPS, {{0, 120, CHARTYPE}}));
        writeLetters('a', last, 120, 1);
    }
    static void head(Image &idx, const char *free_records, const char *free_nodes, const char *records,
                     const char *nodes, const char *changes) {
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, "00 78")         // record length
            .at(25, free_records)    // free record numbers
            .at(29, free_nodes)      // free nodes
            .at(33, records)         // last record number
            .at(37, nodes)           // last node number
            .at(41, changes)         // change counter
            .at(45, "00 00 00 01");  // unique id
        idx.description()
            .put("00 12 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 78 00 00 00");       // length, start, type
    }
};

TEST_F(GoldenPrune, EmptiedLeafBecomesAFreeNode) {
    buildLetters('i');
    erase(8);
    erase(9);

    Image idx(6);
    head(idx, "00 00 00 06", "00 00 00 05", "00 00 00 09", "00 00 00 06", "00 00 00 0C");
    idx.node(3)
        .put("00 7E")  // used 2 + 124: the entry of node 5 is cut out
        .put("'h'*120 00 00 00 04")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("03 66")  // used 2 + 7 * 124
        .put("'a'*120 00 00 00 01")
        .put("'b'*120 00 00 00 02")
        .put("'c'*120 00 00 00 03")
        .put("'d'*120 00 00 00 04")
        .put("'e'*120 00 00 00 05")
        .put("'f'*120 00 00 00 06")
        .put("'g'*120 00 00 00 07");
    idx.freeList(5).put("00 06 00 00 00 00");  // the list of nodes: used, no next node
    idx.freeList(6)
        .put("00 0E 00 00 00 00")  // the list of record numbers: used 6 + 2 * 4, no next node
        .put("00 00 00 08")
        .put("00 00 00 09");
    close();
    expectIndex(idx);
    expectData("'a'*120 0A 'b'*120 0A 'c'*120 0A 'd'*120 0A 'e'*120 0A 'f'*120 0A 'g'*120 0A 'h'*120 00 'i'*120 00");
}

TEST_F(GoldenPrune, EmptiedLeafBecomesTheListOfFreeRecordNumbers) {
    buildLetters('i');
    erase(9);

    Image idx(5);
    head(idx, "00 00 00 05", "00 00 00 00", "00 00 00 09", "00 00 00 05", "00 00 00 0B");
    idx.node(3)
        .put("00 7E")  // used 2 + 124
        .put("'h'*120 00 00 00 04")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("03 E2")  // used 2 + 8 * 124
        .put("'a'*120 00 00 00 01")
        .put("'b'*120 00 00 00 02")
        .put("'c'*120 00 00 00 03")
        .put("'d'*120 00 00 00 04")
        .put("'e'*120 00 00 00 05")
        .put("'f'*120 00 00 00 06")
        .put("'g'*120 00 00 00 07")
        .put("'h'*120 00 00 00 08");
    idx.freeList(5)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 09");       // record 9
    close();
    expectIndex(idx);
    expectData("'a'*120 0A 'b'*120 0A 'c'*120 0A 'd'*120 0A 'e'*120 0A 'f'*120 0A 'g'*120 0A 'h'*120 0A 'i'*120 00");
}

TEST_F(GoldenPrune, SecondFreedNodeKeepsItsBytes) {
    buildLetters('q');
    erase(1);
    erase(17);     // node 5: the list of free nodes
    erase(9, 16);  // node 6: a number in that list

    Image idx(7);
    head(idx, "00 00 00 07", "00 00 00 05", "00 00 00 11", "00 00 00 07", "00 00 00 1C");
    idx.node(3)
        .put("00 7E")  // used 2 + 124
        .put("'h'*120 00 00 00 04")
        .at(1020, "00 00 01 00");  // level 1
    idx.node(4)
        .put("03 66")  // used 2 + 7 * 124
        .put("'b'*120 00 00 00 02")
        .put("'c'*120 00 00 00 03")
        .put("'d'*120 00 00 00 04")
        .put("'e'*120 00 00 00 05")
        .put("'f'*120 00 00 00 06")
        .put("'g'*120 00 00 00 07")
        .put("'h'*120 00 00 00 08");
    idx.freeList(5)
        .put("00 0A 00 00 00 00")  // the list of nodes: used 6 + 4, no next node
        .put("00 00 00 06");
    idx.node(6)
        .put("00 7E")  // as it was before its last entry went
        .put("'p'*120 00 00 00 10");
    idx.freeList(7)
        .put("00 2E 00 00 00 00")  // the list of record numbers: used 6 + 10 * 4, no next node
        .put("00 00 00 01 00 00 00 11")
        .put("00 00 00 09 00 00 00 0A 00 00 00 0B 00 00 00 0C")
        .put("00 00 00 0D 00 00 00 0E 00 00 00 0F 00 00 00 10");
    close();
    expectIndex(idx);
}

TEST_F(GoldenPrune, EmptiedTreeIsAnEmptyLeaf) {
    buildLetters('i');
    erase(1, 9);

    Image idx(6);
    head(idx, "00 00 00 06", "00 00 00 04", "00 00 00 09", "00 00 00 06", "00 00 00 13");
    idx.node(3)
        .put("00 02")              // used
        .at(1020, "00 00 00 00");  // level 0 again
    idx.freeList(4)
        .put("00 0A 00 00 00 00")  // the list of nodes: used 6 + 4, no next node
        .put("00 00 00 05");
    idx.node(5)
        .put("00 7E")  // never written empty
        .put("'i'*120 00 00 00 09");
    idx.freeList(6)
        .put("00 2A 00 00 00 00")  // the list of record numbers: used 6 + 9 * 4, no next node
        .put("00 00 00 01 00 00 00 02 00 00 00 03")
        .put("00 00 00 04 00 00 00 05 00 00 00 06")
        .put("00 00 00 07 00 00 00 08 00 00 00 09");
    close();
    expectIndex(idx);
    expectData("'a'*120 00 'b'*120 00 'c'*120 00 'd'*120 00 'e'*120 00 'f'*120 00 'g'*120 00 'h'*120 00 'i'*120 00");
}

}  // namespace
}  // namespace golden
