// isam repair: from any damage to a working file, with all that could be saved in it.
#include "tools/sample_files.h"
#include "tools/tool_run.h"

#include <algorithm>
#include <functional>
#include <isam.h>
#include <nlohmann/json.hpp>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using nlohmann::json;
using tool_tests::contentsOf;
using tool_tests::countsOf;
using tool_tests::kSampleRecord;
using tool_tests::Ran;
using tool_tests::sampleSlot;
using tool_tests::ToolTest;
using Contents = std::map<long, std::string>;

constexpr std::size_t kNode = 1024;
constexpr int kRecords = 400;

bool hasTails(const std::string &kind) { return kind == "variable" || kind == "compressed"; }

class Repair : public ToolTest {
  protected:
    void change(const std::string &name, const std::function<void(std::string &)> &how) const {
        std::string bytes = get(name);
        how(bytes);
        put(name, bytes);
    }

    // Mends and sees that all checks are content, with the report as the result.
    json mended(const std::string &kind) const {
        const Ran ran = isam("repair --json " + kind);
        EXPECT_EQ(ran.status, 0) << kind << ran.err;
        const Ran check = isam("check " + kind);
        EXPECT_EQ(check.status, 0) << kind << check.out << check.err;
        return ran.status == 0 ? json::parse(ran.out) : json();
    }

    // What stands in both files is as it was before; of records whose tails are lost the fixed part is.
    static void expectSaved(const std::string &kind, const Contents &before, const Contents &after,
                            std::size_t tails_lost) {
        ASSERT_EQ(before.size(), after.size()) << kind;
        std::size_t shortened = 0;
        for (const auto &[number, bytes] : before) {
            const std::string &now = after.at(number);
            if (now == bytes) continue;
            ++shortened;
            EXPECT_EQ(now, bytes.substr(0, kSampleRecord)) << kind << " record " << number;
        }
        EXPECT_EQ(shortened, tails_lost) << kind;
    }
};

// Kinds of damage to the index file after which no record may be lost.
struct Damage {
    const char *what;
    std::function<void(std::string &)> how;
    bool needsLayout;
};

void zero(std::string &bytes, std::size_t from, std::size_t length) {
    for (std::size_t at = from; at < std::min(bytes.size(), from + length); ++at)
        bytes[at] = '\0';
}

const std::vector<Damage> &damages() {
    static const std::vector<Damage> all = {
        {"header zeroed", [](std::string &b) { zero(b, 0, kNode); }, true},
        {"header's node size", [](std::string &b) { b[6] = 0x7f; }, false},
        {"header's record length", [](std::string &b) { b[14] ^= 0x40; }, false},
        {"header's serial width", [](std::string &b) { b[11] = 2; }, false},
        {"header's list of indexes", [](std::string &b) { b[18] = 0x7f; }, false},
        {"header's highest record number",
         [](std::string &b) {
             b[35] = 0;
             b[36] = 9;
         },
         false},
        {"header's lists of free numbers",
         [](std::string &b) {
             b[28] = 3;
             b[32] = 4;
         },
         false},
        {"header's highest node number", [](std::string &b) { zero(b, 37, 4); }, false},
        {"description node zeroed", [](std::string &b) { zero(b, kNode, kNode); }, true},
        {"roots zeroed", [](std::string &b) { zero(b, 2 * kNode, 3 * kNode); }, false},
        {"nodes zeroed", [](std::string &b) { zero(b, 6 * kNode, 4 * kNode); }, false},
        {"the whole but the header zeroed", [](std::string &b) { zero(b, kNode, b.size()); }, true},
        {"cut within a node", [](std::string &b) { b.resize(b.size() - kNode * 3 - 100); }, false},
        {"cut behind the header", [](std::string &b) { b.resize(kNode); }, true},
        {"cut within the header", [](std::string &b) { b.resize(300); }, true},
        {"empty", [](std::string &b) { b.clear(); }, true},
        {"text in its place", [](std::string &b) { b = "this is no index file\n"; }, true},
        {"a flipped byte in each node",
         [](std::string &b) {
             for (std::size_t at = 2 * kNode + 1; at < b.size(); at += kNode)
                 b[at] ^= 0x10;
         },
         false},
    };
    return all;
}

