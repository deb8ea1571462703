// Files that hold keys without records.
#include "golden_test.h"

#include <unistd.h>

namespace golden {
namespace {

class GoldenPureKey : public GoldenTest {};

TEST_F(GoldenPureKey, FreshFileHasNoDataFile) {
    build(0, keyDesc(ISNODUPS, {{0, 4, CHARTYPE}}));

    Image idx(3);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 00")         // no records
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 01"    // change counter
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags
        .put("00 04 00 00 00");       // length, start, type
    idx.node(3).put("00 02");
    close();
    expectIndex(idx);
    EXPECT_EQ(0, access(path(".idx").c_str(), F_OK));
    EXPECT_EQ(-1, access(path(".dat").c_str(), F_OK));
}

TEST_F(GoldenPureKey, KeysCarryTheCallersNumbers) {
    build(0, keyDesc(ISNODUPS, {{0, 4, CHARTYPE}}));
    writeKey("'bbbb'", 7);
    writeKey("'aaaa'", 5);
    writeKey("'cccc'", 0x12345);

    Image three(3);
    three.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 00")         // no records
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number: none was allocated
                "00 00 00 03"    // last node number
                "00 00 00 04"    // change counter: build, three keys
                "00 00 00 01");  // unique id
    three.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags
        .put("00 04 00 00 00");       // length, start, type
    three.node(3)
        .put("00 1A")               // used 2 + 3 * 8
        .put("'aaaa' 00 00 00 05")  // key, number
        .put("'bbbb' 00 00 00 07")
        .put("'cccc' 00 01 23 45");
    expectIndex(three);

    std::string gone = bytes("'aaaa'");
    ASSERT_EQ(0, isdelete(fd(), gone.data()));

    Image two(3);
    two.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 00")         // no records
        .at(25, "00 00 00 00"    // free record numbers: the number is the caller's
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 05"    // change counter
                "00 00 00 01");  // unique id
    two.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags
        .put("00 04 00 00 00");       // length, start, type
    two.node(3)
        .put("00 12")               // used 2 + 2 * 8
        .put("'bbbb' 00 00 00 07")  // moved down, the bytes behind are zero
        .put("'cccc' 00 01 23 45");
    close();
    expectIndex(two);
    EXPECT_EQ(-1, access(path(".dat").c_str(), F_OK));
}

}  // namespace
}  // namespace golden
