// A file with variable-length records cloned, copied and clustered: its tails are laid out anew, one behind the other.
#include "cluster_test.h"
#include "varlen_test.h"

namespace golden {
namespace {

class GoldenClusterVarlen : public BesideTest<VarlenTest> {
  protected:
    void make(int more_mode = 0) {
        build(more_mode);
        write("'d---' 'd'*1100", 1);
        write("'b---'", 2);
        write("'c---' 'c'*300", 3);
        write("'x---' 'x'*2000", 4);
        write("'a---' 'a'*10", 5);
        erase(4);
    }
    // The index file when the records stand in the order of the keys.
    static Image byKey() {
        Counters counters;
        counters.last_record = "00 00 00 04";
        counters.last_node = "00 00 00 05";
        counters.changes = "00 00 00 02";  // build, copy
        Heads heads;
        heads.two = "00 00 00 04";
        Image idx = start(5, counters, heads);
        idx.node(3)
            .put("00 16")            // used 2 + 4 * 5
            .put("'a' 00 00 00 01")  // key, record number
            .put("'b' 00 00 00 02")
            .put("'c' 00 00 00 03")
            .put("'d' 00 00 00 04");
        // Node 4 takes the tail of a, then all of c's, since bucket 4 is the first that holds a node from bucket 2 on;
        // it moves to bucket 3, where the last 106 bytes of d's find it, and from there to bucket 2.
        idx.remnant(4)
            .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
            .put("02 3A 01 B7")              // free 998 - 3 * 4 - 416, data end 23 + 416
            .put("00 00 00 00 00")           // goes on nowhere
            .put("03 02")                    // slots, bucket
            .put("'a'*10 'c'*300 'd'*106")
            .at(1017, "00 0A 00 17")  // slots: length, offset
            .at(1013, "01 2C 00 21")
            .at(1009, "00 6A 01 4D");
        idx.remnant(5)
            .put("00 00 00 00 00 00 00 00")  // never filed
            .put("00 00 03 F9")              // free, data end
            .put("02 00 00 04 01")           // goes on in slot 2 of node 4
            .put("01 00")                    // slots, bucket
            .put("'d'*994")
            .at(1017, "03 E2 00 17");  // slot 0: length, offset
        return idx;
    }
    static constexpr std::string_view kByKey = "'a---' 0A 00 0A 00 00 00 04 "  // record, present; length, slot, node
                                               "'b---' 0A 00 00 00 00 00 00 "
                                               "'c---' 0A 01 2C 01 00 00 04 "
                                               "'d---' 0A 04 4C 00 00 00 05";
    static constexpr std::size_t kSlot = 11;
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1, CHARTYPE}});
};

TEST_F(GoldenClusterVarlen, Clone) {
    make();
    clone();
    Image idx = start(3, {});
    idx.node(3).put("00 02");
    expectBeside(idx, "", kSlot);
}

TEST_F(GoldenClusterVarlen, CloneOfACompressedFileWithMasks) {
    make(ISCOMPRESS | ISMASK);
    clone();
    Image idx = start(3, {}, {}, "00 05");  // flags: compressed, masks
    idx.node(3).put("00 02");
    expectBeside(idx, "", kSlot + 4);
}

TEST_F(GoldenClusterVarlen, Copy) {
    make();
    clone();
    copy(key);
    expectBeside(byKey(), kByKey, kSlot);
}

TEST_F(GoldenClusterVarlen, Cluster) {
    make(ISLOCKEXCL);
    cluster(key);
    close();
    expectIndex(byKey());
    expectData(kByKey);
}

}  // namespace
}  // namespace golden
