// Tails as compressed files store them.
#include "varlen_test.h"

namespace golden {
namespace {

// 64 bytes that are all different and never coded.
constexpr char kLiterals[] = "'ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz123456789!#$'";

// The first count of them as text.
std::string literals(std::size_t count) { return std::string(kLiterals).substr(0, count + 1) + "' "; }

class GoldenCoder : public VarlenTest {
  protected:
    void SetUp() override {
        build(ISCOMPRESS);
        write("'a---'", 1);
    }

    // Stores a tail in node 4, looks at the bytes there, and reads the record back.
    void expectStored(const std::string &tail, const std::string &stored) { expectStored(tail, stored, tail); }
    void expectStored(const std::string &tail, const std::string &stored, const std::string &back) {
        SCOPED_TRACE(tail);
        rewrite("'a---' " + tail, 1);
        const std::size_t length = bytes(stored).size();

        Image node(1);
        node.remnant(1)
            .put("00 00 00 00 00 00 00 00")                   // next and previous node of the bucket
            .put(be16(998 - 4 - length) + be16(23 + length))  // free, data end
            .put("00 00 00 00 00")                            // goes on nowhere
            .put("01" + be16((998 - 4 - length - 1) / 200).substr(3))
            .put(stored)
            .at(1017, be16(length) + "00 17");
        EXPECT_EQ("", difference(node.bytes(), content(true).substr(3 * kNodeSize), kNodeSize));
        expectData("'a---' 0A" + be16(length) + "00 00 00 04");

        std::string record(32511, '~');
        EXPECT_EQ(0, isread(fd(), record.data(), ISFIRST)) << "error " << iserrno;
        record.resize(static_cast<std::size_t>(isreclen));
        EXPECT_EQ("", difference(bytes("'a---' " + back), record, 64));
    }
};

TEST_F(GoldenCoder, OneRunHasNoBody) {
    expectStored("20*100", "BF A5 00");
    expectStored("00*9", "49 00");
    expectStored("'0'*33", "E1 00");
}

TEST_F(GoldenCoder, OtherBytesAreStoredRaw) {
    expectStored("'hello'", "00 00 05 'hello'");
    expectStored("'h'", "00 00 01 'h'");
    expectStored("20", "00 00 01 20");
    expectStored("'x'*300", "00 01 2C 'x'*300");
}

TEST_F(GoldenCoder, SavingMustBeGreaterThanTheHeader) {
    expectStored("'AB' 20*5 'C'", "00 00 08 'AB     C'");  // 4 saved, 4 bytes of header
    expectStored("'AB' 20*6 'C'", "02 86 01 00 'ABC'");    // 5 saved
    expectStored("20*3", "00 00 03 20*3");                 // 2 saved, 2 bytes of header
    expectStored("20*4", "84 00");
    expectStored("'x' 00*4", "00 00 05 'x' 00*4");  // 3 saved, 3 bytes of header
    expectStored("'x' 00*5", "01 45 00 'x'");
}

TEST_F(GoldenCoder, RunsAreCutAfter63Bytes) {
    expectStored("'0'*63", "FF 00");
    expectStored("'0'*64", "FF 01 00 '0'");  // a run of one is a literal
    expectStored("'0'*65", "FF C2 00");
    expectStored("20*126", "BF BF 00");
    expectStored("20*127 'x'", "BF BF 02 00 ' x'");
    expectStored("00*190", "7F 7F 7F 01 00 00");
}

TEST_F(GoldenCoder, AllFillBytes) {
    expectStored("00*4 20*4 '0'*4", "44 84 C4 00");
    expectStored("'a' '0'*6 'b' 20*7 'c' 00*8 'd'", "01 C6 01 87 01 48 01 00 'abcd'");
}

TEST_F(GoldenCoder, AlternatingFillBytes) {
    expectStored("'0 0 0 0 0 '", "00 00 0A '0 0 0 0 0 '");                      // no runs
    expectStored("00 00 20 20 '00' 00 00", "00 00 08 00 00 20 20 '00' 00 00");  // 4 saved, 5 bytes of header
    expectStored("00*3 20*3", "43 83 00");                                      // 4 saved, 3 bytes of header
    expectStored("'0 0 ' 20*9 '0 0'", "03 8A 03 00 '0 00 0'");
}

TEST_F(GoldenCoder, LiteralsAreCutAfter63Bytes) {
    expectStored(literals(64) + "'uvwxyz' 20*20", "3F 07 94 00" + literals(64) + "'uvwxyz'");
    // a run cannot begin behind 63 literals: its first byte is one more
    expectStored(literals(63) + "20*20", "3F 01 93 00" + literals(63) + "20");
    expectStored(literals(62) + "20*20", "3E 94 00" + literals(62));
}

TEST_F(GoldenCoder, UpTo63LiteralsAtTheEndAreKept) {
    expectStored("20*10" + literals(62), "8A 3E 00" + literals(62));
    expectStored("20*10" + literals(63), "8A 3F 00" + literals(63));
}

TEST_F(GoldenCoder, Exactly64LiteralsAtTheEndAreLost) {
    expectStored("20*10" + literals(64), "8A 40 00", "20*10");
    expectStored("'AB' 00*20" + literals(64), "02 54 40 00 'AB'", "'AB' 00*20");
    expectStored("00*20" + literals(63) + "20", "54 40 00", "00*20");  // a single blank is a literal as well
    // the second stretch of 64, the first one having been cut at 63
    expectStored("20*10" + literals(63) + literals(64), "8A 3F 40 00" + literals(63), "20*10" + literals(63));
}

TEST_F(GoldenCoder, MoreThan64LiteralsAtTheEndAreKept) {
    expectStored("20*10" + literals(64) + "'z'", "8A 3F 02 00" + literals(64) + "'z'");
    expectStored("00*20" + literals(63) + "20 20", "54 3F 02 00" + literals(63) + "20 20");
    // nothing is saved: raw, and nothing is lost
    expectStored(literals(64), "00 00 40" + literals(64));
}

TEST_F(GoldenCoder, StoredLengthDecidesThePieces) {
    rewrite("'a---' 'x'*994", 1);  // 997 bytes raw

    Counters counters;
    counters.last_record = "00 00 00 01";
    counters.last_node = "00 00 00 05";
    counters.changes = "00 00 00 03";
    Heads heads;
    heads.four = "00 00 00 04";
    Image idx = start(5, counters, heads, "00 04");  // flags: compressed
    idx.node(3).put("00 07 'a' 00 00 00 01");        // used; key, record number
    idx.remnant(4)
        .put("00 00 00 00 00 00 00 00")  // next and previous node of the bucket
        .put("03 DF 00 1A")              // free, data end
        .put("00 00 00 00 00")           // goes on nowhere
        .put("01 04")                    // slots, bucket
        .put("'xxx'")
        .at(1017, "00 03 00 17");  // slot: length, offset
    idx.remnant(5)
        .put("00 00 00 00 00 00 00 00")
        .put("00 00 03 F9")     // free, data end
        .put("00 00 00 04 01")  // goes on in slot 0 of node 4
        .put("01 00")           // slots, bucket
        .put("00 03 E2")
        .put("'x'*991")  // raw, length
        .at(1017, "03 E2 00 17");
    close();
    expectIndex(idx);
    expectData("'a---' 0A 03 E5 00 00 00 05");  // record, present; tail's length, slot, node
}

TEST_F(GoldenCoder, LongestTailDoesNotCompress) {
    rewrite("'a---' 'x'*32507", 1);  // 32510 bytes raw: 32 full nodes and 702 bytes

    const std::string idx = content(true);
    EXPECT_EQ(36 * kNodeSize, idx.size());
    // the first piece is in the last node
    EXPECT_EQ(bytes("00 7E FB 'x'*991"), idx.substr(35 * kNodeSize + 23, 994));
    EXPECT_EQ(bytes("01 24 02 D5"), idx.substr(3 * kNodeSize + 12, 4));  // free, data end of the first one
    expectData("'a---' 0A 7E FE 00 00 00 24");
}

}  // namespace
}  // namespace golden
