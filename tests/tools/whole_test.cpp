// The commands on whole files, as a user runs them.
#include "archive/contents.h"
#include "base/left_over.h"
#include "base/open_file.h"
#include "base/sha256.h"
#include "tools/sample.h"
#include "tools/snapshot.h"
#include "tools/tool_run.h"

#include <csignal>
#include <nlohmann/json.hpp>

namespace {

using tool::OpenFile;
using tool_tests::allKinds;
using tool_tests::keyOf;
using tool_tests::Kind;
using tool_tests::makeSample;
using tool_tests::Ran;
using tool_tests::snapshot;

class Whole : public tool_tests::ToolTest {
  protected:
    // Records whose keys are their numbers, the letters after them the other way round.
    static void makeOrders(int count) {
        const Kind kind = {"orders", 30, 0, 0, true, {keyOf(0, {{0, 4, LONGTYPE}}), keyOf(ISDUPS, {{4, 6, CHARTYPE}})}};
        const int fd = tool_tests::buildKind("orders", kind);
        for (int i = 0; i < count; ++i) {
            std::vector<char> record(30, ' ');
            stlong(i, record.data());
            record[4] = static_cast<char>('z' - i % 26);
            ASSERT_EQ(iswrite(fd, record.data()), 0);
        }
        ASSERT_EQ(isclose(fd), 0);
    }
    static long firstKeyInRecordOrder(const std::string &name) {
        const OpenFile file = OpenFile::forReading(name);
        std::vector<char> record(30);
        EXPECT_EQ(isindex(file.fd(), 0, 0), 0);
        EXPECT_EQ(isread(file.fd(), record.data(), ISFIRST), 0);
        return ldlong(record.data());
    }
    static long count(const std::string &name) { return OpenFile::forReading(name).recordCount(); }
    std::string hash(const std::string &name) const {
        const Ran ran = isam("hash " + name);
        EXPECT_EQ(ran.status, 0) << ran.err;
        return ran.out;
    }
    void expectFailure(const std::string &arguments, const std::string &text) const {
        const Ran ran = isam(arguments);
        EXPECT_EQ(ran.status, 2) << arguments;
        EXPECT_EQ(ran.err, text) << arguments;
    }
};

TEST_F(Whole, HashIsWhatItsDefinitionSays) {
    const Kind kind = {"two", 10, 0, 0, true, {keyOf(ISDUPS, {{0, 4, LONGTYPE}})}};
    const int fd = tool_tests::buildKind("two", kind);
    char record[11] = "0123456789";
    ASSERT_EQ(iswrite(fd, record), 0);
    ASSERT_EQ(isclose(fd), 0);
    const auto digest = [](const std::string &bytes) {
        tool::Sha256 hash;
        hash.add(bytes.data(), bytes.size());
        const tool::Digest result = hash.finish();
        return std::string(result.begin(), result.end());
    };
    const std::string sum = digest(std::string("\0\0\0\x0a\0\0\0\0", 8) + "0123456789");
    const std::string records = digest(std::string("isam records 1\0\0\0\0\0\0\0\0\1", 23) + sum);
    const std::string file = digest(std::string("isam file 1\0\0\0\x0a\0\x0a\1\0\1\1\0\0\0\4\0\2", 27) + records);
    const tool::Contents contents = tool::hashContents(OpenFile::forReading("two"));
    EXPECT_EQ(std::string(contents.records.begin(), contents.records.end()), records);
    EXPECT_EQ(std::string(contents.file.begin(), contents.file.end()), file);
    EXPECT_EQ(contents.count, 1U);
    EXPECT_EQ(hash("two"), "records " + tool::hexadecimal(contents.records) + "\nfile    " +
                               tool::hexadecimal(contents.file) + "\n");
    const nlohmann::json json = nlohmann::json::parse(isam("hash two --json").out);
    EXPECT_EQ(json["count"], 1);
    EXPECT_EQ(json["recordsHash"], tool::hexadecimal(contents.records));
    EXPECT_EQ(json["fileHash"], tool::hexadecimal(contents.file));
}

TEST_F(Whole, HashDependsOnEveryByteAndOnHowOftenARecordIsThereButNotOnItsPlace) {
    const Kind kind = {"some", 10, 0, 0, true, {keyOf(ISDUPS, {{0, 4, LONGTYPE}})}};
    auto hashOf = [this, &kind, files = 0](const std::vector<std::string> &records) mutable {
        const std::string name = "file" + std::to_string(++files);
        const int fd = tool_tests::buildKind(name, kind);
        for (std::string record : records)
            EXPECT_EQ(iswrite(fd, record.data()), 0);
        EXPECT_EQ(isclose(fd), 0);
        return hash(name);
    };
    const std::string a = "aaaaaaaaaa";
    const std::string b = "aaaaaaaaab";
    const std::string one = hashOf({a, b});
    EXPECT_EQ(hashOf({b, a}), one);
    EXPECT_NE(hashOf({a, a}), one);
    EXPECT_NE(hashOf({a, b, a}), hashOf({a, b, b}));
    EXPECT_NE(hashOf({a}), hashOf({}));
}

TEST_F(Whole, HashOfTheFileDependsOnItsIndexesThatOfTheRecordsDoesNot) {
    makeOrders(10);
    const tool::Contents before = tool::hashContents(OpenFile::forReading("orders"));
    EXPECT_EQ(isam("index add orders 20:4:char --duplicates").status, 0);
    const tool::Contents after = tool::hashContents(OpenFile::forReading("orders"));
    EXPECT_EQ(before.records, after.records);
    EXPECT_NE(before.file, after.file);
}

TEST_F(Whole, HashStaysThroughClusteringAndCopyingOfEveryKind) {
    for (const Kind &kind : allKinds()) {
        const std::string name = kind.name;
        makeSample(name, kind, 5, 100);
        const std::string before = hash(name);
        EXPECT_EQ(isam("copy " + name + " " + name + "2 --create").status, 0) << name;
        EXPECT_EQ(hash(name + "2"), before) << name;
        if (kind.minimum == 0) continue;
        const Ran ran = isam("cluster " + name + (kind.keys.empty() ? " --index 0" : " --index 1"));
        EXPECT_EQ(ran.status, 0) << name << ran.err;
        EXPECT_EQ(hash(name), before) << name;
    }
}

TEST_F(Whole, ClusterPutsRecordsInTheOrderOfTheIndexAskedFor) {
    makeOrders(26);
    EXPECT_EQ(isam("cluster orders --index 2").status, 0);
    EXPECT_EQ(firstKeyInRecordOrder("orders"), 25);
    EXPECT_EQ(isam("cluster orders --index 0").status, 0);
    EXPECT_EQ(firstKeyInRecordOrder("orders"), 25);
    EXPECT_EQ(isam("cluster orders").status, 0);
    EXPECT_EQ(firstKeyInRecordOrder("orders"), 0);
    EXPECT_EQ(count("orders"), 26);
    expectFailure("cluster orders --index 3", "isam cluster: orders: there is no index 3\n");
    const OpenFile holder = OpenFile::forReading("orders");
    expectFailure("cluster orders", "isam cluster: orders: cannot be opened: File is in use (113); "
                                    "'isam locks orders' tells by whom\n");
}

TEST_F(Whole, ClusterLeavesADamagedFileAsItIs) {
    makeOrders(300);
    std::string index = get("orders.idx");
    const std::string data = get("orders.dat");
    // The header counts fewer records than there are.
    constexpr std::size_t kLowByteOfHighestRecord = 36;
    ASSERT_EQ(index[kLowByteOfHighestRecord], static_cast<char>(300 & 0xff));
    index[kLowByteOfHighestRecord] = 20;
    put("orders.idx", index);
    expectFailure("cluster orders", "isam cluster: orders: is damaged: 'isam check orders' tells how, 'isam repair "
                                    "orders' mends it; nothing has been done\n");
    EXPECT_EQ(get("orders.idx"), index);
    EXPECT_EQ(get("orders.dat"), data);
    EXPECT_EQ(isam("repair orders").status, 0);
    EXPECT_EQ(isam("cluster orders").status, 0);
    EXPECT_EQ(count("orders"), 300);
}

TEST_F(Whole, ClusterSaysThatKeysAloneHaveNoOrder) {
    const int fd = tool_tests::buildKind("keys", {"keys", 0, 0, 0, true, {keyOf(0, {{0, 4, LONGTYPE}})}});
    ASSERT_EQ(isclose(fd), 0);
    expectFailure("cluster keys", "isam cluster: keys: has keys alone: there are no records to put in order\n");
    expectFailure("index add keys 0:2:char",
                  "isam index add: keys: has keys alone: there are no records to fill an index from\n");
}

// What is left when a signal ends the work between the two steps.
void endedBySignal(const std::string &place, const std::string &old, void (*between)()) {
    const tool::LeftOver left_over(place, old);
    between();
    raise(SIGTERM);
}

TEST_F(Whole, WhatIsHalfMadeGoesWhenASignalEndsTheWork) {
    put("new.idx", "half");
    put("new.dat", "half");
    EXPECT_EXIT(endedBySignal(path("new"), "", [] {}), testing::KilledBySignal(SIGTERM), "");
    EXPECT_FALSE(std::filesystem::exists(path("new.idx")));
    EXPECT_FALSE(std::filesystem::exists(path("new.dat")));
}

TEST_F(Whole, WhatIsMadeInPlaceOfAFileStaysOnceThatHasBegunToGo) {
    for (const char *name : {"old.idx", "old.dat", "new.idx", "new.dat"})
        put(name, "bytes");
    EXPECT_EXIT(endedBySignal(path("new"), path("old"), [] { std::filesystem::remove("old.idx"); }),
                testing::KilledBySignal(SIGTERM), "");
    EXPECT_TRUE(std::filesystem::exists(path("new.idx")));
    EXPECT_TRUE(std::filesystem::exists(path("new.dat")));
    put("old.idx", "bytes");
    EXPECT_EXIT(endedBySignal(path("new"), path("old"), [] {}), testing::KilledBySignal(SIGTERM), "");
    EXPECT_FALSE(std::filesystem::exists(path("new.idx")));
    EXPECT_TRUE(std::filesystem::exists(path("old.idx")));
}

TEST_F(Whole, NewNamesMayBeThoseOfAFile) {
    makeOrders(3);
    EXPECT_EQ(isam("rename orders.idx old.idx").status, 0);
    EXPECT_EQ(count("old"), 3);
    EXPECT_EQ(isam("clone old.dat new.dat").status, 0);
    EXPECT_EQ(count("new"), 0);
    EXPECT_EQ(isam("copy old other.idx --create").status, 0);
    EXPECT_EQ(count("other"), 3);
    // A set that is called so itself.
    ASSERT_EQ(isclone(OpenFile::forReading("old").fd(), "odd.idx"), 1);
    EXPECT_EQ(isam("info odd.idx").status, 0);
    EXPECT_TRUE(std::filesystem::exists(path("odd.idx.idx")));
}

TEST_F(Whole, CloneIsEmptyAndOfTheSameShape) {
    makeOrders(5);
    EXPECT_EQ(isam("clone orders.idx new").status, 0);
    EXPECT_EQ(count("new"), 0);
    EXPECT_EQ(isam("index list new").out, isam("index list orders").out);
    const Ran again = isam("clone orders new");
    EXPECT_EQ(again.status, 2);
    EXPECT_EQ(again.err, "isam clone: new: cannot be made: making the index file: File exists\n");
}

TEST_F(Whole, CopyAddsToAFileAndStopsAtAKeyThatIsThere) {
    makeOrders(26);
    EXPECT_EQ(isam("clone orders other").status, 0);
    EXPECT_EQ(isam("copy orders other --index 2").status, 0);
    EXPECT_EQ(firstKeyInRecordOrder("other"), 25);
    const Ran ran = isam("copy orders other");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err,
              "isam copy: orders: cannot be copied to other: a key is there already that may occur once (100); "
              "0 records were copied before that, and stay\n");
    EXPECT_EQ(count("other"), 26);
}

