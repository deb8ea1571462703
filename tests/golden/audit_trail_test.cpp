// Entries of the audit trail.
#include "audit_test.h"

#include <fstream>

namespace golden {
namespace {

class GoldenAuditTrail : public AuditTest {
  protected:
    void start(int more_mode = 0) {
        build(6, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}), more_mode);
        setName("trail");
        switchOn();
    }
    void startVarying(int more_mode = 0) {
        buildVarying(4, 4000, keyDesc(ISNODUPS, {{0, 1, CHARTYPE}}), more_mode);
        setName("trail");
        switchOn();
    }
};

TEST_F(GoldenAuditTrail, RecordsOfOneLength) {
    start();
    write("'aaaaaa'", 1);
    write("'bb' 00*4", 2);
    rewrite("'aa++++'", 1);
    erase(2);
    std::string again = bytes("'aa----'");
    EXPECT_EQ(-1, iswrite(fd(), again.data()));  // refused: no entry
    EXPECT_EQ(-1, isdelrec(fd(), 2));

    const std::string all = entry("aa", "00 00 00 01", "'aaaaaa'") + entry("aa", "00 00 00 02", "'bb' 00*4") +
                            entry("rr", "00 00 00 01", "'aaaaaa'") + entry("ww", "00 00 00 01", "'aa++++'") +
                            entry("dd", "00 00 00 02", "'bb' 00*4");
    expectTrail(all);

    switchOff();
    write("'cccccc'", 2);
    rewrite("'cc++++'", 2);
    erase(2);
    expectTrail(all);

    switchOn();
    erase(1);
    expectTrail(all + entry("dd", "00 00 00 01", "'aa++++'"));
}

TEST_F(GoldenAuditTrail, MasksAreNotPartOfTheImage) {
    start(ISMASK);
    ASSERT_EQ(0, issetmask(fd(), 2));
    write("'aaaaaa'", 1);
    rewrite("'aa++++'", 1);
    erase(1);

    expectTrail(entry("aa", "00 00 00 01", "'aaaaaa'") + entry("rr", "00 00 00 01", "'aaaaaa'") +
                entry("ww", "00 00 00 01", "'aa++++'") + entry("dd", "00 00 00 01", "'aa++++'"));
}

TEST_F(GoldenAuditTrail, TrailGoesOnBehindWhatItHolds) {
    std::ofstream("trail") << "already here";
    start();
    write("'aaaaaa'", 1);
    close();
    open();  // it is on still
    write("'bbbbbb'", 2);

    expectTrail("'already here'" + entry("aa", "00 00 00 01", "'aaaaaa'") + entry("aa", "00 00 00 02", "'bbbbbb'"));
}

TEST_F(GoldenAuditTrail, UserIsTheRealOne) {
    start();
    const OtherUser user;
    write("'aaaaaa'", 1);
    expectTrail(entry("aa", "00 00 00 01", "'aaaaaa'", user.text()));
}

TEST_F(GoldenAuditTrail, VariableLength) {
    startVarying();
    write("'aaaa' 'tail'", 1);
    write("'bbbb'", 2);  // without tail
    rewrite("'a+++' 'longer tail'", 1);
    rewrite("'a---'", 1);
    rewrite("'a+++' 't'", 1);
    rewrite("'b---'", 2);
    erase(2);
    erase(1);

    expectTrail(entry("aa", "00 00 00 01", "00 08 'aaaatail'") +         // length, record
                entry("aa", "00 00 00 02") +                             // the head alone
                entry("rr", "00 00 00 01", "00 08 'aaaatail'") +         //
                entry("ww", "00 00 00 01", "00 0F 'a+++longer tail'") +  //
                entry("rr", "00 00 00 01", "00 0F 'a+++longer tail'") +  //
                entry("ww", "00 00 00 01") +                             //
                entry("rr", "00 00 00 01") +                             //
                entry("ww", "00 00 00 01", "00 05 'a+++t'") +            //
                entry("rr", "00 00 00 02") +                             //
                entry("ww", "00 00 00 02") +                             //
                entry("dd", "00 00 00 02") +                             //
                entry("dd", "00 00 00 01", "00 05 'a+++t'"));
}

TEST_F(GoldenAuditTrail, TailsOfSeveralPieces) {
    startVarying();
    write("'aaaa' 'r'*994 's'*994 'tt'", 1);
    rewrite("'aaaa' 'x'*994 'y'", 1);
    erase(1);

    expectTrail(entry("aa", "00 00 00 01", "07 CA 'aaaa' 'r'*994 's'*994 'tt'") +
                entry("rr", "00 00 00 01", "07 CA 'aaaa' 'r'*994 's'*994 'tt'") +
                entry("ww", "00 00 00 01", "03 E7 'aaaa' 'x'*994 'y'") +
                entry("dd", "00 00 00 01", "03 E7 'aaaa' 'x'*994 'y'"));
}

// The image has the tail as it is stored, and so does its length.
TEST_F(GoldenAuditTrail, CompressedTails) {
    startVarying(ISCOMPRESS);
    write("'aaaa' 20*100", 1);
    rewrite("'aaaa' 'raw'", 1);
    rewrite("'aaaa'", 1);
    rewrite("'aaaa' 'x' '0'*2000", 1);
    erase(1);

    // 31 runs of 63 zeros, one of 47
    const std::string coded = "01 FF*31 EF 00 'x'";
    expectTrail(entry("aa", "00 00 00 01", "00 07 'aaaa' BF A5 00") +
                entry("rr", "00 00 00 01", "00 07 'aaaa' BF A5 00") +
                entry("ww", "00 00 00 01", "00 0A 'aaaa' 00 00 03 'raw'") +
                entry("rr", "00 00 00 01", "00 0A 'aaaa' 00 00 03 'raw'") + entry("ww", "00 00 00 01") +
                entry("rr", "00 00 00 01") + entry("ww", "00 00 00 01", "00 27 'aaaa'" + coded) +
                entry("dd", "00 00 00 01", "00 27 'aaaa'" + coded));
}

TEST_F(GoldenAuditTrail, SettingsAndTailsHaveNodesOfTheirOwn) {
    startVarying();
    write("'aaaa' 'tail'", 1);

    const std::string idx = content(true);
    ASSERT_EQ(5 * kNodeSize, idx.size());
    EXPECT_EQ(bytes("00 00 00 04"), idx.substr(49, 4));                   // audit node
    EXPECT_EQ(bytes("00 09 00 01 'trail' 00*60"), idx.substr(3072, 69));  // node 4: its settings
    EXPECT_EQ(bytes("7E 26"), idx.substr(4096 + 2, 2));                   // node 5: the tail
    EXPECT_EQ(bytes("00 00 00 05"), idx.substr(77, 4));                   // head of bucket 4
    EXPECT_EQ(bytes("'aaaa' 0A 00 04 00 00 00 05"), content(false));
}

}  // namespace
}  // namespace golden
