// A file with two indexes cloned, copied and clustered.
#include "cluster_test.h"

namespace golden {
namespace {

class GoldenCluster : public BesideTest<GoldenTest> {
  protected:
    // Four records, the third of them deleted again.
    void make(int more_mode = 0) {
        build(10, id, more_mode);
        addIndex(name);
        write("00 00 01 02 'orange'", 1);
        write("FF FF FF FF 'apple '", 2);
        write("00 00 00 07 'melon '", 3);
        write("00 00 00 05 'apple '", 4);
        erase(3);
    }
    // Header and descriptions of a set with both indexes, their roots being nodes 3 and 4.
    static Image start(std::size_t nodes, std::string_view records, std::string_view changes,
                       std::string_view unique_id = "00 00 00 01", std::string_view audit_node = "00 00 00 00",
                       std::string_view flags = "00 00") {
        Image idx(nodes);
        idx.header()
            .at(8, "00 02")         // indexes
            .at(13, "00 0A")        // record length
            .at(25, "00 00 00 00"   // free record numbers
                    "00 00 00 00")  // free nodes
            .at(33, records)        // last record number
            .at(37, be32(nodes))    // last node number
            .at(41, changes)        // change counter
            .at(45, unique_id)
            .at(49, audit_node)
            .at(1018, flags);
        idx.description()
            .put("00 1E 00 00 00 00")     // used 6 + 12 + 12, no next node
            .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags / 2
            .put("00 04 00 00 02")        // length, start, type: long
            .put("00 0C 00 00 00 04 00")  // entry of 12 bytes, root 4, flags / 2
            .put("80 06 00 04 00");       // length with the top bit for duplicates, start, type
        return idx;
    }
    // The roots when the records stand in the order of the names.
    static void putByName(Image *idx) {
        idx->node(3)
            .put("00 1A")                    // used 2 + 3 * 8
            .put("FF FF FF FF 00 00 00 01")  // key, record number
            .put("00 00 00 05 00 00 00 02")
            .put("00 00 01 02 00 00 00 03");
        idx->node(4)
            .put("00 2C")                             // used 2 + 3 * 14
            .put("'apple ' 00 00 00 00 00 00 00 01")  // key, serial, record number
            .put("'apple ' 00 00 00 01 00 00 00 02")
            .put("'orange' 00 00 00 00 00 00 00 03");
    }
    static constexpr std::string_view kByName = "FF FF FF FF 'apple ' 0A "  // record, present
                                                "00 00 00 05 'apple ' 0A "
                                                "00 00 01 02 'orange' 0A";
    static constexpr std::size_t kSlot = 11;
    KeyDesc id = keyDesc(ISNODUPS, {{0, 4, LONGTYPE}}), name = keyDesc(ISDUPS, {{4, 6, CHARTYPE}});
};

TEST_F(GoldenCluster, Clone) {
    make();
    clone();
    Image idx = start(4, "00 00 00 00", "00 00 00 02");  // build and index
    idx.node(3).put("00 02");
    idx.node(4).put("00 02");
    expectBeside(idx, "", kSlot);
}

TEST_F(GoldenCluster, CopyByName) {
    make();
    clone();
    copy(name);
    Image idx = start(4, "00 00 00 03", "00 00 00 03");  // build, index, copy
    putByName(&idx);
    expectBeside(idx, kByName, kSlot);
}

TEST_F(GoldenCluster, CopyByRecordNumber) {
    make();
    clone();
    copy(noKey());
    Image idx = start(4, "00 00 00 03", "00 00 00 03");
    idx.node(3)
        .put("00 1A")                    // used 2 + 3 * 8
        .put("FF FF FF FF 00 00 00 02")  // key, record number
        .put("00 00 00 05 00 00 00 03")
        .put("00 00 01 02 00 00 00 01");
    idx.node(4)
        .put("00 2C")                             // used 2 + 3 * 14
        .put("'apple ' 00 00 00 00 00 00 00 02")  // key, serial, record number
        .put("'apple ' 00 00 00 01 00 00 00 03")
        .put("'orange' 00 00 00 00 00 00 00 01");
    expectBeside(idx,
                 "00 00 01 02 'orange' 0A "  // record, present
                 "FF FF FF FF 'apple ' 0A "
                 "00 00 00 05 'apple ' 0A",
                 kSlot);
}

TEST_F(GoldenCluster, CopyThatMeetsADuplicate) {
    make();
    clone();
    std::string record = bytes("00 00 00 05 'pear  '");
    ASSERT_EQ(0, iswrite(beside(), record.data()));
    KeyDesc key = name;
    ASSERT_EQ(-1, iscopy(beside(), fd(), &key));
    ASSERT_EQ(ISERR_DUPLICATE, iserrno);
    Image idx = start(4, "00 00 00 02", "00 00 00 04");  // build, index, record, copy
    idx.node(3)
        .put("00 12")                    // used 2 + 2 * 8
        .put("FF FF FF FF 00 00 00 02")  // key, record number
        .put("00 00 00 05 00 00 00 01");
    idx.node(4)
        .put("00 1E")                             // used 2 + 2 * 14
        .put("'apple ' 00 00 00 00 00 00 00 02")  // key, serial, record number
        .put("'pear  ' 00 00 00 00 00 00 00 01");
    expectBeside(idx,
                 "00 00 00 05 'pear  ' 0A "  // record, present
                 "FF FF FF FF 'apple ' 0A",
                 kSlot);
}

TEST_F(GoldenCluster, Cluster) {
    make(ISLOCKEXCL);
    cluster(name);
    Image idx = start(4, "00 00 00 03", "00 00 00 03");  // build, index, copy
    putByName(&idx);
    close();
    expectIndex(idx);
    expectData(kByName);
}

TEST_F(GoldenCluster, ClusterOfAFileWithSettings) {
    make(ISLOCKEXCL);
    char info[] = "ten bytes!", trail[] = "trail";
    ASSERT_EQ(0, isuserinfo(fd(), 1, info));
    ASSERT_EQ(0, issetunique(fd(), 0x01020304));
    ASSERT_EQ(0, isprecious(fd(), 1));
    ASSERT_EQ(0, isaudit(fd(), trail, ISAUDSETNAME));
    ASSERT_EQ(0, isaudit(fd(), nullptr, ISAUDSTART));
    cluster(name);
    Image idx = start(5, "00 00 00 03", "00 00 00 03", "01 02 03 04", "00 00 00 05", "00 02");  // flags: precious
    idx.node(1).at(1008, "'ten bytes!'");
    putByName(&idx);
    idx.node(5).put("00 09 00 01 'trail'").at(1022, "'}'");  // length of the name + 4, on
    close();
    expectIndex(idx);
    expectData(kByName);
    EXPECT_EQ("cannot open", fileContent("trail"));
}

class GoldenCopyMask : public BesideTest<GoldenTest> {};

TEST_F(GoldenCopyMask, RecordsThatTheIndexLeavesOutFollow) {
    build(4, keyDesc(ISNODUPS, {{0, 2, CHARTYPE}}), ISMASK);
    addIndex(keyDesc(ISDUPS, {{2, 2, CHARTYPE}}));
    const char *const records[] = {"'ddyy'", "'cczz'", "'bbxx'", "'aaww'"};
    const long masks[] = {0, 2, 1, 4};  // record 2 is not in the second index, record 3 not in the first
    for (int i = 0; i < 4; ++i) {
        ASSERT_EQ(0, issetmask(fd(), masks[i]));
        write(records[i], i + 1);
    }
    clone();
    copy(keyDesc(ISDUPS, {{2, 2, CHARTYPE}}));

    Image idx(4);
    idx.header()
        .at(8, "00 02")         // indexes
        .at(13, "00 04")        // record length
        .at(25, "00 00 00 00"   // free record numbers
                "00 00 00 00"   // free nodes
                "00 00 00 04"   // last record number
                "00 00 00 04"   // last node number
                "00 00 00 03"   // change counter
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
        .put("'cc' 00 00 00 04")
        .put("'dd' 00 00 00 03");
    idx.node(4)
        .put("00 20")                         // used 2 + 3 * 10
        .put("'ww' 00 00 00 00 00 00 00 01")  // key, serial, record number
        .put("'xx' 00 00 00 00 00 00 00 02")
        .put("'yy' 00 00 00 00 00 00 00 03");
    expectBeside(idx,
                 "'aaww' 0A 00 00 00 04 "  // record, present, mask
                 "'bbxx' 0A 00 00 00 01 "
                 "'ddyy' 0A 00 00 00 00 "
                 "'cczz' 0A 00 00 00 02",
                 9);
}

class GoldenCopyKeys : public BesideTest<GoldenTest> {};

TEST_F(GoldenCopyKeys, KeysKeepTheirNumbers) {
    build(0, keyDesc(ISDUPS, {{0, 4, CHARTYPE}}));
    writeKey("'bbbb'", 7);
    writeKey("'aaaa'", 5);
    writeKey("'bbbb'", 3);
    clone();
    copy(keyDesc(ISDUPS, {{0, 4, CHARTYPE}}));

    Image idx(3);
    idx.header()
        .at(8, "00 01")          // indexes
        .at(13, "00 00")         // no records
        .at(25, "00 00 00 00"    // free record numbers
                "00 00 00 00"    // free nodes
                "00 00 00 00"    // last record number: none was allocated
                "00 00 00 03"    // last node number
                "00 00 00 02"    // change counter: build, copy
                "00 00 00 01");  // unique id
    idx.description()
        .put("00 12 00 00 00 00")     // used, no next node
        .put("00 0C 00 00 00 03 00")  // entry of 12 bytes, root 3, flags
        .put("80 04 00 00 00");       // length with the top bit for duplicates, start, type
    idx.node(3)
        .put("00 26")                           // used 2 + 3 * 12
        .put("'aaaa' 00 00 00 00 00 00 00 05")  // key, serial, number
        .put("'bbbb' 00 00 00 00 00 00 00 07")
        .put("'bbbb' 00 00 00 01 00 00 00 03");
    const std::string index = fileContent(besideName() + ".idx");
    EXPECT_EQ("", difference(idx.bytes(), index, kNodeSize));
    EXPECT_EQ("cannot open", fileContent(besideName() + ".dat"));
}

}  // namespace
}  // namespace golden
