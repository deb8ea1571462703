#include "process_test.h"

#include <cerrno>
#include <dirent.h>
#include <fstream>
#include <unistd.h>

namespace process_testing {
namespace {

// An open or build that fails leaves no lock, no system descriptor and no slot.
class FailedOpen : public ProcessTest {
  protected:
    // System descriptors of the worker.
    long descriptors() {
        a.run(jobs::call(0, [](Job &j) {
            iserrno = 0;
            j.number = 0;
            DIR *directory = opendir("/proc/self/fd");
            while (readdir(directory) != nullptr)
                ++j.number;
            closedir(directory);
            return 0;
        }));
        return a.last().number;
    }

    void expectTraceless(const Job &open, int error, int io = 0) {
        const long before = descriptors();
        EXPECT_TRUE(fails(a, open, error, io));
        EXPECT_EQ(descriptors(), before);
        if (access(indexPath().c_str(), F_OK) == 0) EXPECT_EQ(heldBy(a, indexPath()), 0);
        if (access(dataPath().c_str(), F_OK) == 0) EXPECT_EQ(heldBy(a, dataPath()), 0);
        a.run(jobs::read(0, ISFIRST));
        EXPECT_EQ(a.last().result, -1);
        EXPECT_EQ(a.last().error, ISERR_NOTOPEN);
    }

    static int heldBy(const Worker &worker, const std::string &path) {
        int count = 0;
        for (const HeldLock &lock : RawFile(path).held())
            count += lock.pid == worker.pid() ? 1 : 0;
        return count;
    }

    void overwrite(const std::string &path, off_t at, const std::string &bytes) {
        const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
        EXPECT_EQ(pwrite(fd, bytes.data(), bytes.size(), at), static_cast<ssize_t>(bytes.size()));
        ::close(fd);
    }

    Worker a;
};

TEST_F(FailedOpen, InUse) {
    build(2);
    Worker b;
    open(b);
    expectTraceless(jobs::open(base, kExclusive), ISERR_FILEINUSE);
    open(a);
}

TEST_F(FailedOpen, ExclusiveElsewhere) {
    build(2);
    Worker b;
    open(b, kExclusive);
    expectTraceless(jobs::open(base, kShared), ISERR_FILEINUSE);
    EXPECT_EQ(RawFile(indexPath()).held().size(), 1U);
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    open(a);
}

TEST_F(FailedOpen, MissingIndexFile) {
    expectTraceless(jobs::open(base, kShared), ENOENT, 0x11);
    build(1);
    open(a);
}

TEST_F(FailedOpen, MissingDataFile) {
    build(2);
    ASSERT_EQ(rename(dataPath().c_str(), dir.file("aside").c_str()), 0);
    expectTraceless(jobs::open(base, kShared), ENOENT, 0x12);
    expectTraceless(jobs::open(base, kExclusive), ENOENT, 0x12);
    ASSERT_EQ(rename(dir.file("aside").c_str(), dataPath().c_str()), 0);
    open(a, kExclusive);
}

TEST_F(FailedOpen, DamagedHeader) {
    build(2);
    constexpr off_t kNodeSize = 6;  // where the header holds it, less 1
    overwrite(indexPath(), kNodeSize, std::string("\x00\x00", 2));
    expectTraceless(jobs::open(base, kShared), ISERR_CORRUPT);
    expectTraceless(jobs::open(base, kExclusive), ISERR_CORRUPT);
    overwrite(indexPath(), kNodeSize, "\x03\xff");
    open(a, kExclusive);
    EXPECT_EQ(read(a, ISNEXT), item(10, 1));
}

TEST_F(FailedOpen, EmptyIndexFile) {
    std::ofstream(indexPath()).close();
    const long before = descriptors();
    a.run(jobs::open(base, kShared));
    EXPECT_EQ(a.last().result, -1);
    EXPECT_EQ(a.last().io, 0x41);
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(RawFile(indexPath()).held().size(), 0U);
}

TEST_F(FailedOpen, WrongKindOfFile) {
    build(2);
    expectTraceless(jobs::open(base, kShared | ISVARLEN), ISERR_ARGUMENT);
    expectTraceless(jobs::open(base, kExclusive | ISVARLEN), ISERR_ARGUMENT);
    open(a, kExclusive);
}

TEST_F(FailedOpen, AutomaticLockingWithoutRecords) {
    Worker b;
    ASSERT_TRUE(succeeds(b, jobs::build(base, 0, kByKey, kShared)));
    ASSERT_TRUE(succeeds(b, jobs::close(0)));
    expectTraceless(jobs::open(base, kAutomatic), ISERR_ARGUMENT);
}

TEST_F(FailedOpen, BuildOverAnExistingFile) {
    build(2);
    expectTraceless(jobs::build(base, kItemLength, kByKey, kExclusive), EEXIST, 0x21);
    ASSERT_EQ(unlink(indexPath().c_str()), 0);
    expectTraceless(jobs::build(base, kItemLength, kByKey, kExclusive), EEXIST, 0x22);
}

// Another handle of the process keeps its files, its lock and its descriptor.
TEST_F(FailedOpen, LeavesTheOtherHandleOfTheProcess) {
    build(2);
    open(a);
    const long before = descriptors();
    EXPECT_TRUE(fails(a, jobs::open(base, kShared | ISVARLEN), ISERR_ARGUMENT));
    EXPECT_TRUE(fails(a, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    EXPECT_EQ(descriptors(), before);
    EXPECT_EQ(heldBy(a, indexPath()), 1);
    EXPECT_EQ(read(a, ISLAST), item(20, 2));
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(30))));
    open(a, kShared, 1);
}

TEST_F(FailedOpen, ManyTimesOver) {
    build(1);
    Worker b;
    open(b);
    for (int i = 0; i < 50; ++i)
        ASSERT_TRUE(fails(a, jobs::open(base, kExclusive), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    open(a, kExclusive);
}

}  // namespace
}  // namespace process_testing