class RepairOfKind : public Repair, public testing::WithParamInterface<std::string> {};

TEST_P(RepairOfKind, SavesAllRecordsFromAnyDamageToTheIndexFile) {
    const std::string kind = GetParam();
    tool_tests::buildSample(kind, kRecords);
    const Contents before = contentsOf(kind);
    const std::vector<long> counts = countsOf(kind);
    const std::string index = get(kind + ".idx"), data = get(kind + ".dat");
    for (const Damage &damage : damages()) {
        SCOPED_TRACE(kind + ": " + damage.what);
        put(kind + ".idx", index);
        put(kind + ".dat", data);
        change(kind + ".idx", damage.how);
        std::filesystem::remove(path(kind + ".layout"));
        if (damage.needsLayout) put(kind + ".layout", tool_tests::sampleLayout(kind));
        const Ran check = isam("check " + kind);
        EXPECT_EQ(check.status, 1) << check.out << check.err;
        const json report = mended(kind);
        const auto lost = report.value("tailsLost", std::size_t{0});
        EXPECT_TRUE(lost == 0 || hasTails(kind));
        expectSaved(kind, before, contentsOf(kind), lost);
        EXPECT_EQ(countsOf(kind), counts);
    }
}

TEST_P(RepairOfKind, BuildsALostIndexFileFromLayoutAndData) {
    const std::string kind = GetParam();
    tool_tests::buildSample(kind, kRecords);
    const Contents before = contentsOf(kind);
    std::filesystem::remove(path(kind + ".idx"));
    const Ran without = isam("repair " + kind);
    EXPECT_EQ(without.status, 2);
    EXPECT_EQ(without.err, "isam repair: " + kind + ": its indexes cannot be told any more: describe the records in " +
                               kind + ".layout and repair it again\n");
    put(kind + ".layout", tool_tests::sampleLayout(kind));
    const json report = mended(kind);
    std::size_t tails = 0;
    for (const auto &[number, bytes] : before)
        if (hasTails(kind) && bytes.size() > kSampleRecord) ++tails;
    EXPECT_EQ(report["tailsLost"], tails);
    expectSaved(kind, before, contentsOf(kind), tails);
}

TEST_P(RepairOfKind, KeepsWhatADataFileThatWasCutStillHas) {
    const std::string kind = GetParam();
    tool_tests::buildSample(kind, kRecords);
    Contents before = contentsOf(kind);
    const int slot = sampleSlot(kind);
    change(kind + ".dat", [slot](std::string &bytes) { bytes.resize(static_cast<std::size_t>(slot) * 300 + 7); });
    const json report = mended(kind);
    EXPECT_EQ(report["slotsMissing"], 100);
    before.erase(before.upper_bound(300), before.end());
    expectSaved(kind, before, contentsOf(kind), 0);
    const int fd = isopen(kind.c_str(), ISINOUT | ISLOCKEXCL | ISVARAUTO);
    ASSERT_GE(fd, 0);
    long last = 0;
    EXPECT_EQ(isgetlastrec(fd, &last), 0);
    EXPECT_EQ(last, 300);
    ASSERT_EQ(isclose(fd), 0);
}

INSTANTIATE_TEST_SUITE_P(Kinds, RepairOfKind, testing::Values("fixed", "variable", "compressed", "masks", "heap"),
                         [](const auto &info) { return info.param; });

TEST_F(Repair, LeavesASoundFileAlone) {
    tool_tests::buildSample("fixed", kRecords);
    const std::string index = get("fixed.idx");
    const Ran ran = isam("repair fixed");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "fixed: sound, nothing to mend\n");
    EXPECT_EQ(get("fixed.idx"), index);
    EXPECT_FALSE(std::filesystem::exists(path("fixed.idx.before-repair")));
}

