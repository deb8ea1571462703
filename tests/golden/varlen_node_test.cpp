// Tails of one record: how they are cut into pieces, and the nodes that hold these.
#include "varlen_test.h"

namespace golden {
namespace {

class GoldenVarlenNode : public VarlenTest {};

TEST_F(GoldenVarlenNode, FreshFiles) {
    build();
    Image plain = start(3, {});
    plain.node(3).put("00 02");
    expectIndex(plain);
    expectData("");
    close();
    expectIndex(plain);
    open();
    close();
    expectIndex(plain);
    expectData("");
}

TEST_F(GoldenVarlenNode, FreshFileWithItsMinimumInIsreclen) {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1, CHARTYPE}});
    isreclen = 4;
    const int built = isbuild(path("").c_str(), 32511, &key, ISINOUT | ISVARLEN);
    ASSERT_GE(built, 0) << iserrno;
    ASSERT_EQ(0, isclose(built));
    Image idx = start(3, {});
    idx.node(3).put("00 02");
    expectIndex(idx);
}

TEST_F(GoldenVarlenNode, FreshCompressedFile) {
    build(ISCOMPRESS);
    Image idx = start(3, {}, {}, "00 04");  // flags: compressed
    idx.node(3).put("00 02");
    close();
    expectIndex(idx);
}

TEST_F(GoldenVarlenNode, FreshCompressedFileWithMasks) {
    build(ISCOMPRESS | ISMASK);
    Image idx = start(3, {}, {}, "00 05");  // flags: compressed, masks
    idx.node(3).put("00 02");
    close();
    expectIndex(idx);
}

TEST_F(GoldenVarlenNode, TailOfOneByte) {
    build();
    write("'a---t'", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 04";
    counters.changes = "00 00 00 02";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(4, counters, heads);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 E1")                    // free: 998 - 4 - 1
        .put("00 18")                    // data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'t'")
        .at(1017, "00 01 00 17");  // slot 0: length, offset
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 01 00 00 00 04");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenNode, OneByteLessThanANodeTakes) {
    build();
    write("'a---' 't'*993", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 04";
    counters.changes = "00 00 00 02";
    Image idx = start(4, counters);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("00 01 03 F8")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 00")                    // slots, bucket
        .put("'t'*993")
        .at(1017, "03 E1 00 17");  // slot 0: length, offset
    close();
    expectIndex(idx);
    expectData("'a---' 0A 03 E1 00 00 00 04");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenNode, AsMuchAsANodeTakes) {
    build();
    write("'a---' 't'*994", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 04";
    counters.changes = "00 00 00 02";
    Image idx = start(4, counters);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("00 00 03 F9")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 00")                    // slots, bucket
        .put("'t'*994")
        .at(1017, "03 E2 00 17");  // slot 0: length, offset
    close();
    expectIndex(idx);
    expectData("'a---' 0A 03 E2 00 00 00 04");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenNode, LastByteGoesFirstIntoANodeToBeShared) {
    build();
    write("'a---' 't'*994 'u'", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 02";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(5, counters, heads);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 E1 00 18")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'u'")
        .at(1017, "00 01 00 17");  // slot 0: length, offset
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")  // never filed
        .put("00 00 03 F9")              // free, data end
        .put("00 00 00 04 01")           // goes on in slot 0 of node 4
        .put("01 00")                    // slots, bucket
        .put("'t'*994")
        .at(1017, "03 E2 00 17");  // slot 0: length, offset
    close();
    expectIndex(idx);
    expectData("'a---' 0A 03 E3 00 00 00 05");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenNode, TwoFullNodes) {
    build();
    write("'a---' 't'*994 'u'*994", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 02";
    Image idx = start(5, counters);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // never filed
        .put("00 00 03 F9")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 00")                    // slots, bucket
        .put("'u'*994")
        .at(1017, "03 E2 00 17");  // slot 0: length, offset
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("00 00 00 04 01")  // goes on in slot 0 of node 4
        .put("01 00")           // slots, bucket
        .put("'t'*994")
        .at(1017, "03 E2 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 07 C4 00 00 00 05");  // record, present; tail's length, slot, node
}

// 32507 bytes: 32 full pieces, told apart by a byte each, and 699 bytes.
TEST_F(GoldenVarlenNode, LongestTail) {
    build();
    std::string record = "'a---' ";
    for (unsigned long piece = 0; piece < 32; ++piece)
        record += be16(0xC0 + piece).substr(3) + "*994 ";
    write(record + "'z'*699", 1);

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 24";
    counters.changes = "00 00 00 02";
    Heads heads;
    heads.one = "00 00 00 04";
    Image idx = start(36, counters, heads);
    idx.node(3).put("00 07 'a' 00 00 00 01");  // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("01 27 02 D2")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 01")                    // slots, bucket
        .put("'z'*699")
        .at(1017, "02 BB 00 17");  // slot 0: length, offset
    for (unsigned long number = 5; number <= 36; ++number)
        idx.remnant(number)
            .put("00 00 00 00 00 00 00 00")
            .put("00 00 03 F9")            // free, data end
            .put(be32(number - 1) + "01")  // goes on in slot 0 of the node before
            .put("01 00")                  // slots, bucket
            .put(be16(0xC0 + 36 - number).substr(3) + "*994")
            .at(1017, "03 E2 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 7E FB 00 00 00 24");  // record, present; tail's length, slot, node
}

TEST_F(GoldenVarlenNode, ShortestRecordsHaveNoTail) {
    build();
    write("'a---'", 1);
    std::string shorter = "b---";
    isreclen = 2;  // counts as 4
    ASSERT_EQ(0, iswrite(fd(), shorter.data()));

    Counters counters;
    counters.last_record = "00 00 00 02";
    counters.changes = "00 00 00 03";
    Image idx = start(3, counters);
    idx.node(3)
        .put("00 0C")            // used 2 + 2 * 5
        .put("'a' 00 00 00 01")  // key, record number
        .put("'b' 00 00 00 02");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 00 00 00 00 00 "
               "'b---' 0A 00 00 00 00 00 00");
}

TEST_F(GoldenVarlenNode, MaskStandsLastInTheSlot) {
    build(ISMASK);
    ASSERT_EQ(0, issetmask(fd(), 0x01020304));  // indexes that the file does not have
    write("'a---tail'", 1);
    ASSERT_EQ(0, issetmask(fd(), 1));  // not in the index
    write("'b---'", 2);

    Counters counters;
    counters.last_record = "00 00 00 02";
    counters.last_node = "00 00 00 04";
    counters.changes = "00 00 00 03";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(4, counters, heads, "00 01");  // flags: masks
    idx.node(3).put("00 07 'a' 00 00 00 01");        // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 DE 00 1B")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'tail'")
        .at(1017, "00 04 00 17");  // slot 0: length, offset
    close();
    expectIndex(idx);
    expectData("'a---' 0A 00 04 00 00 00 04 01 02 03 04 "  // record, present; tail's length, slot, node; mask
               "'b---' 0A 00 00 00 00 00 00 00 00 00 01");
}

}  // namespace
}  // namespace golden
