// Calls that open files while the process has few descriptors left, or none: they fail with the system's error, leave
// nothing half-open and cost no lock; with one more, or the next time, they work.
#include "process_test.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <functional>
#include <set>
#include <sys/resource.h>
#include <unistd.h>

namespace process_testing {
namespace {

constexpr int kMostNeeded = 12;

// In the worker: at most so many more descriptors than it has, until the end of the call.
class FewDescriptors {
  public:
    explicit FewDescriptors(long allowed) {
        getrlimit(RLIMIT_NOFILE, &before_);
        int next = 0;
        for (long found = -1; found < allowed; ++next)
            if (fcntl(next, F_GETFD) < 0) ++found;
        struct rlimit few = before_;
        few.rlim_cur = static_cast<rlim_t>(next - 1);
        setrlimit(RLIMIT_NOFILE, &few);
    }
    ~FewDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }
    FewDescriptors(const FewDescriptors &) = delete;
    FewDescriptors &operator=(const FewDescriptors &) = delete;

  private:
    struct rlimit before_ {};
};

// number: how many are left.
template <int (*Call)(Job &)> int limited(Job &job) {
    const FewDescriptors few(job.number);
    return Call(job);
}

std::string otherName(const Job &job) { return std::string(job.name) + "2"; }

int openFile(Job &j) { return isopen(j.name, j.mode); }
int buildFile(Job &j) { return isbuild(otherName(j).c_str(), kItemLength, &j.key, kShared); }
int openLog(Job &j) { return islogopen(j.name); }
int writeAudited(Job &j) { return iswrite(j.fd, j.record); }
int rewriteAudited(Job &j) { return isrewrite(j.fd, j.record); }
int deleteAudited(Job &j) { return isdelete(j.fd, j.record); }
int clusterFile(Job &j) { return iscluster(j.fd, nullptr); }
int cloneFile(Job &j) { return isclone(j.fd, otherName(j).c_str()); }
int eraseFile(Job &j) { return iserase(j.name); }
int renameFile(Job &j) { return isrename(j.name, otherName(j).c_str()); }

class PosixLocksDescriptors : public ProcessTest {
  protected:
    void SetUp() override {
        build(4);
        // A file of its own whose locks every call must leave alone.
        ASSERT_TRUE(succeeds(a, jobs::build(keeper, kItemLength, kByKey, kShared)));
        ASSERT_TRUE(succeeds(a, jobs::writeLock(0, item(1))));
    }

    struct State {
        long descriptors;
        std::set<std::string> files;
        std::vector<HeldLock> keeperIndex, keeperData, index, data;
        bool operator==(const State &) const = default;
    };
    static std::vector<HeldLock> locksOf(const std::string &path) {
        return access(path.c_str(), F_OK) == 0 ? RawFile(path).held() : std::vector<HeldLock>{};
    }
    State state() {
        State now;
        const auto count = [](Job &j) {
            iserrno = 0;
            const std::filesystem::directory_iterator all("/proc/self/fd");
            j.number = std::distance(begin(all), end(all));
            return 0;
        };
        EXPECT_TRUE(succeeds(a, jobs::call(0, count)));
        now.descriptors = a.last().number;
        for (const auto &entry : std::filesystem::directory_iterator(dir.path()))
            now.files.insert(entry.path().filename());
        now.keeperIndex = locksOf(keeper + ".idx");
        now.keeperData = locksOf(keeper + ".dat");
        now.index = locksOf(indexPath());
        now.data = locksOf(dataPath());
        return now;
    }

    // Runs the job with no descriptor left, with one, and so on until it succeeds: expects failures up to a number and
    // success from there on. between puts away what a failed call may leave; so many descriptors may be kept.
    void expectFailures(
        Job job, const std::set<std::pair<int, int>> &errors, int needed, const std::function<void()> &between = [] {},
        long kept = 0) {
        const State before = state();
        for (int left = 0; left <= kMostNeeded; ++left) {
            SCOPED_TRACE(std::to_string(left) + " descriptors left");
            a.run(jobs::withNumber(job, left));
            if (a.last().result >= 0) {
                EXPECT_EQ(left, needed) << "descriptors needed";
                return;
            }
            EXPECT_TRUE(errors.contains({a.last().error, a.last().io}))
                << "error " << a.last().error << ", io 0x" << std::hex << a.last().io;
            between();
            const State after = state();
            EXPECT_LE(after.descriptors, before.descriptors + kept);
            EXPECT_EQ(after.files, before.files);
            EXPECT_EQ(after.keeperIndex, before.keeperIndex);
            EXPECT_EQ(after.keeperData, before.keeperData);
            EXPECT_EQ(after.index, before.index);
            EXPECT_EQ(after.data, before.data);
        }
        ADD_FAILURE() << "it never succeeds";
    }
    static Job named(int (*call)(Job &), const std::string &name, int fd = 1) {
        return jobs::withKey(jobs::withMode(jobs::withName(jobs::call(fd, call), name), kShared), kByKey);
    }

    void audit(int fd) {
        const auto start = [](Job &j) {
            const int named = isaudit(j.fd, j.name, ISAUDSETNAME);
            return named == 0 ? isaudit(j.fd, nullptr, ISAUDSTART) : named;
        };
        ASSERT_TRUE(succeeds(a, jobs::withName(jobs::call(fd, start), dir.file("trail"))));
        std::ofstream(dir.file("trail")).flush();
    }

