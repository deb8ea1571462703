#include "long_jobs.h"
#include "process_test.h"
#include "txn_jobs.h"

#include "support/bytes.h"

#include <fstream>
#include <iterator>
#include <map>

namespace process_testing {
namespace {

constexpr std::size_t kHead = 14;

struct Entry {
    std::string type;
    std::uint32_t process = 0;
    std::uint32_t number = 0;
    std::string image;  // what follows the head
};

std::string bytesOf(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::uint32_t processOf(const Worker &worker) { return static_cast<std::uint32_t>(worker.pid()) & 0xffffU; }

// Entries of items and of long records with tails. An item begins with a digit, which would be a length out of reach.
std::vector<Entry> readTrail(const std::string &path) {
    const std::string trail = bytesOf(path);
    const auto *bytes = reinterpret_cast<const std::uint8_t *>(trail.data());
    std::vector<Entry> out;
    for (std::size_t at = 0; at < trail.size();) {
        if (trail.size() - at < kHead + 2) {
            ADD_FAILURE() << "entry at " << at << " is cut off";
            break;
        }
        std::size_t length = testing_support::be16(bytes + at + kHead);
        length = length > kLongMaximum ? kItemLength : length + 2;
        if (trail.size() - at < kHead + length) {
            ADD_FAILURE() << "entry at " << at << " is cut off";
            break;
        }
        out.push_back({trail.substr(at, 2), testing_support::be16(bytes + at + 6),
                       testing_support::be32(bytes + at + 10), trail.substr(at + kHead, length)});
        at += kHead + length;
    }
    return out;
}

class SharedAudit : public ProcessTest {
  protected:
    // Types and writers of a trail's entries, a process by its letter.
    std::string entries(const std::string &path) const {
        std::string out;
        for (const Entry &entry : readTrail(path)) {
            const char *who = entry.process == processOf(a) ? "a" : entry.process == processOf(b) ? "b" : "?";
            out += (out.empty() ? "" : " ") + entry.type + ":" + who;
        }
        return out;
    }

    void startBoth() {
        build(1);
        open(a);
        open(b);
    }

    Worker a, b;
    const std::string trail = dir.file("trail"), second = dir.file("second");
};

// Neither had settings when it opened the file.
TEST_F(SharedAudit, SettingsOfOneGovernTheNextCallOfTheOther) {
    startBoth();
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSETNAME, trail)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(2))));
    EXPECT_EQ(entries(trail), "");
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSTART)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(3))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(4))));
    EXPECT_EQ(entries(trail), "aa:b aa:a");
    EXPECT_TRUE(succeeds(b, jobs::audit(0, ISAUDSTOP)));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(0, item(3, 1))));
    EXPECT_EQ(entries(trail), "aa:b aa:a");
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSTART)));
    EXPECT_TRUE(succeeds(b, jobs::rewrite(0, item(3, 2))));
    EXPECT_TRUE(succeeds(b, jobs::remove(0, item(4))));
    EXPECT_EQ(entries(trail), "aa:b aa:a rr:b ww:b dd:b");
}

TEST_F(SharedAudit, NameSetByOneIsTheOthersToo) {
    startBoth();
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSETNAME, trail)));
    EXPECT_TRUE(succeeds(b, jobs::audit(0, ISAUDSTART)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(2))));
    EXPECT_TRUE(succeeds(b, jobs::audit(0, ISAUDSETNAME, second)));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(3))));
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDGETNAME)));
    EXPECT_STREQ(a.last().record, second.c_str());
    EXPECT_EQ(entries(trail), "aa:a");
    EXPECT_EQ(entries(second), "aa:a");
}

TEST_F(SharedAudit, StateIsToldAsTheOtherLeftIt) {
    startBoth();
    EXPECT_TRUE(fails(b, jobs::audit(0, ISAUDINFO), ISERR_ARGUMENT));
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSETNAME, trail)));
    for (const int mode : {ISAUDSTART, ISAUDSTOP, ISAUDSTART}) {
        EXPECT_TRUE(succeeds(a, jobs::audit(0, mode)));
        EXPECT_TRUE(succeeds(b, jobs::audit(0, ISAUDINFO, "?")));
        EXPECT_EQ(b.last().record[0], mode == ISAUDSTART ? 1 : 0);
    }
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectSound();
}

