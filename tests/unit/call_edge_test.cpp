// Edges of calls that need a second file, process or spelling to be seen.

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

TEST(LockMode, SumThatCarriesIntoTheExclusiveBitIsRefused) {
    ScratchFile file(20, charKey(4));
    EXPECT_EQ(issetmode(file.fd(), 0x7ff), -1);
    EXPECT_EQ(iserrno, 102);
    int mode = 0;
    ASSERT_EQ(isgetmode(file.fd(), &mode), 0);
    EXPECT_EQ(mode, ISINOUT | ISLOCKMANUAL);
}

TEST(Build, OverFilesRemovedUnderAnOpenHandleIs113AndLeavesNoFile) {
    ScratchFile file(20, charKey(4));
    std::remove((file.base() + ".idx").c_str());
    std::remove((file.base() + ".dat").c_str());
    KeyDesc key = charKey(8);
    EXPECT_EQ(isbuild(file.base().c_str(), 40, &key, ISINOUT), -1);
    EXPECT_EQ(iserrno, 113);
    EXPECT_NE(access((file.base() + ".idx").c_str(), F_OK), 0);
}

TEST(PureKeyFile, RefusesARecordNumberThatIsNone) {
    ScratchFile file(0, charKey(4));
    char record[] = "key1";
    isrecnum = -1;
    EXPECT_EQ(iswrite(file.fd(), record), -1);
    EXPECT_EQ(iserrno, 102);
    isrecnum = 7;
    ASSERT_EQ(iswrite(file.fd(), record), 0);
    ASSERT_EQ(isread(file.fd(), record, ISFIRST), 0);
    isrecnum = -1;
    EXPECT_EQ(isrewcurr(file.fd(), record), -1);
    EXPECT_EQ(iserrno, 102);
}

int otherFile;

int readElsewhere(int, char *, int) {
    char other[21];
    isread(otherFile, other, ISLAST);
    return 1;
}

TEST(Filter, ThatReadsAnotherFileDoesNotChangeTheResultOfTheRead) {
    ScratchFile file(20, charKey(4)), other(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    ASSERT_EQ(other.write("aaaa"), 1);
    ASSERT_EQ(other.write("bbbb"), 2);
    otherFile = other.fd();
    ASSERT_EQ(isfilter(file.fd(), readElsewhere), 0);
    char record[21];
    ASSERT_EQ(isread(file.fd(), record, ISFIRST), 0);
    EXPECT_EQ(isrecnum, 1);
}

// The other process holds the whole data file, as islock does.
TEST(WriteAndLock, UnderAnotherProcessesWholeFileLockIs107AtOnceAndWritesNothing) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    int ready[2], done[2];
    ASSERT_EQ(pipe(ready), 0);
    ASSERT_EQ(pipe(done), 0);
    const pid_t child = fork();
    if (child == 0) {
        const int fd = open((file.base() + ".dat").c_str(), O_RDWR);
        struct flock lock = {};
        lock.l_type = F_WRLCK;
        lock.l_start = 0x40000000;
        lock.l_len = 0x0fffffff;
        char byte = fcntl(fd, F_SETLK, &lock) == 0 ? 'y' : 'n';
        if (write(ready[1], &byte, 1) != 1 || close(done[1]) != 0 || read(done[0], &byte, 1) < 0) _exit(1);
        _exit(0);
    }
    char byte = 0;
    ASSERT_EQ(read(ready[0], &byte, 1), 1);
    ASSERT_EQ(byte, 'y');
    std::string record = "bbbb" + std::string(16, ' ');
    EXPECT_EQ(iswrlock(file.fd(), record.data()), -1);
    EXPECT_EQ(iserrno, 107);
    EXPECT_EQ(isread(file.fd(), record.data(), ISEQUAL), -1);
    EXPECT_EQ(iserrno, 111);
    close(done[1]);
    waitpid(child, nullptr, 0);
    EXPECT_EQ(file.write("bbbb"), 2);
    for (int fd : {ready[0], ready[1], done[0]})
        close(fd);
}

}  // namespace