TEST_F(Repair, MendsInPlaceWhatSuffices) {
    tool_tests::buildSample("fixed", kRecords);
    const Contents before = contentsOf("fixed");
    change("fixed.dat", [](std::string &bytes) { bytes[31 * 9 + 30] = '\0'; });
    const std::string index = get("fixed.idx"), data = get("fixed.dat");
    const Ran ran = isam("repair fixed");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "fixed: a copy is in fixed.idx.before-repair\n"
                       "fixed: a copy is in fixed.dat.before-repair\n"
                       "fixed: list of free record numbers made anew\n"
                       "fixed: index 1 made anew\n"
                       "fixed: index 2 made anew\n"
                       "fixed: index 3 made anew\n"
                       "fixed: 1 record is marked deleted, though indexes have the keys: taken for deleted\n"
                       "fixed: sound again; where transactions are logged, begin a new log\n");
    EXPECT_EQ(get("fixed.idx.before-repair"), index);
    EXPECT_EQ(get("fixed.dat.before-repair"), data);
    Contents expected = before;
    expected.erase(10);
    EXPECT_EQ(contentsOf("fixed"), expected);
}

// Zeros in a slot look as a deleted record does.
TEST_F(Repair, TellsHowManyRecordsTheDataFileHasLost) {
    tool_tests::buildSample("fixed", kRecords);
    Contents expected = contentsOf("fixed");
    const std::string index = get("fixed.idx");
    change("fixed.dat", [](std::string &bytes) { zero(bytes, 31 * 9, 31 * 5); });
    const std::string line = "fixed: 5 records are lost: indexes have the keys, but something else stands in the data "
                             "file\n";
    EXPECT_NE(isam("repair --dry-run fixed").out.find(line), std::string::npos);
    const std::string data = get("fixed.dat");
    const json report = mended("fixed");
    EXPECT_EQ(report["recordsLost"], 5);
    EXPECT_EQ(report["recordsDeleted"], 0);
    expected.erase(expected.lower_bound(10), expected.upper_bound(14));
    EXPECT_EQ(contentsOf("fixed"), expected);
    // The same where a new set is made.
    put("fixed.idx", index);
    put("fixed.dat", data);
    change("fixed.idx", [](std::string &bytes) { bytes[18] = 0x7f; });
    EXPECT_EQ(mended("fixed")["recordsLost"], 5);
    EXPECT_EQ(contentsOf("fixed"), expected);
}

TEST_F(Repair, SaysInADryRunWhatItWouldDoAndDoesNothing) {
    tool_tests::buildSample("fixed", kRecords);
    change("fixed.idx", [](std::string &bytes) { zero(bytes, 3 * kNode, kNode); });
    const std::string index = get("fixed.idx");
    const Ran ran = isam("repair --dry-run fixed");
    EXPECT_EQ(ran.status, 0);
    EXPECT_EQ(ran.out, "fixed: would copy to fixed.idx.before-repair\n"
                       "fixed: would copy to fixed.dat.before-repair\n"
                       "fixed: would have the index 2 made anew\n"
                       "fixed: where that does not suffice, a new set would be made from the records\n");
    change("fixed.idx", [](std::string &bytes) { bytes[18] = 0x7f; });
    const Ran anew = isam("repair --dry-run --no-copy fixed");
    EXPECT_EQ(anew.status, 0);
    EXPECT_EQ(anew.out, "fixed: 3 indexes found in the index file without its list; one that is missing must be added "
                        "again\nfixed: the set would be made anew from 390 records\n");
    EXPECT_FALSE(std::filesystem::exists(path("fixed.idx.before-repair")));
    EXPECT_FALSE(std::filesystem::exists(path("fixed.being-repaired.idx")));
}