// A refused setting is no setting.
TEST_F(SharedAudit, RefusedNameChangesNothingForEither) {
    startBoth();
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSETNAME, trail)));
    EXPECT_TRUE(succeeds(a, jobs::audit(0, ISAUDSTART)));
    EXPECT_TRUE(fails(b, jobs::audit(0, ISAUDSETNAME, std::string(ISAUDNAMELEN + 1, 'x')), ISERR_NAMETOOLONG));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(2))));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(3))));
    EXPECT_EQ(entries(trail), "aa:b aa:a");
}

constexpr int kEach = 400;

int longLength(int key) { return kLongMinimum + 1 + key * 37 % 4800; }

bool auditItem(int key) {
    std::string record = item(key, 1), changed = item(key, 2);
    return iswrite(0, record.data()) == 0 && isrewrite(0, changed.data()) == 0 && isdelete(0, record.data()) == 0;
}

bool auditLong(int key) {
    std::string record = longRecord(key, longLength(key)), changed = longRecord(key, longLength(key + 1));
    isreclen = static_cast<int>(record.size());
    if (iswrite(1, record.data()) != 0) return false;
    isreclen = static_cast<int>(changed.size());
    return isrewrite(1, changed.data()) == 0 && isdelete(1, changed.data()) == 0;
}

// Adds, rewrites and deletes items (descriptor 0) and long records (1). One process begins with these, the other with
// those: in one file they would have to wait for each other.
int auditMany(Job &job) {
    for (int i = 0; i < 2 * kEach; ++i) {
        const int key = 2 * (i % kEach) + static_cast<int>(job.number);
        if (i / kEach == job.number ? !auditItem(key) : !auditLong(key)) return -1;
    }
    return 0;
}

// What a record's four entries should show.
std::vector<std::string> imagesOf(int key, bool isLong) {
    const auto image = [&](int version) {
        if (!isLong) return item(key, version);
        std::string record = longRecord(key, longLength(key + version - 1));
        const auto length = static_cast<unsigned>(record.size());
        return std::string({static_cast<char>(length >> 8U), static_cast<char>(length & 0xffU)}) + record;
    };
    return {"aa" + image(1), "rr" + image(1), "ww" + image(2), "dd" + image(2)};
}

TEST_F(SharedAudit, EntriesOfTwoProcessesInOneTrailAreWhole) {
    const std::string longBase = dir.file("long");
    build(0);
    ASSERT_TRUE(succeeds(a, jobs::buildLong(longBase, false)));
    ASSERT_TRUE(succeeds(a, jobs::close(0)));
    for (Worker *worker : {&a, &b}) {
        open(*worker);
        ASSERT_TRUE(succeeds(*worker, jobs::openLong(longBase, kShared)));
    }
    for (const int fd : {0, 1}) {
        ASSERT_TRUE(succeeds(a, jobs::audit(fd, ISAUDSETNAME, trail)));
        ASSERT_TRUE(succeeds(a, jobs::audit(fd, ISAUDSTART)));
    }
    a.start(jobs::quiet(jobs::withNumber(jobs::call(0, auditMany), 0)));
    b.start(jobs::quiet(jobs::withNumber(jobs::call(0, auditMany), 1)));
    for (Worker *worker : {&a, &b})
        EXPECT_EQ(worker->finish().result, 0) << "error " << worker->last().error << ", io " << worker->last().io;

    // Of each record, in the order in which they came.
    std::map<std::pair<int, bool>, std::vector<std::string>> found;
    for (const Entry &entry : readTrail(trail)) {
        const bool isLong = entry.image[0] != '0';
        const int key = std::stoi(entry.image.substr(isLong ? 2 : 0, 8));
        EXPECT_EQ(entry.process, processOf(key % 2 == 0 ? a : b));
        found[{key, isLong}].push_back(entry.type + entry.image);
    }
    EXPECT_EQ(found.size(), 4U * kEach);
    for (const auto &[record, images] : found)
        EXPECT_TRUE(images == imagesOf(record.first, record.second)) << record.first << (record.second ? " long" : "");
}

}  // namespace
}  // namespace process_testing
