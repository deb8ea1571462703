// Tails of several records in one node: choice of the node, slots taken and freed, pieces moved.
#include "varlen_test.h"

namespace golden {
namespace {

class GoldenVarlenSharing : public VarlenTest {};

// Room is looked for from bucket (need + 3) / 200 + 1 on.
TEST_F(GoldenVarlenSharing, NodesAreChosenByBucket) {
    build();
    write("'a---' 'a'*10", 1);   // node 4, then 984 free: bucket 4
    write("'b---' 'b'*300", 2);  // from bucket 2 on: node 4, then 680 free: bucket 3
    write("'c---' 'c'*399", 3);  // from bucket 3 on: node 4, then 277 free: bucket 1
    write("'d---' 'd'*198", 4);  // from bucket 2 on: a new node, though node 4 has room
    write("'e---' 'e'*196", 5);  // from bucket 1 on: node 4, then 77 free: in no bucket

    Counters counters;
    counters.last_record = "00 00 00 05";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 06";
    Heads heads;
    heads.three = "00 00 00 05";
    Image idx = start(5, counters, heads);
    idx.node(3)
        .put("00 1B")            // used 2 + 5 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'c' 00 00 00 03")
        .put("'d' 00 00 00 04")
        .put("'e' 00 00 00 05");
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("00 4D 03 A0")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("04 00")                    // slots, bucket
        .put("'a'*10 'b'*300 'c'*399 'e'*196")
        .at(1017, "00 0A 00 17")  // slots: length, offset
        .at(1013, "01 2C 00 21")
        .at(1009, "01 8F 01 4D")
        .at(1005, "00 C4 02 DC");
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")
        .put("03 1C 00 DD")     // free, data end
        .put("00 00 00 00 00")  // goes on nowhere
        .put("01 03")           // slots, bucket
        .put("'d'*198")
        .at(1017, "00 C6 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 0A 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 0A 01 2C 01 00 00 04 "
               "'c---' 0A 01 8F 02 00 00 04 "
               "'d---' 0A 00 C6 00 00 00 05 "
               "'e---' 0A 00 C4 03 00 00 04");
}

TEST_F(GoldenVarlenSharing, FullNodeLeadsToItsSlot) {
    build();
    write("'a---' 'a'*3", 1);
    write("'b---' 'b'*994 'c'*2", 2);
    write("'d---' 'd'*5", 3);

    Counters counters;
    counters.last_record = "00 00 00 03";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 04";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(5, counters, heads);
    idx.node(3)
        .put("00 11")            // used 2 + 3 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02")
        .put("'d' 00 00 00 03");
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 D0 00 21")              // free 998 - 12 - 10, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("03 04")                    // slots, bucket
        .put("'aaaccddddd'")
        .at(1017, "00 03 00 17")  // slots: length, offset
        .at(1013, "00 02 00 1A")
        .at(1009, "00 05 00 1C");
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("01 00 00 04 01")  // goes on in slot 1 of node 4
        .put("01 00")           // slots, bucket
        .put("'b'*994")
        .at(1017, "03 E2 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 03 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 0A 03 E4 00 00 00 05 "
               "'d---' 0A 00 05 02 00 00 04");
}

TEST_F(GoldenVarlenSharing, FreedSlotsAreTakenFromTheHighestOn) {
    build();
    write("'a---' 'a'*10", 1);
    write("'b---' 'b'*11", 2);
    write("'c---' 'c'*12", 3);
    write("'d---' 'd'*13", 4);
    write("'e---' 'e'*14", 5);
    erase(2);
    erase(4);

    Counters counters;
    counters.free_records = "00 00 00 05";
    counters.last_record = "00 00 00 05";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 08";
    Heads heads;
    heads.four = "00 00 00 04";
    Image cut = start(5, counters, heads);
    cut.node(3)
        .put("00 11")            // used 2 + 3 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'c' 00 00 00 03")
        .put("'e' 00 00 00 05");
    cut.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 AE 00 3B")              // free 998 - 20 - 36, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("05 04")                    // slots: the table keeps its length; bucket
        .put("'a'*10 'c'*12 'e'*14")     // moved together, zeros behind
        .at(1017, "00 0A 00 17")         // slots: length, offset
        .at(1013, "00 00 00 00")
        .at(1009, "00 0C 00 21")
        .at(1005, "00 00 00 00")
        .at(1001, "00 0E 00 2D");
    cut.freeList(5)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 02")
        .put("00 00 00 04");
    expectIndex(cut);
    expectData("'a---' 0A 00 0A 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 00 00 0B 01 00 00 04 "  // deleted: all else stays
               "'c---' 0A 00 0C 02 00 00 04 "
               "'d---' 00 00 0D 03 00 00 04 "
               "'e---' 0A 00 0E 04 00 00 04");

    write("'f---' 'f'*7", 4);
    write("'g---' 'g'*8", 2);
    write("'h---' 'h'*9", 6);  // a new slot

    counters.free_records = "00 00 00 00";
    counters.free_nodes = "00 00 00 05";
    counters.last_record = "00 00 00 06";
    counters.changes = "00 00 00 0B";
    Image full = start(5, counters, heads);
    full.node(3)
        .put("00 20")            // used 2 + 6 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'c' 00 00 00 03")
        .put("'e' 00 00 00 05")
        .put("'f' 00 00 00 04")
        .put("'g' 00 00 00 02")
        .put("'h' 00 00 00 06");
    full.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 92 00 53")              // free 998 - 24 - 60, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("06 04")                    // slots, bucket
        .put("'a'*10 'c'*12 'e'*14 'f'*7 'g'*8 'h'*9")
        .at(1017, "00 0A 00 17")  // slots: length, offset
        .at(1013, "00 08 00 42")
        .at(1009, "00 0C 00 21")
        .at(1005, "00 07 00 3B")
        .at(1001, "00 0E 00 2D")
        .at(997, "00 09 00 4A");
    full.freeList(5).put("00 06 00 00 00 00");  // used, no next node
    close();
    expectIndex(full);
    expectData("'a---' 0A 00 0A 00 00 00 04 "
               "'g---' 0A 00 08 01 00 00 04 "
               "'c---' 0A 00 0C 02 00 00 04 "
               "'f---' 0A 00 07 03 00 00 04 "
               "'e---' 0A 00 0E 04 00 00 04 "
               "'h---' 0A 00 09 05 00 00 04");
}

TEST_F(GoldenVarlenSharing, LastPieceOfTheDataIsCutOff) {
    build();
    write("'a---' 'a'*20", 1);
    write("'b---' 'b'*30", 2);
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
        .put("03 CA 00 2B")              // free 998 - 8 - 20, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("02 04")                    // slots, bucket
        .put("'a'*20")
        .at(1017, "00 14 00 17")  // slots: length, offset
        .at(1013, "00 00 00 00");
    idx.freeList(5).put("00 0A 00 00 00 00 00 00 00 02");  // used, no next node, record 2
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 14 00 00 00 04 "  // record, present; tail's length, slot, node
               "'b---' 00 00 1E 01 00 00 04");
}

}  // namespace
}  // namespace golden