TEST_F(Whole, CopySaysWhatDoesNotFit) {
    makeOrders(3);
    const std::string failed = "isam copy: orders: cannot be copied to ";
    expectFailure("copy orders orders", failed + "orders: both are one file, or their keys differ\n");
    const int fd = tool_tests::buildKind("notes", {"notes", 20, 300, 0, true, {keyOf(0, {{0, 4, LONGTYPE}})}});
    ASSERT_EQ(isclose(fd), 0);
    expectFailure("copy orders notes", failed + "notes: it has records of 20 to 300 bytes, and the other records of 30 "
                                                "bytes\n");
}

TEST_F(Whole, CopyThatFailsLeavesNothingOfAFileThatItMade) {
    makeOrders(3);
    const Ran ran = isam("copy orders other --create --index 7");
    EXPECT_EQ(ran.status, 2);
    EXPECT_FALSE(std::filesystem::exists(path("other.idx")));
    EXPECT_FALSE(std::filesystem::exists(path("other.dat")));
    EXPECT_EQ(isam("copy orders other --create").status, 0);
    EXPECT_EQ(isam("copy orders other --create").status, 2);
    EXPECT_EQ(count("other"), 3);
}

TEST_F(Whole, CopyAndCloneGoThroughLinks) {
    makeOrders(3);
    std::filesystem::create_directory(path("archive"));
    put("link.lnk", "archive/orders\n");
    EXPECT_EQ(isam("copy orders link --create").status, 0);
    EXPECT_EQ(count("archive/orders"), 3);
    EXPECT_EQ(hash("link"), hash("orders"));
}

