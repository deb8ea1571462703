// Serials of repeated keys in an index without compression.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenDuplicates : public GoldenTest {};

TEST_F(GoldenDuplicates, SerialsFollowTheOrderOfWriting) {
    build(4, keyDesc(ISDUPS, {{0, 3, CHARTYPE}}));
    write("'kiwA'", 1);
    write("'figB'", 2);
    write("'kiwC'", 3);
    write("'kiwD'", 4);
    write("'figE'", 5);

    Image five(3);
    five.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 04")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 06"    // change counter
                "00 00 00 01");  // unique id
    five.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("80 03 00 00 00");       // length with the top bit for duplicates, start, type
    five.node(3)
        .put("00 39")                          // used 2 + 5 * 11
        .put("'fig' 00 00 00 00 00 00 00 02")  // key, serial, record number
        .put("'fig' 00 00 00 01 00 00 00 05")
        .put("'kiw' 00 00 00 00 00 00 00 01")
        .put("'kiw' 00 00 00 01 00 00 00 03")
        .put("'kiw' 00 00 00 02 00 00 00 04");
    expectIndex(five);
    expectData("'kiwA' 0A 'figB' 0A 'kiwC' 0A 'kiwD' 0A 'figE' 0A");

    erase(3);

    Image four(4);
    four.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 04")         // record length
        .at(25, "00 00 00 04"    // free record numbers: node 4
                "00 00 00 00"    // free nodes
                "00 00 00 05"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 07"    // change counter
                "00 00 00 01");  // unique id
    four.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("80 03 00 00 00");       // length with the top bit for duplicates, start, type
    four.node(3)
        .put("00 2E")                          // used 2 + 4 * 11
        .put("'fig' 00 00 00 00 00 00 00 02")  // key, serial, record number
        .put("'fig' 00 00 00 01 00 00 00 05")
        .put("'kiw' 00 00 00 00 00 00 00 01")
        .put("'kiw' 00 00 00 02 00 00 00 04");  // serials stay, with a gap
    four.freeList(4)
        .put("00 0A 00 00 00 00")  // used 6 + 4, no next node
        .put("00 00 00 03");       // record 3
    expectIndex(four);
    expectData("'kiwA' 0A 'figB' 0A 'kiwC' 00 'kiwD' 0A 'figE' 0A");

    write("'kiwF'", 3);

    Image again(4);
    again.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 04")         // record length
        .at(25, "00 00 00 00"    // free record numbers: none any more
                "00 00 00 04"    // free nodes: the spent list node
                "00 00 00 05"    // last record number
                "00 00 00 04"    // last node number
                "00 00 00 08"    // change counter
                "00 00 00 01");  // unique id
    again.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("80 03 00 00 00");       // length with the top bit for duplicates, start, type
    again.node(3)
        .put("00 39")                          // used 2 + 5 * 11
        .put("'fig' 00 00 00 00 00 00 00 02")  // key, serial, record number
        .put("'fig' 00 00 00 01 00 00 00 05")
        .put("'kiw' 00 00 00 00 00 00 00 01")
        .put("'kiw' 00 00 00 02 00 00 00 04")
        .put("'kiw' 00 00 00 03 00 00 00 03");   // one more than the serial before
    again.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(again);
    expectData("'kiwA' 0A 'figB' 0A 'kiwF' 0A 'kiwD' 0A 'figE' 0A");
}

}  // namespace
}  // namespace golden
