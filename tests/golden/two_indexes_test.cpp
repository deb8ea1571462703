// A primary key on a number and a second index with duplicates, added before or after the records.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenTwoIndexes : public GoldenTest {
  protected:
    // Both ways end in the same bytes: build, index and two records in either order.
    void expectBoth() {
        Image idx(4);
        idx.header()
            .at(8, "00 02")          // indexes
            .at(13, "00 0A")         // record length
            .at(25, "00 00 00 00"    // free record numbers
                    "00 00 00 00"    // free nodes
                    "00 00 00 02"    // last record number
                    "00 00 00 04"    // last node number
                    "00 00 00 04"    // change counter
                    "00 00 00 01");  // unique id
        idx.description()
            .put("00 1E 00 00 00 00")     // used 6 + 12 + 12, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 04 00 00 02")        // length, start, type: long
            .put("00 0C 00 00 00 04 00")  // entry of 12 bytes, root 4, flags / 2
            .put("80 06 00 04 00");       // length with the top bit for duplicates, start, type
        idx.node(3)
            .put("00 12")                     // used 2 + 2 * 8
            .put("FF FF FF FF 00 00 00 02")   // -1 sorts first; record 2
            .put("00 00 01 02 00 00 00 01");  // 258, record 1
        idx.node(4)
            .put("00 1E")                             // used 2 + 2 * 14
            .put("'apple ' 00 00 00 00 00 00 00 02")  // key, serial, record number
            .put("'orange' 00 00 00 00 00 00 00 01");
        close();
        expectIndex(idx);
        expectData("00 00 01 02 'orange' 0A "   // record 1, present
                   "FF FF FF FF 'apple ' 0A");  // record 2
    }
};

TEST_F(GoldenTwoIndexes, SecondAddedBeforeTheRecords) {
    build(10, keyDesc(ISNODUPS, {{0, 4, LONGTYPE}}));
    addIndex(keyDesc(ISDUPS, {{4, 6, CHARTYPE}}));
    write("00 00 01 02 'orange'", 1);
    write("FF FF FF FF 'apple '", 2);
    expectBoth();
}

TEST_F(GoldenTwoIndexes, SecondAddedAfterTheRecords) {
    build(10, keyDesc(ISNODUPS, {{0, 4, LONGTYPE}}));
    write("00 00 01 02 'orange'", 1);
    write("FF FF FF FF 'apple '", 2);
    addIndex(keyDesc(ISDUPS, {{4, 6, CHARTYPE}}));
    expectBoth();
}

TEST_F(GoldenTwoIndexes, RefusedDuplicateChangesNoByte) {
    build(10, keyDesc(ISNODUPS, {{0, 4, LONGTYPE}}));
    addIndex(keyDesc(ISDUPS, {{4, 6, CHARTYPE}}));
    write("00 00 01 02 'orange'", 1);
    write("FF FF FF FF 'apple '", 2);
    std::string again = bytes("FF FF FF FF 'melon '");
    ASSERT_EQ(-1, iswrite(fd(), again.data()));
    ASSERT_EQ(ISERR_DUPLICATE, iserrno);
    expectBoth();
}

}  // namespace
}  // namespace golden