TEST_F(Whole, EraseNeedsConsentWhereNobodyCanBeAsked) {
    makeOrders(3);
    EXPECT_EQ(isam("clone orders other").status, 0);
    expectFailure("erase orders", "isam erase: nothing is removed without --yes where nobody can be asked\n");
    EXPECT_EQ(count("orders"), 3);
    const Ran ran = isam("erase --yes nosuch orders other.dat");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam erase: nosuch: cannot be removed: opening the index file: No such file or directory\n");
    for (const char *name : {"orders.idx", "orders.dat", "other.idx", "other.dat"})
        EXPECT_FALSE(std::filesystem::exists(path(name))) << name;
}

TEST_F(Whole, EraseAsksOnATerminal) {
    makeOrders(3);
    EXPECT_EQ(isam("clone orders other").status, 0);
    const Ran ran = shell("printf 'n\\ny\\n' | script -qec 'isam erase orders other' /dev/null");
    EXPECT_NE(ran.out.find("remove orders and all its records? [y/N]"), std::string::npos) << ran.out << ran.err;
    EXPECT_TRUE(std::filesystem::exists(path("orders.idx")));
    EXPECT_FALSE(std::filesystem::exists(path("other.idx")));
}

TEST_F(Whole, RenameTakesBothFilesAndOverwritesNone) {
    makeOrders(3);
    EXPECT_EQ(isam("rename orders old").status, 0);
    EXPECT_EQ(count("old"), 3);
    EXPECT_FALSE(std::filesystem::exists(path("orders.dat")));
    makeOrders(4);
    EXPECT_EQ(isam("rename orders old").status, 2);
    EXPECT_EQ(count("old"), 3);
    EXPECT_EQ(count("orders"), 4);
    const OpenFile holder = OpenFile::forReading("old");
    const Ran ran = isam("rename old new");
    EXPECT_EQ(ran.status, 2);
    EXPECT_NE(ran.err.find("'isam locks old' tells by whom"), std::string::npos) << ran.err;
}

