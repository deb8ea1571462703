// One file under two names in one process. To the system both handles' locks are the process's, and closing any
// descriptor of a file drops them all: what one handle does must not cost the other its locks.
#include "process_test.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace process_testing {
namespace {

struct Spelling {
    const char *name;
    // Makes another name for the file in the directory; the worker's current directory is that.
    std::string (*make)(const testing_support::TempDir &dir);
};
void PrintTo(const Spelling &spelling, std::ostream *out) { *out << spelling.name; }

std::string linked(const testing_support::TempDir &dir, const char *name,
                   void (*link)(const std::filesystem::path &, const std::filesystem::path &)) {
    for (const char *extension : {".idx", ".dat"})
        link(dir.file("items") + extension, dir.file(name) + extension);
    return dir.file(name);
}

constexpr Spelling kSpellings[] = {
    {"Relative",
     [](const testing_support::TempDir &) {
         return std::string("items");
     }},
    {"Dot",
     [](const testing_support::TempDir &dir) {
         return dir.file("./items");
     }},
    {"DotDot",
     [](const testing_support::TempDir &dir) {
         std::filesystem::create_directory(dir.file("sub"));
         return dir.file("sub/../items");
     }},
    {"LinkedDirectory",
     [](const testing_support::TempDir &dir) {
         std::filesystem::create_directory_symlink(dir.path(), dir.file("sub"));
         return dir.file("sub/items");
     }},
    {"SymbolicLinks",
     [](const testing_support::TempDir &dir) {
         return linked(dir, "soft",
                       [](const auto &to, const auto &from) { std::filesystem::create_symlink(to, from); });
     }},
    {"HardLinks",
     [](const testing_support::TempDir &dir) {
         return linked(dir, "hard",
                       [](const auto &to, const auto &from) { std::filesystem::create_hard_link(to, from); });
     }},
    {"LinkFile",
     [](const testing_support::TempDir &dir) {
         std::ofstream(dir.file("led.lnk")) << dir.file("items") << '\n';
         return dir.file("led");
     }},
};

class PosixLocksSpelling : public ProcessTest, public testing::WithParamInterface<Spelling> {
  protected:
    void SetUp() override {
        build(4);
        other = GetParam().make(dir);
        const auto enter = [](Job &j) {
            iserrno = 0;
            return chdir(j.name);
        };
        ASSERT_TRUE(succeeds(a, jobs::withName(jobs::call(0, enter), dir.path())));
    }
    void openBoth() {
        open(a);
        ASSERT_TRUE(succeeds(a, jobs::open(other, kShared)));
        ASSERT_EQ(a.last().result, 1);
    }
    static Job lockRecord(int fd, int key) { return jobs::read(fd, ISEQUAL | ISLOCK, item(key)); }

    // As another process sees it: the open lock, and locks of these records.
    void expectLocks(std::initializer_list<int> records) const {
        const std::vector<HeldLock> opened = {{kOpenStart, kAreaLength, F_RDLCK, a.pid()}};
        EXPECT_EQ(RawFile(indexPath()).held(), opened);
        std::vector<HeldLock> locked;
        for (const HeldLock &each : RawFile(dataPath()).held())
            for (std::int64_t i = 0; i < each.length; ++i)
                locked.push_back({each.start + i, 1, each.type, each.pid});
        std::vector<HeldLock> wanted;
        for (const int number : records)
            wanted.push_back({kRecordStart + number, 1, F_WRLCK, a.pid()});
        EXPECT_EQ(locked, wanted);
    }
    void expectNoLocks() const {
        EXPECT_TRUE(RawFile(indexPath()).held().empty());
        EXPECT_TRUE(RawFile(dataPath()).held().empty());
    }
    long descriptors() {
        const auto count = [](Job &j) {
            iserrno = 0;
            j.number = 0;
            for ([[maybe_unused]] const auto &entry : std::filesystem::directory_iterator("/proc/self/fd"))
                ++j.number;
            return 0;
        };
        EXPECT_TRUE(succeeds(a, jobs::call(0, count)));
        return a.last().number;
    }

