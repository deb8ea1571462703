// What the header keeps besides the free lists: precious mode, user information, unique id, record numbers.
#include "golden_test.h"

#include <cstring>

namespace golden {
namespace {

class GoldenHeaderState : public GoldenTest {
  protected:
    static void describe(Image &idx) {
        idx.description()
            .put("00 12 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 04 00 00 00");       // length, start, type
    }
};

TEST_F(GoldenHeaderState, EveryChangingCallRaisesTheCounterByOne) {
    build(4, keyDesc(ISNODUPS, {{0, 4, CHARTYPE}}));  // counter 1
    write("'aaaa'", 1);
    write("'bbbb'", 2);
    erase(1);                           // 4
    ASSERT_EQ(0, isprecious(fd(), 1));  // 5: the list of record numbers is given up
    char info[] = "user bytes";
    ASSERT_EQ(0, isuserinfo(fd(), 1, info));      // 6
    ASSERT_EQ(0, issetunique(fd(), 0x01020304));  // 7
    long id = 0;
    ASSERT_EQ(0, isuniqueid(fd(), &id));  // 8
    EXPECT_EQ(0x01020304, id);
    write("'cccc'", 3);  // 9: number 1 is not used again
    erase(3);            // 10
    // refused calls and reading calls leave it alone
    std::string again = bytes("'bbbb'");
    EXPECT_EQ(-1, iswrite(fd(), again.data()));
    EXPECT_EQ(-1, isdelrec(fd(), 3));
    EXPECT_EQ(0, isread(fd(), again.data(), ISFIRST));
    char back[sizeof info] = "";
    EXPECT_EQ(0, isuserinfo(fd(), 0, back));
    EXPECT_STREQ(info, back);

    Image precious(4);
    precious.header()
        .at(8, "00 01")            // indexes
        .at(13, "00 04")           // record length
        .at(25, "00 00 00 00"      // free record numbers: not kept
                "00 00 00 04"      // free nodes: the former list of record numbers
                "00 00 00 03"      // last record number
                "00 00 00 04"      // last node number
                "00 00 00 0A"      // change counter
                "01 02 03 05")     // unique id
        .at(1008, "'user bytes'")  // user information
        .at(1018, "00 02");        // flags: precious
    describe(precious);
    precious.node(3)
        .put("00 0A")  // used 2 + 8
        .put("'bbbb' 00 00 00 02");
    precious.freeList(4).put("00 06 00 00 00 00");  // used, no next node
    expectIndex(precious);
    expectData("'aaaa' 00 'bbbb' 0A 'cccc' 00");

    ASSERT_EQ(0, isprecious(fd(), 0));    // 11: deleted numbers from the highest down
    ASSERT_EQ(0, issetlastrec(fd(), 9));  // 12
    long last = 0;
    ASSERT_EQ(0, islastrec(fd(), &last));  // 13
    EXPECT_EQ(10, last);

    Image plain(4);
    plain.header()
        .at(8, "00 01")            // indexes
        .at(13, "00 04")           // record length
        .at(25, "00 00 00 04"      // free record numbers: node 4 once more
                "00 00 00 00"      // free nodes
                "00 00 00 0A"      // last record number
                "00 00 00 04"      // last node number
                "00 00 00 0D"      // change counter
                "01 02 03 05")     // unique id
        .at(1008, "'user bytes'")  // user information
        .at(1018, "00 00");        // flags
    describe(plain);
    plain.node(3)
        .put("00 0A")  // used 2 + 8
        .put("'bbbb' 00 00 00 02");
    plain.freeList(4)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 03")
        .put("00 00 00 01");
    close();
    expectIndex(plain);
    expectData("'aaaa' 00 'bbbb' 0A 'cccc' 00");
}

TEST_F(GoldenHeaderState, UniqueIdWrapsToOne) {
    build(4, keyDesc(ISNODUPS, {{0, 4, CHARTYPE}}));
    ASSERT_EQ(0, issetunique(fd(), 2147483647));
    long id = 0;
    ASSERT_EQ(0, isuniqueid(fd(), &id));
    EXPECT_EQ(2147483647, id);

    Image idx(3);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 04")         // record length
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number
                "00 00 00 03"    // last node number
                "00 00 00 03"    // change counter
                "00 00 00 01");  // unique id
    describe(idx);
    idx.node(3).put("00 02");
    close();
    expectIndex(idx);
    expectData("");
}

}  // namespace
}  // namespace golden