TEST_F(Whole, RenameTakesTheLayoutAlong) {
    makeOrders(3);
    put("orders.layout", "record 30\nfield no 0 4 long\nindex unique no\n");
    const std::string layout = get("orders.layout");
    EXPECT_EQ(isam("rename orders old").err, "");
    EXPECT_EQ(get("old.layout"), layout);
    EXPECT_FALSE(std::filesystem::exists(path("orders.layout")));
    put("new.layout", "of something else");
    const Ran ran = isam("rename old new");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.err, "isam rename: old.layout stays: new.layout is there already\n");
    EXPECT_EQ(get("new.layout"), "of something else");
    EXPECT_EQ(get("old.layout"), layout);
}

TEST_F(Whole, IndexIsAddedWithTheFlagsAskedForAndFilled) {
    makeOrders(26);
    const Ran ran =
        isam("index add orders 4:1:char:desc 0:4:long --duplicates --compress leading,repeated --null 32,7 --nul");
    EXPECT_EQ(ran.status, 0) << ran.err;
    EXPECT_EQ(ran.out, "orders: index 3 added\n");
    const OpenFile file = OpenFile::forReading("orders");
    const std::vector<KeyDesc> keys = file.indexes();
    ASSERT_EQ(keys.size(), 3U);
    EXPECT_EQ(keys[2].flags, ISDUPS | ISLEADCOMP | ISDUPCOMP | ISNULLKEY | ISTRAILNUL);
    EXPECT_EQ(keys[2].nparts, 2);
    EXPECT_EQ(keys[2].parts[0].start, 4);
    EXPECT_EQ(keys[2].parts[0].length, 1);
    EXPECT_EQ(keys[2].parts[0].type, CHARTYPE | ISDESC | 32 << 8);
    EXPECT_EQ(keys[2].parts[1].type, LONGTYPE | 7 << 8);
    std::vector<char> record(30);
    ASSERT_EQ(isindex(file.fd(), 3, 0), 0);
    ASSERT_EQ(isread(file.fd(), record.data(), ISFIRST), 0);
    EXPECT_EQ(record[4], 'z');
    EXPECT_EQ(ischeckindex(file.fd(), 3), 0);
}

