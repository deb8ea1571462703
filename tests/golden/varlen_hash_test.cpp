// The lists of nodes with room: filing, refiling and leaving them.
#include "varlen_test.h"

namespace golden {
namespace {

class GoldenVarlenHash : public VarlenTest {};

TEST_F(GoldenVarlenHash, NodeInTheMiddleMovesToAnotherBucket) {
    build();
    write("'a---' 'a'*600", 1);
    write("'b---' 'b'*100", 2);  // node 4: 290 free, bucket 1 still
    write("'c---' 'c'*600", 3);
    write("'d---' 'd'*90", 4);  // node 5, the head: 300 free
    write("'e---' 'e'*600", 5);

    Counters counters;
    counters.last_record = "00 00 00 05";
    counters.last_node = "00 00 00 06";
    counters.changes = "00 00 00 06";
    Heads heads;
    heads.one = "00 00 00 06";
    Image filed = start(6, counters, heads);
    filed.node(3)
        .put("00 1B")            // used 2 + 5 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'c' 00 00 00 03")
        .put("'d' 00 00 00 04")
        .put("'e' 00 00 00 05");
    filed.remnant(4)
        .put("00 00 00 00 00 00 00 05")  // the oldest: next, previous
        .put("01 22 02 D3")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'a'*600 'b'*100")
        .at(1017, "02 58 00 17")  // slots: length, offset
        .at(1013, "00 64 02 6F");
    filed.remnant(5)
        .put("00 00 00 04 00 00 00 06")  // next, previous
        .put("01 2C 02 C9")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'c'*600 'd'*90")
        .at(1017, "02 58 00 17")
        .at(1013, "00 5A 02 6F");
    filed.remnant(6)
        .put("00 00 00 05 00 00 00 00")  // the head: next, previous
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'e'*600")
        .at(1017, "02 58 00 17");
    expectIndex(filed);

    erase(3);  // node 5: 900 free, bucket 4

    counters.free_records = "00 00 00 07";
    counters.last_node = "00 00 00 07";
    counters.changes = "00 00 00 07";
    heads.four = "00 00 00 05";
    Image moved = start(7, counters, heads);
    moved.node(3)
        .put("00 16")            // used 2 + 4 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'d' 00 00 00 04")
        .put("'e' 00 00 00 05");
    moved.remnant(4)
        .put("00 00 00 00 00 00 00 06")  // next, previous: past node 5
        .put("01 22 02 D3")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'a'*600 'b'*100")
        .at(1017, "02 58 00 17")  // slots: length, offset
        .at(1013, "00 64 02 6F");
    moved.remnant(5)
        .put("00 00 00 00 00 00 00 00")  // alone: next, previous
        .put("03 84 00 71")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 04")                    // slots, bucket
        .put("'d'*90")                   // moved down, zeros behind
        .at(1017, "00 00 00 00")
        .at(1013, "00 5A 00 17");
    moved.remnant(6)
        .put("00 00 00 04 00 00 00 00")  // next: past node 5; previous
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'e'*600")
        .at(1017, "02 58 00 17");
    moved.freeList(7).put("00 0A 00 00 00 00 00 00 00 03");  // used, no next node, record 3
    expectIndex(moved);

    write("'f---' 'f'*200", 3);  // from bucket 2 on: node 5, then 700 free: bucket 3

    counters.free_records = "00 00 00 00";
    counters.free_nodes = "00 00 00 07";
    counters.changes = "00 00 00 08";
    heads.three = "00 00 00 05";
    heads.four = "00 00 00 00";
    Image reused = start(7, counters, heads);
    reused.node(3)
        .put("00 1B")            // used 2 + 5 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'d' 00 00 00 04")
        .put("'e' 00 00 00 05")
        .put("'f' 00 00 00 03");
    reused.remnant(4)
        .put("00 00 00 00 00 00 00 06")  // next, previous
        .put("01 22 02 D3")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'a'*600 'b'*100")
        .at(1017, "02 58 00 17")  // slots: length, offset
        .at(1013, "00 64 02 6F");
    reused.remnant(5)
        .put("00 00 00 00 00 00 00 00")  // next, previous
        .put("02 BC 01 39")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 03")                    // slots, bucket
        .put("'d'*90 'f'*200")
        .at(1017, "00 C8 00 71")
        .at(1013, "00 5A 00 17");
    reused.remnant(6)
        .put("00 00 00 04 00 00 00 00")  // next, previous
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'e'*600")
        .at(1017, "02 58 00 17");
    reused.freeList(7).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(reused);
    expectData("'a---' 0A 02 58 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 0A 00 64 01 00 00 04 "
               "'f---' 0A 00 C8 00 00 00 05 "
               "'d---' 0A 00 5A 01 00 00 05 "
               "'e---' 0A 02 58 00 00 00 06");
}

TEST_F(GoldenVarlenHash, HeadThatLeavesKeepsItsLinks) {
    build();
    writeTails();
    write("'x---' 'x'*190", 4);  // node 6: 200 free, in no bucket; node 5 is the head
    write("'y---' 'y'*189", 5);  // node 5: 201 free, bucket 1 still

    Counters counters;
    counters.last_record = "00 00 00 05";
    counters.last_node = "00 00 00 06";
    counters.changes = "00 00 00 06";
    Heads heads;
    heads.one = "00 00 00 05";
    Image left = start(6, counters, heads);
    left.node(3)
        .put("00 1B")            // used 2 + 5 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'c' 00 00 00 03")
        .put("'x' 00 00 00 04")
        .put("'y' 00 00 00 05");
    left.remnant(4)
        .put("00 00 00 00 00 00 00 05")  // next, previous
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'a'*600")
        .at(1017, "02 58 00 17");  // slot: length, offset
    left.remnant(5)
        .put("00 00 00 04 00 00 00 00")  // next, previous: head now
        .put("00 C9 03 2C")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'b'*600 'y'*189")
        .at(1017, "02 58 00 17")
        .at(1013, "00 BD 02 6F");
    left.remnant(6)
        .put("00 00 00 05 00 00 00 00")  // next and previous as they were
        .put("00 C8 03 2D")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 00")                    // slots, bucket
        .put("'c'*600 'x'*190")
        .at(1017, "02 58 00 17")
        .at(1013, "00 BE 02 6F");
    expectIndex(left);

    erase(4);  // node 6 has 390 free and comes back in front

    counters.free_records = "00 00 00 07";
    counters.last_node = "00 00 00 07";
    counters.changes = "00 00 00 07";
    heads.one = "00 00 00 06";
    Image back = start(7, counters, heads);
    back.node(3)
        .put("00 16")            // used 2 + 4 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'c' 00 00 00 03")
        .put("'y' 00 00 00 05");
    back.remnant(4)
        .put("00 00 00 00 00 00 00 05")  // next, previous
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'a'*600")
        .at(1017, "02 58 00 17");  // slot: length, offset
    back.remnant(5)
        .put("00 00 00 04 00 00 00 06")  // next, previous
        .put("00 C9 03 2C")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'b'*600 'y'*189")
        .at(1017, "02 58 00 17")
        .at(1013, "00 BD 02 6F");
    back.remnant(6)
        .put("00 00 00 05 00 00 00 00")  // next, previous
        .put("01 86 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 01")                    // slots, bucket
        .put("'c'*600")
        .at(1017, "02 58 00 17")
        .at(1013, "00 00 00 00");
    back.freeList(7).put("00 0A 00 00 00 00 00 00 00 04");  // used, no next node, record 4
    close();
    expectIndex(back);
}

}  // namespace
}  // namespace golden
