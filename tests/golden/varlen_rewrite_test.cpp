// Rewritten records with variable length: the old tail goes before the new one is stored.
#include "varlen_test.h"

namespace golden {
namespace {

class GoldenVarlenRewrite : public VarlenTest {};

TEST_F(GoldenVarlenRewrite, SharedNodeKeepsTheSlot) {
    build();
    write("'a---' 'a'*10", 1);
    write("'b---' 'b'*20", 2);
    rewrite("'a+++' 'c'*5", 1);

    Counters counters;
    counters.last_record = "00 00 00 02";
    counters.last_node = "00 00 00 04";
    counters.changes = "00 00 00 04";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(4, counters, heads);
    idx.node(3)
        .put("00 0C")            // used 2 + 2 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02");
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 C5 00 30")              // free 998 - 8 - 25, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 04")                    // slots, bucket
        .put("'b'*20 'c'*5")
        .at(1017, "00 05 00 2B")  // slots: length, offset
        .at(1013, "00 14 00 17");
    close();
    expectIndex(idx);
    expectData("'a+++' 0A 00 05 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 0A 00 14 01 00 00 04");
}

TEST_F(GoldenVarlenRewrite, ShorterTailTakesOneOfTheFreedNodes) {
    build();
    write("'a---' 'x'*994 'y'", 1);
    rewrite("'a---' 'z'*10", 1);

    Counters counters;
    counters.free_nodes = "00 00 00 05";
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 03";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(5, counters, heads);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 D8 00 21")              // free 998 - 4 - 10, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'z'*10")
        .at(1017, "00 0A 00 17");              // slot: length, offset
    idx.freeList(5).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 0A 00 00 00 04");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenRewrite, TailThatGoesLeavesSixZeroBytes) {
    build();
    write("'a---' 'x'*994 'y'", 1);
    rewrite("'a---'", 1);

    Counters counters;
    counters.free_nodes = "00 00 00 05";
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 03";
    Image idx = start(5, counters);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)                             // free, as it was
        .put("00 00 00 00 00 00 00 00")
        .put("03 E1 00 18")     // free, data end
        .put("00 00 00 00 00")  // went on nowhere
        .put("01 04")           // slots, bucket
        .put("'y'")
        .at(1017, "00 01 00 17");                          // slot: length, offset
    idx.freeList(5).put("00 0A 00 00 00 00 00 00 00 04");  // used, no next node, node 4
    expectIndex(idx);
    expectData("'a---' 0A 00 00 00 00 00 00");

    rewrite("'a---' 'z'*994", 1);  // the number in the list goes first

    counters.changes = "00 00 00 04";
    Image again = start(5, counters);
    again.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    again.remnant(4)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("00 00 00 00 00")  // goes on nowhere
        .put("01 00")           // slots, bucket
        .put("'z'*994")
        .at(1017, "03 E2 00 17");                // slot: length, offset
    again.freeList(5).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(again);
    expectData("'a---' 0A 03 E2 00 00 00 04");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenRewrite, TailOfTheSameLengthTakesTheSameNodes) {
    build();
    write("'a---' 'r'*994 's'*994 'tt'", 1);
    rewrite("'a---' 'x'*994 'y'*994 'zz'", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 06";
    counters.changes = "00 00 00 03";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(6, counters, heads);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 E0 00 19")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'zz'")
        .at(1017, "00 02 00 17");  // slot: length, offset
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("00 00 00 04 01")  // goes on in slot 0 of node 4
        .put("01 00")           // slots, bucket
        .put("'y'*994")
        .at(1017, "03 E2 00 17");
    idx.remnant(6)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("00 00 00 05 01")  // goes on in slot 0 of node 5
        .put("01 00")           // slots, bucket
        .put("'x'*994")
        .at(1017, "03 E2 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 07 C6 00 00 00 06");  // record, present; tail's length, slot, node
}

// Both pieces of a node change: the tail that goes moves the node to bucket 4, the one that comes to bucket 3.
TEST_F(GoldenVarlenRewrite, NodeIsFiledTwice) {
    build();
    write("'a---' 'a'*600", 1);
    write("'b---' 'b'*600", 2);
    write("'c---' 'c'*80", 3);  // node 5, the head: 310 free
    rewrite("'b---' 'd'*250", 2);

    Counters counters;
    counters.last_record = "00 00 00 03";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 05";
    Heads heads;
    heads.one = "00 00 00 04";
    heads.four = "00 00 00 00";
    heads.three = "00 00 00 05";
    Image idx = start(5, counters, heads);
    idx.node(3)
        .put("00 11")            // used 2 + 3 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'c' 00 00 00 03");
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next, previous
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'a'*600")
        .at(1017, "02 58 00 17");  // slot: length, offset
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")  // next, previous
        .put("02 94 01 61")              // free 998 - 8 - 330, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 03")                    // slots, bucket
        .put("'c'*80 'd'*250")
        .at(1017, "00 FA 00 67")
        .at(1013, "00 50 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 02 58 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 0A 00 FA 00 00 00 05 "
               "'c---' 0A 00 50 01 00 00 05");
}

}  // namespace
}  // namespace golden