TEST_F(Whole, IndexTakesFieldsOfTheLayout) {
    makeOrders(3);
    put("orders.layout", "record 30\nfield no 0 4 long\nfield name 4 6 char\nfield price 10 8 double\n"
                         "index unique no\nindex duplicates name\n");
    EXPECT_EQ(isam("index add orders price:desc no --duplicates").status, 0);
    const std::vector<KeyDesc> keys = OpenFile::forReading("orders").indexes();
    ASSERT_EQ(keys.size(), 3U);
    EXPECT_EQ(keys[2].parts[0].start, 10);
    EXPECT_EQ(keys[2].parts[0].type, DOUBLETYPE | ISDESC);
    EXPECT_EQ(keys[2].parts[1].type, LONGTYPE);
    EXPECT_EQ(isam("index add orders weight").err,
              "isam index add: weight: neither START:LENGTH:TYPE nor a field of the file's layout\n");
}

TEST_F(Whole, IndexSaysWhatIsWrongWithAKey) {
    makeOrders(3);
    expectFailure("index add orders 0:4:word",
                  "isam index add: 0:4:word: TYPE is one of char, int, long, double, float, mint, mlong, string\n");
    expectFailure("index add orders 0:5:long", "isam index add: 0:5:long: the length of long is a multiple of 4\n");
    expectFailure("index add orders x:5:char", "isam index add: x:5:char: START and LENGTH are numbers up to 32767\n");
    expectFailure("index add orders 0:70000:char",
                  "isam index add: 0:70000:char: START and LENGTH are numbers up to 32767\n");
    expectFailure("index add orders 1:2",
                  "isam index add: 1:2: neither START:LENGTH:TYPE nor START:LENGTH:TYPE:desc\n");
    expectFailure("index add orders 4:1:char --compress much",
                  "isam index add: much: what is compressed is leading, trailing, repeated or all\n");
    expectFailure("index add orders 4:1:char --null 1,2",
                  "isam index add: --null takes one byte for all parts, or one for each\n");
    EXPECT_EQ(isam("index add orders 4:1:char --null 256").status, 2);
    expectFailure("index add orders 28:4:char",
                  "isam index add: orders: 28:4:char: ends behind the record's 30 bytes\n");
    expectFailure("index add orders 0:30:char 0:30:char 0:30:char 0:30:char 0:9:char",
                  "isam index add: orders: the key would have 129 bytes; 128 is the most\n");
    expectFailure("index add orders 4:6:char",
                  "isam index add: orders: the index cannot be added: index 2 has the same parts (108)\n");
    expectFailure("index add orders 12:4:char",
                  "isam index add: orders: the index cannot be added: two records have the "
                  "same key (100); with --duplicates they may\n");
    expectFailure("index add orders price",
                  "isam index add: price: not START:LENGTH:TYPE, and there is no orders.layout "
                  "that names fields\n");
    EXPECT_EQ(OpenFile::forReading("orders").indexes().size(), 2U);
    const OpenFile holder = OpenFile::forReading("orders");
    expectFailure(
        "index add orders 4:1:char --duplicates",
        "isam index add: orders: cannot be opened: File is in use (113); 'isam locks orders' tells by whom\n");
}

