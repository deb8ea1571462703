// Dropped indexes: the order of their nodes in the list of free nodes, and the description node.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenDropIndex : public GoldenTest {
  protected:
    static constexpr const char *kNine =
        "'01' 'a'*120 0A '02' 'b'*120 0A '03' 'c'*120 0A '04' 'd'*120 0A '05' 'e'*120 0A "
        "'06' 'f'*120 0A '07' 'g'*120 0A '08' 'h'*120 0A '09' 'i'*120 0A";

    // The primary key's root, with nine records.
    static void putPrimary(Image &idx) {
        idx.node(3)
            .put("00 38")             // used 2 + 9 * 6
            .put("'01' 00 00 00 01")  // key, record number
            .put("'02' 00 00 00 02")
            .put("'03' 00 00 00 03")
            .put("'04' 00 00 00 04")
            .put("'05' 00 00 00 05")
            .put("'06' 00 00 00 06")
            .put("'07' 00 00 00 07")
            .put("'08' 00 00 00 08")
            .put("'09' 00 00 00 09");
    }
};

TEST_F(GoldenDropIndex, ChildrenAreFreedInOrderAndTheRootLast) {
    const KeyDesc second = keyDesc(ISNODUPS, {{2, 120, CHARTYPE}});
    build(122, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}));
    addIndex(second);
    for (int n = 1; n <= 9; ++n)
        write("'0" + std::to_string(n) + "' '" + static_cast<char>('a' + n - 1) + "'*120", n);
    dropIndex(second);

    Image dropped(6);
    dropped.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 7A")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 05"    // free nodes: node 5
                "00 00 00 09"    // last record number
                "00 00 00 06"    // last node number
                "00 00 00 0C"    // change counter
                "00 00 00 01");  // unique id
    dropped.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00");       // length, start, type; the second entry is zeroed
    putPrimary(dropped);
    dropped.node(4)
        .put("00 FA")  // the old root, as it was
        .put("'h'*120 00 00 00 05")
        .put("'h'*120 00 00 00 06")
        .at(1020, "00 00 01 00");  // level 1
    dropped.freeList(5)
        .put("00 0E 00 00 00 00")  // the left leaf, freed first: used 6 + 2 * 4, no next node
        .put("00 00 00 06")        // the right leaf
        .put("00 00 00 04");       // the root
    dropped.node(6)
        .put("00 7E")  // as it was
        .put("'i'*120 00 00 00 09");
    expectIndex(dropped);
    expectData(kNine);

    addIndex(second);  // takes the nodes back: root 4, left leaf 6, right leaf 5

    Image again(6);
    again.header()
        .at(8, "00 02")          // indexes
        .at(13, "00 7A")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes: none
                "00 00 00 09"    // last record number
                "00 00 00 06"    // last node number
                "00 00 00 0D"    // change counter
                "00 00 00 01");  // unique id
    again.description()
        .put("00 1E 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00")        // length, start, type
        .put("00 0C 00 00 00 04 00")  // entry of 12 bytes, root 4, flags / 2
        .put("00 78 00 02 00");       // length, start, type
    putPrimary(again);
    again.node(4)
        .put("00 FA")  // used 2 + 2 * 124
        .put("'h'*120 00 00 00 06")
        .put("'h'*120 00 00 00 05")
        .at(1020, "00 00 01 00");  // level 1
    again.node(5)
        .put("00 7E")  // used 2 + 124
        .put("'i'*120 00 00 00 09")
        .at(1020, "00 00 00 00");  // the mark of the list is gone
    again.node(6)
        .put("03 E2")  // used 2 + 8 * 124
        .put("'a'*120 00 00 00 01")
        .put("'b'*120 00 00 00 02")
        .put("'c'*120 00 00 00 03")
        .put("'d'*120 00 00 00 04")
        .put("'e'*120 00 00 00 05")
        .put("'f'*120 00 00 00 06")
        .put("'g'*120 00 00 00 07")
        .put("'h'*120 00 00 00 08");
    close();
    expectIndex(again);
    expectData(kNine);
}

// A unique index over records with equal keys: the new root goes to the list of free nodes, the rest is as before.
TEST_F(GoldenDropIndex, FailedAddTakesItselfBack) {
    build(4, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}));
    write("'01xx'", 1);
    write("'02yy'", 2);
    write("'03xx'", 3);
    KeyDesc unique = keyDesc(ISNODUPS, {{2, 2, CHARTYPE}});
    ASSERT_EQ(-1, isaddindex(fd(), &unique));
    ASSERT_EQ(ISERR_DUPLICATE, iserrno);

    Image idx(4);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 04")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 04"    // free nodes: the new root
                "00 00 00 03"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 05"    // change counter: build, three records, what was taken back
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00");       // length, start, type; zero behind
    idx.node(3)
        .put("00 14")             // used 2 + 3 * 6
        .put("'01' 00 00 00 01")  // key, record number
        .put("'02' 00 00 00 02")
        .put("'03' 00 00 00 03");
    idx.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(idx);
    expectData("'01xx' 0A '02yy' 0A '03xx' 0A");
}

TEST_F(GoldenDropIndex, DescriptionsBehindMoveDown) {
    build(6, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}));
    addIndex(keyDesc(ISDUPS, {{2, 2, CHARTYPE}}));
    addIndex(keyDesc(ISNODUPS, {{4, 2, CHARTYPE | ISDESC}}));
    dropIndex(keyDesc(ISNODUPS, {{2, 2, CHARTYPE}}));  // flags for duplicates do not count

    Image idx(5);
    idx.header()
        .at(8, "00 02")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 04"    // free nodes: the dropped root
                "00 00 00 00"    // last record number
                "00 00 00 05"    // last node number
                "00 00 00 04"    // change counter
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 1E 00 00 00 00")     // used 6 + 2 * 12, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00")        // length, start, type
        .put("00 0C 00 00 00 05 00")  // the third one, root 5
        .put("00 02 00 04 80");       // length, start, descending; zero behind
    idx.node(3).put("00 02");
    idx.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    idx.node(5).put("00 02");
    close();
    expectIndex(idx);
    expectData("");
}

}  // namespace
}  // namespace golden
