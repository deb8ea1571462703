#include "whole_file_test.h"

#include <csignal>
#include <fstream>
#include <unistd.h>

namespace process_testing {
namespace {

// Whole files belong to one process: nobody else has them open meanwhile.
class WholeFileLock : public WholeFileTest {
  protected:
    // While this object's process has the file open in this way.
    void expectInUse(int mode) {
        Worker a, b;
        open(a, mode);
        EXPECT_TRUE(fails(b, jobs::erase(base), ISERR_FILEINUSE));
        EXPECT_TRUE(fails(b, jobs::rename(base, dir.file("other")), ISERR_FILEINUSE));
        EXPECT_TRUE(fails(b, jobs::open(base, kExclusive), ISERR_FILEINUSE)) << "so that it cannot be clustered";
        EXPECT_EQ(itemsIn(base), ascending(3));
        EXPECT_FALSE(there(dir.file("other")));
    }
};

TEST_F(WholeFileLock, EraseRenameAndClusterWhileOpenElsewhere) {
    buildTwo(3);
    for (const int mode : {kShared, kExclusive, kAutomatic, ISINPUT | ISLOCKMANUAL, ISOUTPUT | ISLOCKMANUAL})
        expectInUse(mode);
}

// Such a handle takes no lock at all, and sees the old file to its end.
TEST_F(WholeFileLock, HandlesWithoutLocksAreNotConcerned) {
    buildTwo(3);
    Worker a, b;
    open(a, ISINPUT | ISLOCKNONE);
    open(b, kExclusive);
    ASSERT_TRUE(succeeds(b, jobs::cluster(0, kByDescending)));
    EXPECT_EQ(itemsIn(base), descending(3));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
    EXPECT_EQ(a.last().recnum, 1) << "by the old order";
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(succeeds(b, jobs::erase(base)));
    EXPECT_EQ(read(a, ISNEXT), item(20, 2));
}

TEST_F(WholeFileLock, GoesWithTheLastCloser) {
    buildTwo(3);
    Worker a, b, c;
    open(a);
    open(b);
    EXPECT_TRUE(fails(c, jobs::rename(base, dir.file("other")), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(fails(c, jobs::rename(base, dir.file("other")), ISERR_FILEINUSE));
    b.kill();
    EXPECT_TRUE(succeeds(c, jobs::rename(base, dir.file("other"))));
    EXPECT_TRUE(succeeds(a, jobs::erase(dir.file("other"))));
}

// From the outside it is one long exclusive opening.
TEST_F(WholeFileLock, ClusteredFileIsOpenExclusivelyBeforeAndAfter) {
    buildTwo(3);
    Worker a;
    open(a, kExclusive);
    const std::vector<HeldLock> exclusive = {{kOpenStart, kAreaLength, F_WRLCK, a.pid()}};
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    ASSERT_TRUE(succeeds(a, jobs::cluster(0, kByDescending)));
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    EXPECT_EQ(RawFile(dataPath()).held().size(), 0U);
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_EQ(RawFile(indexPath()).held().size(), 0U);
    Worker b;
    open(b);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
    EXPECT_EQ(b.last().recnum, 3);
}

TEST_F(WholeFileLock, FailedClusterKeepsTheFileToItself) {
    buildTwo(3);
    Worker a, b;
    open(a, kExclusive);
    std::ofstream(temporary(a.pid()) + ".idx") << "in the way";
    EXPECT_TRUE(fails(a, jobs::cluster(0, kByDescending), EEXIST, 0x21));
    const std::vector<HeldLock> exclusive = {{kOpenStart, kAreaLength, F_WRLCK, a.pid()}};
    EXPECT_EQ(RawFile(indexPath()).held(), exclusive);
    EXPECT_TRUE(fails(b, jobs::open(base, kShared), ISERR_FILEINUSE));
    EXPECT_EQ(read(a, ISFIRST), item(10, 1));
}

// A name of its own for each process: several cluster in one directory at once.
TEST_F(WholeFileLock, ProcessesClusterSideBySide) {
    buildTwo(200, "one");
    buildTwo(200, "two");
    Worker a, b;
    const Job often = jobs::withNumber(jobs::call(0,
                                                  [](Job &j) {
                                                      for (long i = 0; i < j.number; ++i) {
                                                          KeyDesc key = i % 2 == 0 ? kByDescending : kByKey;
                                                          j.fd = iscluster(j.fd, &key);
                                                          if (j.fd != 0) return -1;
                                                      }
                                                      return 0;
                                                  }),
                                       51);
    ASSERT_TRUE(succeeds(a, jobs::open(dir.file("one"), kExclusive)));
    ASSERT_TRUE(succeeds(b, jobs::open(dir.file("two"), kExclusive)));
    a.start(jobs::quiet(often));
    b.start(jobs::quiet(often));
    EXPECT_EQ(a.finish().result, 0) << a.last().error;
    EXPECT_EQ(b.finish().result, 0) << b.last().error;
    EXPECT_EQ(itemsIn(dir.file("one")), descending(200));
    EXPECT_EQ(itemsIn(dir.file("two")), descending(200));
}

// Tries to open the file until there is another one, or until it gets hold of it. number becomes how often it tried,
// other how often the file was not there.
int tryToOpen(Job &job) {
    const std::string stop = std::string(job.name) + ".stop";
    do {
        const int fd = isopen(job.name, job.mode);
        if (fd >= 0) return -3;
        if (iserrno != ISERR_FILEINUSE && iserrno != ENOENT) return -4;
        ++job.number;
        job.other += iserrno == ENOENT ? 1 : 0;
    } while (access(stop.c_str(), F_OK) != 0);
    iserrno = 0;
    return 0;
}

TEST_F(WholeFileLock, NobodyGetsInWhileAFileIsClusteredAgainAndAgain) {
    buildTwo(60);
    Worker a, b, c;
    open(a, kExclusive);
    const Job tries = jobs::withName(jobs::call(0, tryToOpen), base);
    b.start(jobs::withMode(tries, kShared));
    c.start(jobs::withMode(tries, kExclusive));
    for (int i = 0; i < 300; ++i)
        ASSERT_TRUE(succeeds(a, jobs::cluster(0, i % 2 == 0 ? kByDescending : kByKey)));
    std::ofstream(base + ".stop").close();
    for (Worker *each : {&b, &c}) {
        EXPECT_EQ(each->finish().result, 0) << "error " << each->last().error << ", io " << each->last().io;
        EXPECT_GT(each->last().number, 10);
    }
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    open(b);
    EXPECT_EQ(read(b, ISFIRST), item(10, 1));
}

}  // namespace
}  // namespace process_testing
