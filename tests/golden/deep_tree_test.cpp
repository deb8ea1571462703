// Splits of branch nodes: trees of three levels. Record n has the key of 120 bytes 2F + n; records are in ascending
// order.
#include "golden_test.h"

#include <cstdio>

namespace golden {
namespace {

class GoldenDeepTree : public GoldenTest {
  protected:
    static std::string key(int n) {
        char text[16];
        std::snprintf(text, sizeof text, "%02X*120 ", static_cast<unsigned>(0x2f + n));
        return text;
    }
    void fill(int flags, int records) {
        build(120, keyDesc(flags, {{0, 120, CHARTYPE}}));
        for (int n = 1; n <= records; ++n)
            write(key(n), n);
    }
    static void head(Image &idx, const char *records, const char *nodes, const char *changes, const char *flags) {
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, "00 78")         // record length
            .at(25, "00 00 00 00")   // free record numbers
            .at(29, "00 00 00 00")   // free nodes
            .at(33, records)         // last record number
            .at(37, nodes)           // last node number
            .at(41, changes)         // change counter
            .at(45, "00 00 00 01");  // unique id
        idx.description()
            .put("00 12 00 00 00 00")  // used, no next node
            .put("00 0C 00 00 00 03")  // entry of 12 bytes, root 3
            .put(flags)                // flags / 2
            .put("00 78 00 00 00");    // length, start, type
    }
    void expectSlots(int records) {
        std::string slots;
        for (int n = 1; n <= records; ++n)
            slots += key(n) + "0A ";
        expectData(slots);
    }
};

// Leaves split at the records 9, 17, .. 65; the last of these splits finds eight entries in the root.
TEST_F(GoldenDeepTree, FlatBranchSplitsInTheMiddle) {
    fill(ISNODUPS, 65);

    const auto entry = [](int n, unsigned long number) {
        return key(n) + be32(number);
    };
    Image idx(14);
    head(idx, "00 00 00 41", "00 00 00 0E", "00 00 00 42", "00");
    idx.node(3)
        .put("00 FA")              // used 2 + 2 * 124
        .put(entry(32, 13))        // left branch, highest key
        .put(entry(32, 14))        // right branch: the former root
        .at(1020, "00 00 02 00");  // level 2
    idx.node(13)
        .put("01 F2")      // used 2 + 4 * 124
        .put(entry(8, 4))  // leaves in the order of their making
        .put(entry(16, 6))
        .put(entry(24, 7))
        .put(entry(32, 8))
        .at(1020, "00 00 01 00");  // level 1
    idx.node(14)
        .put("02 6E")  // used 2 + 5 * 124
        .put(entry(40, 9))
        .put(entry(48, 10))
        .put(entry(56, 11))
        .put(entry(64, 12))
        .put(entry(64, 5))         // raised
        .at(1020, "00 00 01 00");  // level 1
    const struct {
        std::size_t node;
        int first;
    } leaves[] = {{4, 1}, {6, 9}, {7, 17}, {8, 25}, {9, 33}, {10, 41}, {11, 49}, {12, 57}};
    for (const auto &leaf : leaves) {
        NodeImage full = idx.node(leaf.node);
        full.put("03 E2");  // used 2 + 8 * 124
        for (int n = leaf.first; n < leaf.first + 8; ++n)
            full.put(entry(n, static_cast<unsigned long>(n)));
    }
    idx.node(5)
        .put("00 7E")  // used 2 + 124
        .put(entry(65, 65));
    close();
    expectIndex(idx);
    expectSlots(65);
}

// The separators are the keys that were appended, and the root's last entry shares its whole key: one more fits.
TEST_F(GoldenDeepTree, CompressedBranchSplitsInTheMiddle) {
    fill(ISLEADCOMP, 73);

    const auto entry = [](int n, unsigned long number) {
        return "00 " + key(n) + be32(number);
    };
    Image idx(15);
    head(idx, "00 00 00 49", "00 00 00 0F", "00 00 00 4A", "02");
    idx.node(3)
        .put("00 84")              // used 2 + 125 + 5
        .put(entry(41, 14))        // left branch
        .put("78 00 00 00 0F")     // right branch: the former root, the same key
        .at(1020, "00 00 02 00");  // level 2
    idx.node(14)
        .put("02 73")  // used 2 + 5 * 125: the first boundary from 1007 / 2 on
        .put(entry(9, 4))
        .put(entry(17, 6))
        .put(entry(25, 7))
        .put(entry(33, 8))
        .put(entry(41, 9))
        .at(1020, "00 00 01 00");  // level 1
    idx.node(15)
        .put("01 FB")  // used 2 + 4 * 125 + 5
        .put(entry(49, 10))
        .put(entry(57, 11))
        .put(entry(65, 12))
        .put(entry(73, 13))
        .put("78 00 00 00 05")     // raised
        .at(1020, "00 00 01 00");  // level 1
    const struct {
        std::size_t node;
        int first;
    } leaves[] = {{4, 1}, {6, 9}, {7, 17}, {8, 25}, {9, 33}, {10, 41}, {11, 49}, {12, 57}, {13, 65}};
    for (const auto &leaf : leaves) {
        NodeImage full = idx.node(leaf.node);
        full.put("03 EA");  // used 2 + 8 * 125
        for (int n = leaf.first; n < leaf.first + 8; ++n)
            full.put(entry(n, static_cast<unsigned long>(n)));
    }
    idx.node(5)
        .put("00 7F")  // used 2 + 125
        .put(entry(73, 73));
    close();
    expectIndex(idx);
    expectSlots(73);
}

// A branch entry that is raised: keys of 116 bytes, "m" nine times, then "n" to "u".
class GoldenRaisedEntry : public GoldenTest {
  protected:
    void fill(int flags) {
        build(116, keyDesc(flags, {{0, 116, CHARTYPE}}));
        for (long number = 1; number <= 9; ++number)
            writeLetters('m', 'm', 116, number);
        writeLetters('n', 'u', 116, 10);
    }
    static void head(Image &idx, const char *flags) {
        idx.header()
            .at(8, "00 01")          // indexes
            .at(13, "00 74")         // record length
            .at(25, "00 00 00 00"    // free record numbers
                    "00 00 00 00"    // free nodes
                    "00 00 00 11"    // last record number
                    "00 00 00 06"    // last node number
                    "00 00 00 12"    // change counter
                    "00 00 00 01");  // unique id
        idx.description()
            .put("00 12 00 00 00 00")  // used, no next node
            .put("00 0C 00 00 00 03")  // entry of 12 bytes, root 3
            .put(flags)                // flags / 2
            .put("80 74 00 00 00");    // length with the top bit for duplicates, start, type
    }
};

TEST_F(GoldenRaisedEntry, FlatEntryTakesKeyAndSerial) {
    fill(ISDUPS);

    Image idx(6);
    head(idx, "00");
    idx.node(3)
        .put("01 76")                            // used 2 + 3 * 124
        .put("'m'*116 00 00 00 07 00 00 00 04")  // key, serial, node number
        .put("'t'*116 00 00 00 00 00 00 00 06")  // the left node's last entry
        .put("'t'*116 00 00 00 00 00 00 00 05")  // was "m" with serial 7
        .at(1020, "00 00 01 00");                // level 1
    idx.node(4)
        .put("03 E2")                            // used 2 + 8 * 124
        .put("'m'*116 00 00 00 00 00 00 00 01")  // key, serial, record number
        .put("'m'*116 00 00 00 01 00 00 00 02")
        .put("'m'*116 00 00 00 02 00 00 00 03")
        .put("'m'*116 00 00 00 03 00 00 00 04")
        .put("'m'*116 00 00 00 04 00 00 00 05")
        .put("'m'*116 00 00 00 05 00 00 00 06")
        .put("'m'*116 00 00 00 06 00 00 00 07")
        .put("'m'*116 00 00 00 07 00 00 00 08");
    idx.node(5)
        .put("00 7E")  // used 2 + 124
        .put("'u'*116 00 00 00 00 00 00 00 11");
    idx.node(6)
        .put("03 E2")  // used 2 + 8 * 124
        .put("'m'*116 00 00 00 08 00 00 00 09")
        .put("'n'*116 00 00 00 00 00 00 00 0A")
        .put("'o'*116 00 00 00 00 00 00 00 0B")
        .put("'p'*116 00 00 00 00 00 00 00 0C")
        .put("'q'*116 00 00 00 00 00 00 00 0D")
        .put("'r'*116 00 00 00 00 00 00 00 0E")
        .put("'s'*116 00 00 00 00 00 00 00 0F")
        .put("'t'*116 00 00 00 00 00 00 00 10");
    close();
    expectIndex(idx);
}

TEST_F(GoldenRaisedEntry, CompressedEntryTakesTheKeyAndKeepsItsSerial) {
    fill(ISDUPS | ISTRAILCOMP);

    Image idx(6);
    head(idx, "04");
    idx.node(3)
        .put("01 79")                               // used 2 + 3 * 125
        .put("00 'm'*116 00 00 00 07 00 00 00 04")  // trailing count, key, serial, node number
        .put("00 'u'*116 00 00 00 00 00 00 00 06")  // the key just inserted, the left node's last serial
        .put("00 'u'*116 00 00 00 07 00 00 00 05")  // was "m"
        .at(1020, "00 00 01 00");                   // level 1
    idx.node(4)
        .put("03 EA")                               // used 2 + 8 * 125
        .put("00 'm'*116 00 00 00 00 00 00 00 01")  // trailing count, key, serial, record number
        .put("00 'm'*116 00 00 00 01 00 00 00 02")
        .put("00 'm'*116 00 00 00 02 00 00 00 03")
        .put("00 'm'*116 00 00 00 03 00 00 00 04")
        .put("00 'm'*116 00 00 00 04 00 00 00 05")
        .put("00 'm'*116 00 00 00 05 00 00 00 06")
        .put("00 'm'*116 00 00 00 06 00 00 00 07")
        .put("00 'm'*116 00 00 00 07 00 00 00 08");
    idx.node(5)
        .put("00 7F")                                // used 2 + 125
        .put("00 'u'*116 00 00 00 01 00 00 00 11");  // one more than the serial of "t"
    idx.node(6)
        .put("03 EA")  // used 2 + 8 * 125
        .put("00 'm'*116 00 00 00 08 00 00 00 09")
        .put("00 'n'*116 00 00 00 00 00 00 00 0A")
        .put("00 'o'*116 00 00 00 00 00 00 00 0B")
        .put("00 'p'*116 00 00 00 00 00 00 00 0C")
        .put("00 'q'*116 00 00 00 00 00 00 00 0D")
        .put("00 'r'*116 00 00 00 00 00 00 00 0E")
        .put("00 's'*116 00 00 00 00 00 00 00 0F")
        .put("00 't'*116 00 00 00 00 00 00 00 10");
    close();
    expectIndex(idx);
}

}  // namespace
}  // namespace golden