TEST_F(Whole, IndexesAreNineAtTheMost) {
    makeOrders(3);
    for (int i = 3; i <= ISMAXINDEXES; ++i)
        EXPECT_EQ(isam("index add orders " + std::to_string(i) + ":1:char --duplicates").status, 0);
    expectFailure("index add orders 20:1:char --duplicates",
                  "isam index add: orders: has as many indexes as a file can have: 9\n");
}

TEST_F(Whole, WhoDropsThePrimaryKeyIsToldWhatTakesItsPlace) {
    makeOrders(3);
    EXPECT_EQ(isam("index drop orders 1").out,
              "orders: index 1 dropped\norders: the primary key is now 4:6:char, which is not unique: isrewrite and "
              "isdelete refuse it\n");
    expectFailure("index drop orders 1",
                  "isam index drop: orders: the index cannot be dropped: it is the only one of a "
                  "file with a primary key\n");
    expectFailure("index drop orders 1 2", "isam index drop: one index at a time: those behind it move down by one\n");
}

TEST_F(Whole, IndexIsDroppedByNumberOrByParts) {
    makeOrders(3);
    EXPECT_EQ(isam("index add orders 10:2:char:desc --duplicates").status, 0);
    expectFailure("index drop orders 4", "isam index drop: orders: there is no index 4\n");
    expectFailure("index drop orders 10:2:char", "isam index drop: orders: no index has these parts\n");
    EXPECT_EQ(isam("index drop orders 2").out, "orders: index 2 dropped\n");
    EXPECT_EQ(isam("index drop orders 10:2:char:desc").out, "orders: index 2 dropped\n");
    const Ran ran = isam("index drop orders 1");
    EXPECT_EQ(ran.status, 2) << "the last one";
    EXPECT_EQ(OpenFile::forReading("orders").indexes().size(), 1U);
}

TEST_F(Whole, IndexesAreListedForReadersAndForPrograms) {
    makeOrders(3);
    EXPECT_EQ(isam("index list orders").out, "1  0:4:long  unique\n2  4:6:char  duplicates\n");
    const nlohmann::json json = nlohmann::json::parse(isam("index list orders --json").out);
    EXPECT_EQ(json["primaryKey"], true);
    EXPECT_EQ(json["indexes"][1]["number"], 2);
    EXPECT_EQ(json["indexes"][1]["duplicates"], true);
    EXPECT_EQ(json["indexes"][1]["parts"][0]["start"], 4);
    EXPECT_EQ(json["indexes"][1]["parts"][0]["type"], "char");
    const Kind none = allKinds()[11];
    makeSample("numbers", none, 1, 3);
    EXPECT_EQ(isam("index list numbers").out, "-  record-number order comes first\n1  4:6:char  duplicates\n2  "
                                              "16:2:int:desc  duplicates, repeated keys once\n");
}

TEST_F(Whole, LongWorkIsQuietWhereNobodyLooks) {
    makeOrders(20000);
    EXPECT_EQ(isam("hash orders").err, "");
    EXPECT_EQ(isam("cluster orders").err, "");
}

}  // namespace
