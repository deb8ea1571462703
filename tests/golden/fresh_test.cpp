// Files as they are made, and files without a primary key.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenFresh : public GoldenTest {};

TEST_F(GoldenFresh, UniqueCharacterKey) {
    build(20, keyDesc(ISNODUPS, {{4, 8, CHARTYPE}}));

    Image idx(3);
    idx.node(1)
        .put("FE 53 02 02 04 04")  // fixed
        .put("03 FF")              // node size - 1
        .put("00 01")              // indexes
        .put("07")                 // fixed
        .put("04")                 // bytes of a duplicate serial
        .put("00")                 // reserved
        .put("00 14")              // record length
        .put("00 00 00 02")        // first description node
        .put("00*6")               // reserved
        .put("00 00 00 00")        // free record numbers
        .put("00 00 00 00")        // free nodes
        .put("00 00 00 00")        // last record number
        .put("00 00 00 03")        // last node number
        .put("00 00 00 01")        // change counter
        .put("00 00 00 01")        // unique id
        .put("00 00 00 00")        // audit node
        .put("00")                 // reserved
        .put("08")                 // fixed
        .put("00*4")               // reserved
        .put("00 00")              // longest variable record
        .put("00*20")              // space hash table
        .put("00*927")             // reserved
        .put("00*10")              // user information
        .put("00 00")              // flags
        .put("'kjsk'");            // trailer
    idx.node(2)
        .put("00 12")              // used
        .put("00 00 00 00")        // no next node
        .put("00 0C")              // length of this entry
        .put("00 00 00 03")        // root
        .put("00")                 // flags / 2
        .put("00 08")              // part length
        .put("00 04")              // part start
        .put("00")                 // part type
        .at(1020, "00 FF FE 00");  // mark, kind
    idx.node(3)
        .put("00 02")              // used
        .at(1020, "00 00 00 00");  // mark, level 0
    expectIndex(idx);
    expectData("");

    close();
    expectIndex(idx);
    expectData("");

    open();  // neither opening nor closing changes a byte
    close();
    expectIndex(idx);
    expectData("");
}

TEST_F(GoldenFresh, SeveralPartsOfAllTypes) {
    build(64, keyDesc(ISNODUPS, {{0, 2, INTTYPE},
                                 {2, 4, LONGTYPE | ISDESC},
                                 {6, 8, DOUBLETYPE},
                                 {14, 4, FLOATTYPE},
                                 {18, 2, MINTTYPE},
                                 {20, 4, MLONGTYPE | ISDESC},
                                 {24, 5, STRINGTYPE},
                                 {63, 1, CHARTYPE}}));
    Image idx(3);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 40")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 01"    // change counter
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 35 00 00 00 00")     // used 6 + 47, no next node
        .put("00 2F 00 00 00 03 00")  // entry of 7 + 8 * 5 bytes, root 3, flags
        .put("00 02 00 00 01")        // length, start, type of each part
        .put("00 04 00 02 82")        // 80: descending
        .put("00 08 00 06 03")
        .put("00 04 00 0E 04")
        .put("00 02 00 12 05")
        .put("00 04 00 14 86")
        .put("00 05 00 18 07")
        .put("00 01 00 3F 00");
    idx.node(3).put("00 02");
    expectIndex(idx);
}

TEST_F(GoldenFresh, WithoutPrimaryKey) {
    build(6, noKey());

    Image idx(2);
    idx.header()
        .at(8, "00 01")          // the description without parts counts
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number
                "00 00 00 02"    // last node number
                "00 00 00 01"    // change counter
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 0D")        // used
        .put("00 00 00 00")  // no next node
        .put("00 07")        // length of this entry
        .put("00 00 00 00")  // no root
        .put("00");          // flags / 2
    close();
    expectIndex(idx);
    expectData("");
}

TEST_F(GoldenFresh, IndexAddedToAndDroppedFromFileWithoutPrimaryKey) {
    build(6, noKey());
    write("'zebra '", 1);
    write("'ape   '", 2);
    addIndex(keyDesc(ISNODUPS, {{0, 6, CHARTYPE}}));

    Image idx(3);
    idx.header()
        .at(8, "00 02")          // indexes, the description without parts included
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 02"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 04"    // change counter: build, two records, index
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 19 00 00 00 00")     // used 6 + 7 + 12, no next node
        .put("00 07 00 00 00 00 00")  // no parts
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags
        .put("00 06 00 00 00");       // length, start, type
    idx.node(3)
        .put("00 16")                 // used 2 + 2 * 10
        .put("'ape   ' 00 00 00 02")  // key, record number
        .put("'zebra ' 00 00 00 01");
    expectIndex(idx);
    expectData("'zebra ' 0A 'ape   ' 0A");

    dropIndex(keyDesc(ISNODUPS, {{0, 6, CHARTYPE}}));

    Image dropped(3);
    dropped.header()
        .at(8, "00 01")          // the description without parts
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 03"    // free nodes: the old root
                "00 00 00 02"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 05"    // change counter
                "00 00 00 01");  // unique id
    dropped.description()
        .put("00 0D 00 00 00 00")                  // used, no next node
        .put("00 07 00 00 00 00 00");              // no parts; the rest is zero again
    dropped.freeList(3).put("00 06 00 00 00 00");  // used, no next node: holds no number but stands for its own
    close();
    expectIndex(dropped);
    expectData("'zebra ' 0A 'ape   ' 0A");
}

}  // namespace
}  // namespace golden
