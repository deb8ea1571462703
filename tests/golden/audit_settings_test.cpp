// The node that holds the audit settings.
#include "audit_test.h"

namespace golden {
namespace {

class GoldenAuditSettings : public AuditTest {
  protected:
    void SetUp() override { build(6, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}})); }

    // All but the settings node, which is node 4, of a file without records.
    static Image start(std::string_view changes) {
        Image idx(4);
        idx.header()
            .at(8, "00 01")         // indexes
            .at(13, "00 06")        // record length
            .at(25, "00 00 00 00"   // free record numbers
                    "00 00 00 00"   // free nodes
                    "00 00 00 00"   // last record number
                    "00 00 00 04")  // last node number
            .at(41, changes)
            .at(45, "00 00 00 01"    // unique id
                    "00 00 00 04");  // audit node
        idx.description()
            .put("00 12 00 00 00 00")     // used, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 02 00 00 00");       // length, start, type
        idx.node(3).put("00 02");
        return idx;
    }
};

TEST_F(GoldenAuditSettings, EveryChangeOfThem) {
    setName("trail");

    Image named = start("00 00 00 02");
    named.node(4)
        .put("00 09")  // length of the name + 4
        .put("00 00")  // off
        .put("'trail'")
        .at(1022, "'}'");
    expectIndex(named);

    switchOn();

    Image on = start("00 00 00 03");
    on.node(4).put("00 09 00 01 'trail'").at(1022, "'}'");
    expectIndex(on);

    setName("t2");

    Image renamed = start("00 00 00 04");
    renamed.node(4).put("00 06 00 01 't2'").at(1022, "'}'");  // still on; nothing left of the longer name
    expectIndex(renamed);

    char name[65];
    ASSERT_EQ(0, isaudit(fd(), name, ISAUDGETNAME));
    EXPECT_STREQ("t2", name);
    ASSERT_EQ(0, isaudit(fd(), name, ISAUDINFO));
    EXPECT_EQ(1, name[0]);
    expectIndex(renamed);  // looking changes nothing

    switchOff();

    Image off = start("00 00 00 05");
    off.node(4).put("00 06 00 00 't2'").at(1022, "'}'");
    expectIndex(off);
    close();
    open();
    close();
    expectIndex(off);
    expectData("");
}

TEST_F(GoldenAuditSettings, LongestName) {
    setName("0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdef");
    char longer[] = "0123456789abcdef0123456789abcdef0123456789abcdef0123456789abcdefg";
    EXPECT_EQ(-1, isaudit(fd(), longer, ISAUDSETNAME));
    EXPECT_EQ(114, iserrno);

    Image idx = start("00 00 00 02");
    idx.node(4).put("00 44 00 00 '0123456789abcdef'*4 00").at(1022, "'}'");
    close();
    expectIndex(idx);
}

TEST_F(GoldenAuditSettings, NothingCanBeSwitchedWithoutAName) {
    char buffer[65] = "";
    for (const int mode : {ISAUDGETNAME, ISAUDSTART, ISAUDSTOP, ISAUDINFO}) {
        EXPECT_EQ(-1, isaudit(fd(), buffer, mode));
        EXPECT_EQ(102, iserrno) << mode;
    }
    setName("trail");  // the first change behind the build

    Image idx = start("00 00 00 02");
    idx.node(4).put("00 09 00 00 'trail'").at(1022, "'}'");
    close();
    expectIndex(idx);
}

TEST_F(GoldenAuditSettings, NodeComesFromTheFreeOnes) {
    addIndex(keyDesc(ISDUPS, {{2, 4, CHARTYPE}}));
    write("'aaxxxx'", 1);
    write("'bbyyyy'", 2);
    erase(1, 2);  // node 5 keeps the free record numbers
    dropIndex(keyDesc(ISDUPS, {{2, 4, CHARTYPE}}));
    setName("trail");

    Image idx(5);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 06")         // record length
        .at(25, "00 00 00 05"    // free record numbers
                "00 00 00 00"    // free nodes: node 4 is gone from there
                "00 00 00 02"    // last record number
                "00 00 00 05"    // last node number
                "00 00 00 08"    // change counter
                "00 00 00 01"    // unique id
                "00 00 00 04");  // audit node
    idx.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
        .put("00 02 00 00 00");       // length, start, type
    idx.node(3).put("00 02");
    idx.node(4).put("00 09 00 00 'trail'").at(1022, "'}'");  // no mark of a free node
    idx.freeList(5)
        .put("00 0E 00 00 00 00")  // used 6 + 2 * 4, no next node
        .put("00 00 00 01")
        .put("00 00 00 02");
    close();
    expectIndex(idx);
    expectData("'aaxxxx' 00 'bbyyyy' 00");
}

}  // namespace
}  // namespace golden