    Worker a, b;
    std::string other;
};

TEST_P(PosixLocksSpelling, ClosingTheSecondKeepsTheFirstOnesLocks) {
    openBoth();
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(succeeds(a, lockRecord(1, 30)));
    expectLocks({2, 3});
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectLocks({2});
    open(b);
    EXPECT_TRUE(fails(b, lockRecord(0, 20), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(b, lockRecord(0, 30)));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectNoLocks();
}

TEST_P(PosixLocksSpelling, ClosingTheFirstKeepsTheSecondOnesLocks) {
    openBoth();
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(succeeds(a, lockRecord(1, 30)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectLocks({3});
    EXPECT_TRUE(fails(b, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(a, jobs::rewrite(1, item(30, 7))));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectNoLocks();
    open(b, kExclusive);
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectSound();
}

TEST_P(PosixLocksSpelling, ReleasingAllOfOneKeepsTheOthers) {
    openBoth();
    for (const auto release : {jobs::release, jobs::unlockAll}) {
        EXPECT_TRUE(succeeds(a, lockRecord(0, 10)));
        EXPECT_TRUE(succeeds(a, lockRecord(0, 40)));
        EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
        EXPECT_TRUE(succeeds(a, release(1)));
        expectLocks({1, 4});
        EXPECT_TRUE(succeeds(a, lockRecord(1, 30)));
        EXPECT_TRUE(succeeds(a, release(0)));
        expectLocks({3});
        EXPECT_TRUE(succeeds(a, release(1)));
        expectLocks({});
    }
}

TEST_P(PosixLocksSpelling, LockOfAllRecordsOutlivesTheOther) {
    openBoth();
    open(b);
    EXPECT_TRUE(succeeds(a, jobs::lockAll(0)));
    const auto expectAllLocked = [this] {
        for (const int key : {10, 20, 40})
            EXPECT_TRUE(fails(b, lockRecord(0, key), ISERR_LOCKED));
    };
    // Handles of one process do not see each other's lock of all records.
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(1, 2)));
    expectAllLocked();
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    EXPECT_TRUE(succeeds(a, jobs::release(1)));
    expectAllLocked();
    EXPECT_TRUE(succeeds(a, jobs::rewrite(1, item(20, 9))));
    expectAllLocked();
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectAllLocked();
    EXPECT_TRUE(succeeds(a, jobs::unlockAll(0)));
    EXPECT_TRUE(succeeds(b, lockRecord(0, 20)));
}

TEST_P(PosixLocksSpelling, RecordOfOneIsRefusedToTheOther) {
    openBoth();
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(fails(a, lockRecord(1, 20), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::rewrite(1, item(20, 9)), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::remove(1, item(20)), ISERR_LOCKED));
    EXPECT_TRUE(fails(a, jobs::lockAll(1), ISERR_LOCKED));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::releaseNumber(0, 2)));
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    expectLocks({2});
}

TEST_P(PosixLocksSpelling, ExclusiveIsRefusedBesideAnother) {
    open(a);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(fails(a, jobs::open(other, kExclusive), ISERR_FILEINUSE));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    open(a, kExclusive);
    EXPECT_TRUE(fails(a, jobs::open(other, kShared), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(a, jobs::open(other, kExclusive), ISERR_FILEINUSE));
    const std::vector<HeldLock> exclusive = {{kOpenStart, kAreaLength, F_WRLCK, a.pid()}};
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(50))));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectNoLocks();
}

TEST_P(PosixLocksSpelling, IndexesAreNotChangedBesideAnother) {
    openBoth();
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    EXPECT_TRUE(fails(a, jobs::addIndex(0, kByGroup), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(a, jobs::addIndex(1, kByGroup), ISERR_FILEINUSE));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::addIndex(1, kByGroup)));
    expectLocks({2});
}

Job eraseFiles(const std::string &name) {
    return jobs::withName(jobs::call(0, [](Job &j) { return iserase(j.name); }), name);
}
Job renameFiles(const std::string &name) {
    return jobs::withName(jobs::call(0,
                                     [](Job &j) {
                                         char to[sizeof j.name + 8];
                                         std::snprintf(to, sizeof to, "%s.new", j.name);
                                         return isrename(j.name, to);
                                     }),
                          name);
}

TEST_P(PosixLocksSpelling, ErasingAndRenamingAreRefusedBesideAnother) {
    open(a);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(fails(a, eraseFiles(other), ISERR_FILEINUSE));
    EXPECT_TRUE(fails(a, renameFiles(other), ISERR_FILEINUSE));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::read(0, ISLAST)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    expectSound();
}

TEST_P(PosixLocksSpelling, BuildingOverItIsRefused) {
    open(a);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    EXPECT_TRUE(fails(a, jobs::build(other, kItemLength, kByKey, kShared), EEXIST, 0x21));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(50))));
}

TEST_P(PosixLocksSpelling, EachSeesTheOthersChanges) {
    openBoth();
    EXPECT_TRUE(succeeds(a, jobs::write(1, item(5))));
    EXPECT_EQ(read(a, ISFIRST), item(5));
    EXPECT_TRUE(succeeds(a, jobs::remove(0, item(5))));
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISFIRST)));
    EXPECT_EQ(a.last().text(kItemLength), item(10, 1));
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(succeeds(a, jobs::write(i % 2, item(1000 + i * 7 % 200))));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectSound();
}

TEST_P(PosixLocksSpelling, OpeningAndClosingAgainAndAgainTakesNoDescriptors) {
    openBoth();
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    const long before = descriptors();
    for (int i = 0; i < 20; ++i) {
        ASSERT_TRUE(succeeds(a, jobs::close(1)));
        ASSERT_TRUE(succeeds(a, jobs::open(other, kShared)));
        ASSERT_LE(descriptors(), before + 2);
    }
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_EQ(descriptors(), before - 4) << "descriptors are left";
    expectNoLocks();
}

// Places of the standard streams are free: what is opened there must move up, and closing the place it came from drops
// the file's locks.
TEST_P(PosixLocksSpelling, ClosedStandardStreamsCostNoLocks) {
    open(a);
    EXPECT_TRUE(succeeds(a, lockRecord(0, 20)));
    const auto closeStreams = [](Job &) {
        iserrno = 0;
        close(0);
        close(1);
        return 0;
    };
    EXPECT_TRUE(succeeds(a, jobs::call(0, closeStreams)));
    EXPECT_TRUE(succeeds(a, jobs::open(other, kShared)));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::systemDescriptors(1)));
    EXPECT_GT(a.last().number, 2);
    EXPECT_GT(a.last().other, 2);
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectLocks({2});
}

TEST_P(PosixLocksSpelling, OpensThatFailCostNoLocks) {
    openBoth();
    EXPECT_TRUE(succeeds(a, lockRecord(1, 20)));
    EXPECT_TRUE(fails(a, jobs::open(other, kShared | ISVARLEN), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(a, jobs::open(base, kShared | ISVARLEN), ISERR_ARGUMENT));
    expectLocks({2});
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectLocks({});
}

INSTANTIATE_TEST_SUITE_P(Names, PosixLocksSpelling, testing::ValuesIn(kSpellings),
                         [](const auto &instance) { return std::string(instance.param.name); });

}  // namespace
}  // namespace process_testing
