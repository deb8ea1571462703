// Records that carry a mask of the indexes they are left out of.
#include "golden_test.h"

namespace golden {
namespace {

class GoldenMask : public GoldenTest {
  protected:
    void mask(unsigned long bits) {
        // the low 32 bits count, also where a long has no more
        ASSERT_EQ(0, issetmask(fd(), static_cast<long>(static_cast<int>(bits))));
    }
};

TEST_F(GoldenMask, MaskStandsBehindTheStatusByte) {
    build(4, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}), ISMASK);
    addIndex(keyDesc(ISDUPS, {{2, 2, CHARTYPE}}));
    mask(0);
    write("'aaxx'", 1);
    mask(2);  // not in the second index
    write("'bbyy'", 2);
    mask(1);  // not in the first
    write("'cczz'", 3);
    mask(0x80000000);  // an index that nobody has
    write("'ddww'", 4);

    Image idx(4);
    idx.header()
        .at(8, "00 02")         // indexes
        .at(13, "00 04")        // record length
        .at(25, "00 00 00 00"   // free record numbers
                "00 00 00 00"   // free nodes
                "00 00 00 04"   // last record number
                "00 00 00 04"   // last node number
                "00 00 00 06"   // change counter
                "00 00 00 01")  // unique id
        .at(1018, "00 01");     // flags: masks
    idx.description()
        .put("00 1E 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00")        // length, start, type
        .put("00 0C 00 00 00 04 00")  // entry of 12 bytes, root 4, flags / 2
        .put("80 02 00 02 00");       // length with the top bit for duplicates, start, type
    idx.node(3)
        .put("00 14")             // used 2 + 3 * 6
        .put("'aa' 00 00 00 01")  // key, record number
        .put("'bb' 00 00 00 02")
        .put("'dd' 00 00 00 04");
    idx.node(4)
        .put("00 20")                         // used 2 + 3 * 10
        .put("'ww' 00 00 00 00 00 00 00 04")  // key, serial, record number
        .put("'xx' 00 00 00 00 00 00 00 01")
        .put("'zz' 00 00 00 00 00 00 00 03");
    expectIndex(idx);
    expectData("'aaxx' 0A 00 00 00 00 "  // record, present, mask
               "'bbyy' 0A 00 00 00 02 "
               "'cczz' 0A 00 00 00 01 "
               "'ddww' 0A 80 00 00 00");

    addIndex(keyDesc(ISDUPS, {{2, 2, CHARTYPE}}));  // index 2 is filled by bit 1 of the masks
    mask(0);
    std::string record = bytes("'cczz'");
    ASSERT_EQ(0, isrewrec(fd(), 3, record.data()));  // comes into the first index

    Image more(5);
    more.header()
        .at(8, "00 03")         // indexes
        .at(13, "00 04")        // record length
        .at(25, "00 00 00 00"   // free record numbers
                "00 00 00 00"   // free nodes
                "00 00 00 04"   // last record number
                "00 00 00 05"   // last node number
                "00 00 00 08"   // change counter
                "00 00 00 01")  // unique id
        .at(1018, "00 01");     // flags: masks
    more.description()
        .put("00 2A 00 00 00 00")     // used 6 + 3 * 12, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00")        // length, start, type
        .put("00 0C 00 00 00 04 00")  // entry of 12 bytes, root 4, flags / 2
        .put("80 02 00 02 00")        // length with the top bit for duplicates, start, type
        .put("00 0C 00 00 00 05 00")  // the same again with root 5
        .put("80 02 00 02 00");
    more.node(3)
        .put("00 1A")             // used 2 + 4 * 6
        .put("'aa' 00 00 00 01")  // key, record number
        .put("'bb' 00 00 00 02")
        .put("'cc' 00 00 00 03")
        .put("'dd' 00 00 00 04");
    more.node(4)
        .put("00 20")                         // used 2 + 3 * 10
        .put("'ww' 00 00 00 00 00 00 00 04")  // key, serial, record number
        .put("'xx' 00 00 00 00 00 00 00 01")
        .put("'zz' 00 00 00 00 00 00 00 03");
    more.node(5)
        .put("00 20")                         // used 2 + 3 * 10; record 2 has bit 1
        .put("'ww' 00 00 00 00 00 00 00 04")  // key, serial, record number
        .put("'xx' 00 00 00 00 00 00 00 01")
        .put("'zz' 00 00 00 00 00 00 00 03");
    close();
    expectIndex(more);
    expectData("'aaxx' 0A 00 00 00 00 "  // record, present, mask
               "'bbyy' 0A 00 00 00 02 "
               "'cczz' 0A 00 00 00 00 "  // the mask given to the rewrite
               "'ddww' 0A 80 00 00 00");
}

}  // namespace
}  // namespace golden
