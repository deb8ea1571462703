// An index that leaves null keys out.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenNullKey : public GoldenTest {};

TEST_F(GoldenNullKey, NullKeysAreNotIndexed) {
    build(6, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}));
    addIndex(keyDesc(ISDUPS | ISNULLKEY, {{2, 2, CHARTYPE | ISDESC, '*'}, {4, 2, INTTYPE, 0}}));
    write("'a1zz' 00 05", 1);
    write("'a2**' 00 00", 2);  // null in both parts
    write("'a3**' 00 01", 3);  // null in the first part alone
    write("'a4**' 00 00", 4);
    write("'a5aa' FF FF", 5);

    Image idx(4);
    idx.header()
        .at(8, "00 02")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 07"    // change counter
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 25 00 00 00 00")     // used 6 + 12 + 19, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00")        // length, start, type
        .put("00 13 00 00 00 04 10")  // entry of 7 + 2 * 6 bytes, root 4, flags / 2
        .put("80 02 00 02 2A 80")     // length with the top bit for duplicates, start, null byte '*', descending
        .put("00 02 00 04 00 01");    // length, start, null byte 0, integer
    idx.node(3)
        .put("00 20")             // used 2 + 5 * 6
        .put("'a1' 00 00 00 01")  // key, record number
        .put("'a2' 00 00 00 02")
        .put("'a3' 00 00 00 03")
        .put("'a4' 00 00 00 04")
        .put("'a5' 00 00 00 05");
    idx.node(4)
        .put("00 26")                               // used 2 + 3 * 12
        .put("'zz' 00 05 00 00 00 00 00 00 00 01")  // key, serial, record number; descending
        .put("'aa' FF FF 00 00 00 00 00 00 00 05")
        .put("'**' 00 01 00 00 00 00 00 00 00 03");
    expectIndex(idx);
    expectData("'a1zz' 00 05 0A 'a2**' 00 00 0A 'a3**' 00 01 0A 'a4**' 00 00 0A 'a5aa' FF FF 0A");

    erase(2);  // nothing to take out of the second index

    Image less(5);
    less.header()
        .at(8, "00 02")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 05"    // free record numbers: node 5
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 05"    // last node number
                "00 00 00 08"    // change counter
                "00 00 00 01");  // unique id
    less.description()
        .put("00 25 00 00 00 00")     // used 6 + 12 + 19, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00")        // length, start, type
        .put("00 13 00 00 00 04 10")  // entry of 7 + 2 * 6 bytes, root 4, flags / 2
        .put("80 02 00 02 2A 80")     // length with the top bit for duplicates, start, null byte '*', descending
        .put("00 02 00 04 00 01");    // length, start, null byte 0, integer
    less.node(3)
        .put("00 1A")             // used 2 + 4 * 6
        .put("'a1' 00 00 00 01")  // key, record number
        .put("'a3' 00 00 00 03")
        .put("'a4' 00 00 00 04")
        .put("'a5' 00 00 00 05");
    less.node(4)
        .put("00 26")                               // used 2 + 3 * 12
        .put("'zz' 00 05 00 00 00 00 00 00 00 01")  // key, serial, record number
        .put("'aa' FF FF 00 00 00 00 00 00 00 05")
        .put("'**' 00 01 00 00 00 00 00 00 00 03");
    less.freeList(5)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 02");       // record 2
    close();
    expectIndex(less);
    expectData("'a1zz' 00 05 0A 'a2**' 00 00 00 'a3**' 00 01 0A 'a4**' 00 00 0A 'a5aa' FF FF 0A");
}

}  // namespace
}  // namespace golden