TEST_F(Repair, NumbersItsCopiesAndMakesNoneWhenToldSo) {
    tool_tests::buildSample("fixed", kRecords);
    const auto hit = [](std::string &bytes) {
        zero(bytes, 3 * kNode, kNode);
    };
    put("fixed.dat.before-repair", "an older one");
    change("fixed.idx", hit);
    EXPECT_EQ(mended("fixed")["copies"], json({"fixed.idx.before-repair-2", "fixed.dat.before-repair-2"}));
    EXPECT_EQ(get("fixed.dat.before-repair"), "an older one");
    change("fixed.idx", hit);
    EXPECT_EQ(isam("repair --no-copy fixed").status, 0);
    EXPECT_FALSE(std::filesystem::exists(path("fixed.idx.before-repair-3")));
}

TEST_F(Repair, KeepsSettingsAndPermissions) {
    tool_tests::buildSample("masks", kRecords);
    const int fd = isopen("masks", ISINOUT | ISLOCKEXCL);
    char name[] = "trail";
    ASSERT_EQ(isprecious(fd, 1), 0);
    ASSERT_EQ(isaudit(fd, name, ISAUDSETNAME), 0);
    ASSERT_EQ(isaudit(fd, nullptr, ISAUDSTART), 0);
    ASSERT_EQ(isclose(fd), 0);
    chmod(path("masks.dat").c_str(), 0640);
    change("masks.idx", [](std::string &bytes) { zero(bytes, 3 * kNode, kNode); });
    mended("masks");
    const json info = json::parse(isam("info --json masks").out);
    EXPECT_EQ(info["precious"], true);
    EXPECT_EQ(info["highestRecord"], kRecords);
    EXPECT_EQ(info["nextId"], 77);
    EXPECT_EQ(info["userArea"], "68656c6c6f0000000000");
    EXPECT_EQ(info["audit"], json({{"name", "trail"}, {"on", true}}));
    struct stat status;
    ASSERT_EQ(stat(path("masks.dat").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777U, 0640U);
}

TEST_F(Repair, GivesFreeNumbersOutAgain) {
    tool_tests::buildSample("fixed", kRecords);
    change("fixed.idx", [](std::string &bytes) { bytes[18] = 0x7f; });
    mended("fixed");
    const int fd = isopen("fixed", ISINOUT | ISLOCKEXCL);
    std::vector<char> record(kSampleRecord, 'x');
    ASSERT_EQ(iswrite(fd, record.data()), 0);
    EXPECT_EQ(isrecnum % 40, 5);
    ASSERT_EQ(isclose(fd), 0);
}

TEST_F(Repair, PutsRecordsWhoseKeyIsThereAlreadyAside) {
    tool_tests::buildSample("fixed", kRecords);
    Contents expected = contentsOf("fixed");
    // Record 20 gets the unique number of record 10.
    change("fixed.dat", [](std::string &bytes) { bytes.replace(31 * 19, 4, bytes.substr(31 * 9, 4)); });
    const std::string twin = get("fixed.dat").substr(31 * 19, kSampleRecord);
    const json report = mended("fixed");
    EXPECT_EQ(report["rejected"], 1);
    EXPECT_EQ(report["rejects"], "fixed.rejected");
    EXPECT_EQ(get("fixed.rejected"), twin);
    expected.erase(20);
    EXPECT_EQ(contentsOf("fixed"), expected);
}

TEST_F(Repair, GivesRecordsTheirMarkBackThatAnIndexLeadsTo) {
    tool_tests::buildSample("variable", kRecords);
    const Contents before = contentsOf("variable");
    const auto slot = static_cast<std::size_t>(sampleSlot("variable"));
    change("variable.dat", [slot](std::string &bytes) { bytes[slot * 19 + kSampleRecord] = 'x'; });
    mended("variable");
    EXPECT_EQ(contentsOf("variable"), before);
    // With another key as well nothing tells that it is one.
    change("variable.dat", [slot](std::string &bytes) {
        bytes[slot * 19 + kSampleRecord] = 'x';
        bytes[slot * 19] = 'x';
        bytes[slot * 19 + 4] = 'x';
    });
    const json report = mended("variable");
    EXPECT_EQ(report["rejected"], 1);
    const std::string rejected = get("variable.rejected");
    ASSERT_GE(rejected.size(), 4U + kSampleRecord);
    EXPECT_EQ(ldlong(rejected.data()), static_cast<long>(rejected.size()) - 4);
    EXPECT_EQ(rejected.substr(5, 3), before.at(20).substr(1, 3));
    Contents expected = before;
    expected.erase(20);
    EXPECT_EQ(contentsOf("variable"), expected);
}

TEST_F(Repair, KeepsTheFixedPartOfARecordWhoseTailIsDamaged) {
    tool_tests::buildSample("variable", kRecords);
    Contents expected = contentsOf("variable");
    const auto slot = static_cast<std::size_t>(sampleSlot("variable"));
    change("variable.dat", [slot](std::string &bytes) { bytes[slot * 19 + kSampleRecord + 2] ^= 0x55; });
    EXPECT_EQ(mended("variable")["tailsLost"], 1);
    expected[20].resize(kSampleRecord);
    EXPECT_EQ(contentsOf("variable"), expected);
}

TEST_F(Repair, SavesKeysWithoutRecordsFromTheLeavesThatAreLeft) {
    tool_tests::buildSample("keys", 1000);
    const Contents before = contentsOf("keys");
    change("keys.idx", [](std::string &bytes) { zero(bytes, 2 * kNode, kNode); });  // the root
    EXPECT_EQ(mended("keys")["records"], 1000);
    EXPECT_EQ(contentsOf("keys"), before);
    change("keys.idx", [](std::string &bytes) { zero(bytes, 5 * kNode, kNode); });  // a leaf
    mended("keys");
    const Contents after = contentsOf("keys");
    EXPECT_LT(after.size(), before.size());
    EXPECT_GT(after.size(), before.size() * 8 / 10);
    EXPECT_TRUE(std::includes(before.begin(), before.end(), after.begin(), after.end()));
}

TEST_F(Repair, CannotMakeRecordsFromKeys) {
    tool_tests::buildSample("fixed", kRecords);
    std::filesystem::remove(path("fixed.dat"));
    const Ran ran = isam("repair fixed");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam repair: fixed: the data file is missing: there is nothing to make the records from\n");
    EXPECT_FALSE(std::filesystem::exists(path("fixed.idx.before-repair")));
}

TEST_F(Repair, SaysWhoHasTheFileOpen) {
    tool_tests::buildSample("fixed", kRecords);
    change("fixed.idx", [](std::string &bytes) { zero(bytes, 3 * kNode, kNode); });
    const std::string index = get("fixed.idx");
    const int fd = isopen("fixed", ISINOUT | ISLOCKMANUAL);
    const Ran ran = isam("repair fixed");
    EXPECT_EQ(ran.status, 2);
    EXPECT_EQ(ran.err, "isam repair: fixed: in use: process " + std::to_string(getpid()) + " has it open\n");
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(get("fixed.idx"), index);
}

TEST_F(Repair, MendsBehindALinkFile) {
    tool_tests::buildSample("fixed", kRecords);
    const Contents before = contentsOf("fixed");
    std::filesystem::create_directory(path("elsewhere"));
    std::filesystem::rename(path("fixed.idx"), path("elsewhere/real.idx"));
    std::filesystem::rename(path("fixed.dat"), path("elsewhere/real.dat"));
    put("fixed.lnk", "elsewhere/real\n");
    change("elsewhere/real.idx", [](std::string &bytes) { bytes[18] = 0x7f; });
    mended("fixed");
    EXPECT_EQ(contentsOf("fixed"), before);
    EXPECT_TRUE(std::filesystem::exists(path("elsewhere/real.idx.before-repair")));
}

}  // namespace