    void TearDown() override {
        Worker b;
        EXPECT_TRUE(succeeds(b, jobs::open(keeper, kShared)));
        EXPECT_TRUE(fails(b, jobs::read(0, ISFIRST | ISLOCK), ISERR_LOCKED)) << "the lock is lost";
    }

    const std::string keeper = dir.file("keeper");
    Worker a;
};

const std::set<std::pair<int, int>> kOpening = {{EMFILE, 0x11}, {EMFILE, 0x12}};
const std::set<std::pair<int, int>> kBuilding = {{EMFILE, 0x11}, {EMFILE, 0x12}, {EMFILE, 0x21}, {EMFILE, 0x22}};

TEST_F(PosixLocksDescriptors, Open) {
    expectFailures(named(limited<openFile>, base), kOpening, 2);
    EXPECT_TRUE(succeeds(a, jobs::rewrite(1, item(20, 5))));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectSound();
}

TEST_F(PosixLocksDescriptors, OpenThroughALinkFile) {
    std::ofstream(dir.file("led.lnk")) << base << '\n';
    // One more, to look whether the link file still leads there.
    const std::set<std::pair<int, int>> errors = {{EMFILE, 0x11}, {EMFILE, 0x12}, {EMFILE, 0x01}};
    expectFailures(named(limited<openFile>, dir.file("led")), errors, 3);
    EXPECT_TRUE(succeeds(a, jobs::rewrite(1, item(20, 5))));
}

TEST_F(PosixLocksDescriptors, OpenUnderAnotherName) {
    open(a, kShared, 1);
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISFIRST | ISLOCK)));
    const long before = state().descriptors;
    // Closing the index file, once open, would drop the locks: the next attempt takes it up again.
    expectFailures(
        named(limited<openFile>, dir.file("./items")), kOpening, 2, [] {}, 1);
    EXPECT_TRUE(succeeds(a, jobs::close(2)));
    Worker b;
    open(b);
    EXPECT_TRUE(fails(b, jobs::read(0, ISFIRST | ISLOCK), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    EXPECT_TRUE(succeeds(b, jobs::read(0, ISFIRST | ISLOCK)));
    EXPECT_EQ(state().descriptors, before - 2);
}

// A second handle under the same name needs none.
TEST_F(PosixLocksDescriptors, OpenUnderTheSameName) {
    open(a, kShared, 1);
    expectFailures(named(limited<openFile>, base), {}, 0);
}

TEST_F(PosixLocksDescriptors, Build) {
    const auto putAway = [this] {
        for (const char *extension : {"2.idx", "2.dat"})
            unlink((base + extension).c_str());
    };
    expectFailures(named(limited<buildFile>, base), kBuilding, 2, putAway);
    EXPECT_TRUE(succeeds(a, jobs::write(1, item(20, 5))));
}

TEST_F(PosixLocksDescriptors, OpenTheLog) {
    std::ofstream(dir.file("log")).flush();
    expectFailures(named(limited<openLog>, dir.file("log")), {{ISERR_LOGOPEN, 0}}, 1);
    const auto end = [](Job &) {
        return islogclose();
    };
    EXPECT_TRUE(succeeds(a, jobs::call(0, end)));
}

TEST_F(PosixLocksDescriptors, AuditedChanges) {
    open(a, kShared, 1);
    audit(1);
    const std::set<std::pair<int, int>> noTrail = {{EMFILE, 0x23}};
    expectFailures(jobs::withRecord(named(limited<writeAudited>, base), item(50)), noTrail, 1);
    expectFailures(jobs::withRecord(named(limited<rewriteAudited>, base), item(20, 7)), noTrail, 1);
    expectFailures(jobs::withRecord(named(limited<deleteAudited>, base), item(30)), noTrail, 1);
    EXPECT_TRUE(fails(a, jobs::read(1, ISEQUAL, item(30)), ISERR_NOTFOUND));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectSound();
}

TEST_F(PosixLocksDescriptors, Cluster) {
    open(a, kExclusive, 1);
    expectFailures(named(limited<clusterFile>, base), kBuilding, 2);
    EXPECT_TRUE(succeeds(a, jobs::read(a.last().result, ISLAST)));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    expectSound();
}

TEST_F(PosixLocksDescriptors, Clone) {
    open(a, kShared, 1);
    expectFailures(named(limited<cloneFile>, base), kBuilding, 2);
    EXPECT_TRUE(succeeds(a, jobs::write(2, item(20, 5))));
}

TEST_F(PosixLocksDescriptors, Erase) {
    expectFailures(named(limited<eraseFile>, base), kOpening, 2);
    EXPECT_NE(access(indexPath().c_str(), F_OK), 0);
    EXPECT_NE(access(dataPath().c_str(), F_OK), 0);
}

TEST_F(PosixLocksDescriptors, Rename) {
    expectFailures(named(limited<renameFile>, base), kOpening, 2);
    EXPECT_TRUE(succeeds(a, jobs::open(base + "2", kShared)));
    EXPECT_TRUE(succeeds(a, jobs::read(1, ISLAST)));
}

}  // namespace
}  // namespace process_testing
