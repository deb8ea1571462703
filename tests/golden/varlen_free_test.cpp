// Nodes of tails that are given back.
#include "varlen_test.h"

namespace golden {
namespace {

class GoldenVarlenFree : public VarlenTest {};

TEST_F(GoldenVarlenFree, LinkOfANodeInNoBucketMayGoStale) {
    build();
    writeTails();
    write("'x---' 'x'*190", 4);  // node 6 leaves the bucket and keeps its link to node 5
    erase(2);                    // node 5 goes to the free list, and from there to the free record numbers

    Counters counters;
    counters.free_records = "00 00 00 05";
    counters.last_record = "00 00 00 04";
    counters.last_node = "00 00 00 06";
    counters.changes = "00 00 00 06";
    Heads heads;
    heads.one = "00 00 00 04";
    Image idx = start(6, counters, heads);
    idx.node(3)
        .put("00 11")            // used 2 + 3 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'c' 00 00 00 03")
        .put("'x' 00 00 00 04");
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next, previous: alone
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'a'*600")
        .at(1017, "02 58 00 17");                          // slot: length, offset
    idx.freeList(5).put("00 0A 00 00 00 00 00 00 00 02");  // used, no next node, record 2
    idx.remnant(6)
        .put("00 00 00 05 00 00 00 00")  // next and previous as they were
        .put("00 C8 03 2D")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 00")                    // slots, bucket
        .put("'c'*600 'x'*190")
        .at(1017, "02 58 00 17")
        .at(1013, "00 BE 02 6F");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 02 58 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 00 02 58 00 00 00 05 "
               "'c---' 0A 02 58 00 00 00 06 "
               "'x---' 0A 00 BE 01 00 00 06");
}

TEST_F(GoldenVarlenFree, NodeGivenBackIsNotWrittenUntilItIsTakenAgain) {
    build();
    writeTails();
    erase(1);  // node 4, the oldest: becomes the list of free record numbers
    erase(3);  // node 6, the head: becomes the list of free nodes
    erase(2);  // node 5, alone by now: a number in node 6

    Counters counters;
    counters.free_records = "00 00 00 04";
    counters.free_nodes = "00 00 00 06";
    counters.last_record = "00 00 00 03";
    counters.last_node = "00 00 00 06";
    counters.changes = "00 00 00 07";
    Image freed = start(6, counters);
    freed.node(3).put("00 02");
    freed.freeList(4)
        .put("00 12 00 00 00 00")  // used 6 + 3 * 4, no next node
        .put("00 00 00 01")
        .put("00 00 00 03")
        .put("00 00 00 02");
    freed.remnant(5)
        .put("00 00 00 00 00 00 00 00")  // both neighbours took back their links
        .put("01 8A 02 6F")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'b'*600")
        .at(1017, "02 58 00 17");                            // slot: length, offset
    freed.freeList(6).put("00 0A 00 00 00 00 00 00 00 05");  // used, no next node, node 5
    expectIndex(freed);
    expectData("'a---' 00 02 58 00 00 00 04 "  // record, deleted; tail's length, slot, node
               "'b---' 00 02 58 00 00 00 05 "
               "'c---' 00 02 58 00 00 00 06");

    write("'z---' 'zzz'", 2);

    counters.changes = "00 00 00 08";
    Heads heads;
    heads.four = "00 00 00 05";
    Image taken = start(6, counters, heads);
    taken.node(3).put("00 07 'z' 00 00 00 02");  // used; key, record number
    taken.freeList(4)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 01")
        .put("00 00 00 03");
    taken.remnant(5)
        .put("00 00 00 00 00 00 00 00")  // next, previous
        .put("03 DF 00 1A")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'zzz'")                    // nothing of the old piece
        .at(1017, "00 03 00 17");
    taken.freeList(6).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(taken);
}

TEST_F(GoldenVarlenFree, LongTailIsGivenBackFromItsFirstPieceOn) {
    build();
    write("'a---' 'a'*994 'b'*994 'cc'", 1);
    erase(1);

    Counters counters;
    counters.free_records = "00 00 00 04";
    counters.free_nodes = "00 00 00 06";
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 06";
    counters.changes = "00 00 00 03";
    Image idx = start(6, counters);
    idx.node(3).put("00 02");
    idx.freeList(4).put("00 0A 00 00 00 00 00 00 00 01");  // used, no next node, record 1
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("00 00 00 04 01")  // went on in slot 0 of node 4
        .put("01 00")           // slots, bucket
        .put("'b'*994")
        .at(1017, "03 E2 00 17");
    idx.freeList(6).put("00 0A 00 00 00 00 00 00 00 05");  // used, no next node, node 5
    close();
    expectIndex(idx);
    expectData("'a---' 00 07 C6 00 00 00 06");  // record, deleted; tail's length, slot, node
}

TEST_F(GoldenVarlenFree, NodeIsGivenBackWithItsLastUsedSlot) {
    build();
    write("'a---' 'a'*20", 1);
    write("'b---' 'b'*30", 2);
    erase(1);  // cut out of node 4, which keeps both slots
    erase(2);

    Counters counters;
    counters.free_records = "00 00 00 05";
    counters.free_nodes = "00 00 00 04";
    counters.last_record = "00 00 00 02";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 05";
    Image idx = start(5, counters);
    idx.node(3).put("00 02");
    idx.freeList(4).put("00 06 00 00 00 00");  // used, no next node; nothing left of the tails
    idx.freeList(5)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 01")
        .put("00 00 00 02");
    close();
    expectIndex(idx);
    expectData("'a---' 00 00 14 00 00 00 04 "  // record, deleted; tail's length, slot, node
               "'b---' 00 00 1E 01 00 00 04");
}

TEST_F(GoldenVarlenFree, LongTailLeavesTheNodeThatItShares) {
    build();
    write("'a---' 'a'*3", 1);
    write("'b---' 'b'*994 'c'*2", 2);
    erase(2);

    Counters counters;
    counters.free_records = "00 00 00 05";
    counters.last_record = "00 00 00 02";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 04";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(5, counters, heads);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 DB 00 1A")              // free 998 - 8 - 3, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 04")                    // slots, bucket
        .put("'aaa'")
        .at(1017, "00 03 00 17")  // slots: length, offset
        .at(1013, "00 00 00 00");
    idx.freeList(5).put("00 0A 00 00 00 00 00 00 00 02");  // used, no next node, record 2
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 03 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 00 03 E4 00 00 00 05");
}

}  // namespace
}  // namespace golden
