// Deleted records: slot, list of free numbers, and their reuse.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenFreeList : public GoldenTest {
  protected:
    // Description node of a file with one unique index on bytes 0..3.
    static void describe(Image &idx) {
        idx.description()
            .put("00 12 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 04 00 00 00");       // length, start, type
    }
};

TEST_F(GoldenFreeList, NumbersAreReusedLastFreedFirst) {
    build(6, keyDesc(ISNODUPS, {{0, 4, CHARTYPE}}));
    write("'ant 01'", 1);
    write("'bee 02'", 2);
    write("'cat 03'", 3);
    write("'dog 04'", 4);
    write("'eel 05'", 5);
    std::string bee = bytes("'bee xx'");  // only the key counts
    ASSERT_EQ(0, isdelete(fd(), bee.data()));

    Image one(4);
    one.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 04"    // free record numbers: node 4
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 07"    // change counter
                "00 00 00 01");  // unique id
    describe(one);
    one.node(3)
        .put("00 22")               // used 2 + 4 * 8
        .put("'ant ' 00 00 00 01")  // key, record number
        .put("'cat ' 00 00 00 03")  // moved down
        .put("'dog ' 00 00 00 04")
        .put("'eel ' 00 00 00 05");
    one.freeList(4)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 02");       // record 2
    expectIndex(one);
    expectData("'ant 01' 0A "
               "'bee 02' 00 "  // the record's bytes stay
               "'cat 03' 0A 'dog 04' 0A 'eel 05' 0A");

    erase(4);
    erase(1);

    Image three(4);
    three.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 04"    // free record numbers: node 4
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 09"    // change counter
                "00 00 00 01");  // unique id
    describe(three);
    three.node(3)
        .put("00 12")               // used 2 + 2 * 8
        .put("'cat ' 00 00 00 03")  // key, record number
        .put("'eel ' 00 00 00 05");
    three.freeList(4)
        .put("00 12 00 00 00 00")  // used 6 + 3 * 4, no next node
        .put("00 00 00 02")        // in the order of deleting
        .put("00 00 00 04")
        .put("00 00 00 01");
    expectIndex(three);
    expectData("'ant 01' 00 'bee 02' 00 'cat 03' 0A 'dog 04' 00 'eel 05' 0A");

    write("'fox 06'", 1);

    Image two(4);
    two.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 04"    // free record numbers: node 4
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 0A"    // change counter
                "00 00 00 01");  // unique id
    describe(two);
    two.node(3)
        .put("00 1A")               // used 2 + 3 * 8
        .put("'cat ' 00 00 00 03")  // key, record number
        .put("'eel ' 00 00 00 05")
        .put("'fox ' 00 00 00 01");
    two.freeList(4)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 02")
        .put("00 00 00 04");  // the last number is zeroed
    expectIndex(two);
    expectData("'fox 06' 0A 'bee 02' 00 'cat 03' 0A 'dog 04' 00 'eel 05' 0A");

    write("'gnu 07'", 4);
    write("'hen 08'", 2);  // takes the last number: the list node becomes a free node
    write("'jay 09'", 6);

    Image none(4);
    none.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 00"    // free record numbers: none
                "00 00 00 04"    // free nodes: node 4
                "00 00 00 06"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 0D"    // change counter
                "00 00 00 01");  // unique id
    describe(none);
    none.node(3)
        .put("00 32")               // used 2 + 6 * 8
        .put("'cat ' 00 00 00 03")  // key, record number
        .put("'eel ' 00 00 00 05")
        .put("'fox ' 00 00 00 01")
        .put("'gnu ' 00 00 00 04")
        .put("'hen ' 00 00 00 02")
        .put("'jay ' 00 00 00 06");
    none.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(none);
    expectData("'fox 06' 0A 'hen 08' 0A 'cat 03' 0A 'gnu 07' 0A 'eel 05' 0A 'jay 09' 0A");
}

// A node takes numbers up to byte 1018: 253 of them.
TEST_F(GoldenFreeList, FullNodeGetsAPredecessor) {
    build(1, noKey());
    for (long n = 1; n <= 254; ++n)
        write("'x'", n);
    erase(1, 254);

    Image full(4);
    full.header()
        .at(8, "00 01")          // the description without parts
        .at(13, "00 01")         // record length
        .at(25, "00 00 00 04"    // free record numbers: node 4, which leads to node 3
                "00 00 00 00"    // free nodes
                "00 00 00 FE"    // last record number
                "00 00 00 04"    // last node number
                "00 00 01 FD"    // change counter: build, 254 writes, 254 deletes
                "00 00 00 01");  // unique id
    full.description()
        .put("00 0D 00 00 00 00")      // used, no next node
        .put("00 07 00 00 00 00 00");  // no parts
    NodeImage first = full.freeList(3);
    first.put("03 FA 00 00 00 00");  // used 6 + 253 * 4, no next node
    for (unsigned long n = 1; n <= 253; ++n)
        first.put(be32(n));
    full.freeList(4)
        .put("00 0A 00 00 00 03")  // used 6 + 4, next node 3
        .put("00 00 00 FE");       // record 254
    expectIndex(full);
    std::string slots;
    for (int n = 1; n <= 254; ++n)
        slots += "'x' 00 ";
    expectData(slots);

    write("'y'", 254);  // the newer node's only number: node 4 becomes a free node
    write("'z'", 253);

    Image less(4);
    less.header()
        .at(8, "00 01")          // the description without parts
        .at(13, "00 01")         // record length
        .at(25, "00 00 00 03"    // free record numbers: node 3
                "00 00 00 04"    // free nodes: node 4
                "00 00 00 FE"    // last record number
                "00 00 00 04"    // last node number
                "00 00 01 FF"    // change counter
                "00 00 00 01");  // unique id
    less.description()
        .put("00 0D 00 00 00 00")      // used, no next node
        .put("00 07 00 00 00 00 00");  // no parts
    NodeImage second = less.freeList(3);
    second.put("03 F6 00 00 00 00");  // used 6 + 252 * 4, no next node
    for (unsigned long n = 1; n <= 252; ++n)
        second.put(be32(n));
    less.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(less);
    slots.clear();
    for (int n = 1; n <= 252; ++n)
        slots += "'x' 00 ";
    expectData(slots + "'z' 0A 'y' 0A");
}

}  // namespace
}  // namespace golden
