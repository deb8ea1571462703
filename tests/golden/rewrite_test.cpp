// Rewritten records: the slot always, an index only where its key changes.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenRewrite : public GoldenTest {
  protected:
    static void head(Image &idx, const char *changes) {
        idx.header()
            .at(8, "00 02")          // indexes
            .at(13, "00 06")         // record length
            .at(25, "00 00 00 00")   // free record numbers
            .at(29, "00 00 00 00")   // free nodes
            .at(33, "00 00 00 03")   // last record number
            .at(37, "00 00 00 04")   // last node number
            .at(41, changes)         // change counter
            .at(45, "00 00 00 01");  // unique id
        idx.description()
            .put("00 1E 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 01 00 00 00")        // length, start, type
            .put("00 0C 00 00 00 04 00")  // entry of 12 bytes, root 4, flags / 2
            .put("80 03 00 01 00");       // length with the top bit for duplicates, start, type
        idx.node(3)
            .put("00 11")  // used 2 + 3 * 5; the same in every step
            .put("'1' 00 00 00 01")
            .put("'2' 00 00 00 02")
            .put("'3' 00 00 00 03");
    }
};

TEST_F(GoldenRewrite, OnlyChangedKeysMove) {
    build(6, keyDesc(ISNODUPS, {{0, 1, CHARTYPE}}));
    addIndex(keyDesc(ISDUPS, {{1, 3, CHARTYPE}}));
    write("'1kiw--'", 1);
    write("'2kiw--'", 2);
    write("'3fig--'", 3);
    std::string record = bytes("'1kiw++'");
    ASSERT_EQ(0, isrewrite(fd(), record.data()));
    EXPECT_EQ(1, isrecnum);

    Image same(4);
    head(same, "00 00 00 06");
    same.node(4)
        .put("00 23")                          // used 2 + 3 * 11
        .put("'fig' 00 00 00 00 00 00 00 03")  // key, serial, record number
        .put("'kiw' 00 00 00 00 00 00 00 01")
        .put("'kiw' 00 00 00 01 00 00 00 02");
    expectIndex(same);
    expectData("'1kiw++' 0A '2kiw--' 0A '3fig--' 0A");

    record = bytes("'1fig++'");
    ASSERT_EQ(0, isrewrec(fd(), 1, record.data()));

    Image moved(4);
    head(moved, "00 00 00 07");
    moved.node(4)
        .put("00 23")  // used 2 + 3 * 11
        .put("'fig' 00 00 00 00 00 00 00 03")
        .put("'fig' 00 00 00 01 00 00 00 01")  // behind its equals
        .put("'kiw' 00 00 00 01 00 00 00 02");
    expectIndex(moved);
    expectData("'1fig++' 0A '2kiw--' 0A '3fig--' 0A");

    record = bytes("'1kiw++'");
    ASSERT_EQ(0, isrewrec(fd(), 1, record.data()));

    Image back(4);
    head(back, "00 00 00 08");
    back.node(4)
        .put("00 23")  // used 2 + 3 * 11
        .put("'fig' 00 00 00 00 00 00 00 03")
        .put("'kiw' 00 00 00 01 00 00 00 02")
        .put("'kiw' 00 00 00 02 00 00 00 01");  // not where it was
    close();
    expectIndex(back);
    expectData("'1kiw++' 0A '2kiw--' 0A '3fig--' 0A");
}

}  // namespace
}  // namespace golden
