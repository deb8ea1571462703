// Opening file sets.
#include "steps.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>

namespace api {
namespace {

using OpenFile = ApiTest;

TEST_F(OpenFile, SetsTheGlobalsToTheFirstRecord) {
    build();
    putIds(0, {5, 3, 9});
    EXPECT_OK(isclose(0));
    iserrno = 77;
    isrecnum = 99;
    EXPECT_EQ(open(), 0);
    EXPECT_EQ(iserrno, 0);
    EXPECT_EQ(isrecnum, 2);  // 3 was the second one written
}

TEST_F(OpenFile, OfAnEmptyFileGivesRecordNumberZero) {
    EXPECT_OK(isclose(build()));
    isrecnum = 99;
    EXPECT_EQ(open(), 0);
    EXPECT_EQ(isrecnum, 0);
}

TEST_F(OpenFile, NextReturnsTheFirstRecord) {
    const int fd = fill({5, 3, 9});
    EXPECT_EQ(readId(fd, ISNEXT), 3);
    EXPECT_EQ(readId(fd, ISNEXT), 5);
}

TEST_F(OpenFile, NextInAnEmptyFileThenFindsWhatIsWritten) {
    const int fd = fill({});
    EXPECT_EQ(readId(fd, ISNEXT), -ISERR_ENDOFFILE);
    putIds(fd, {1});
    EXPECT_EQ(readId(fd, ISNEXT), 1);
}

TEST_F(OpenFile, WithoutPrimaryKeyReadsInRecordNumberOrder) {
    build(ISINOUT, noKey());
    putIds(0, {5, 3, 9});
    EXPECT_OK(isclose(0));
    const int fd = open();
    EXPECT_EQ(isrecnum, 1);
    EXPECT_EQ(currentIndex(fd), 0);
    EXPECT_EQ(idsOf(fd), (Ids{5, 3, 9}));
}

TEST_F(OpenFile, WithoutPrimaryKeyNextReturnsTheFirstRecord) {
    build(ISINOUT, noKey());
    putIds(0, {5, 3, 9});
    EXPECT_OK(isclose(0));
    const int fd = open();
    EXPECT_EQ(readId(fd, ISNEXT), 5);
    EXPECT_EQ(readId(fd, ISNEXT), 3);
}

TEST_F(OpenFile, ModeWithoutLockBitsBecomesManual) {
    const int fd = fill({});
    int mode = 0;
    EXPECT_OK(isgetmode(fd, &mode));
    EXPECT_EQ(mode, ISINOUT | ISLOCKMANUAL);
}

TEST_F(OpenFile, ModeOfTheCallerIsKept) {
    EXPECT_OK(isclose(build()));
    for (const int lock : {ISLOCKNONE, ISLOCKAUTO, ISLOCKMANUAL, ISLOCKEXCL}) {
        const int fd = open(ISINPUT | lock | ISVARAUTO);
        int mode = 0;
        EXPECT_OK(isgetmode(fd, &mode));
        EXPECT_EQ(mode, ISINPUT | lock);
        EXPECT_OK(isclose(fd));
    }
}

TEST_F(OpenFile, MasksComeFromTheFile) {
    EXPECT_OK(isclose(build(ISINOUT | ISMASK)));
    const int fd = open();
    int mode = 0;
    EXPECT_OK(isgetmode(fd, &mode));
    EXPECT_EQ(mode & ISMASK, ISMASK);
}

TEST_F(OpenFile, LeavesModeQueriesSilent) {
    const int fd = fill({});
    int mode = 0;
    iserrno = iserrio = 77;
    EXPECT_EQ(isgetmode(fd, &mode), 0);
    EXPECT_EQ(iserrno, 77);
    EXPECT_EQ(iserrio, 77);
}

TEST_F(OpenFile, MissingIndexFileIsReported) {
    EXPECT_FAILS(ENOENT, open());
    EXPECT_EQ(iserrio, 0x11);
}

TEST_F(OpenFile, MissingDataFileIsReported) {
    EXPECT_OK(isclose(build()));
    dontCheck();
    ASSERT_EQ(std::remove(path("file.dat").c_str()), 0);
    const int before = openDescriptors();
    EXPECT_FAILS(ENOENT, open());
    EXPECT_EQ(iserrio, 0x12);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(OpenFile, AutomaticLocksNeedRecords) {
    EXPECT_OK(isclose(build(ISINOUT, idKey(), 0)));
    const int before = openDescriptors();
    EXPECT_FAILS(ISERR_ARGUMENT, open(ISINOUT | ISLOCKAUTO));
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(open(), 0);
}

TEST_F(OpenFile, FixedLengthFileDoesNotOpenAsVariable) {
    EXPECT_OK(isclose(build()));
    const int before = openDescriptors();
    EXPECT_FAILS(ISERR_ARGUMENT, open(ISINOUT | ISVARLEN));
    EXPECT_EQ(openDescriptors(), before);
    const int fd = open(ISINOUT | ISVARAUTO);
    int mode = 0;
    EXPECT_OK(isgetmode(fd, &mode));
    EXPECT_EQ(mode & ISVARLEN, 0);
}

TEST_F(OpenFile, FailuresReleaseTheDescriptorNumber) {
    EXPECT_OK(isclose(build()));
    EXPECT_FAILS(ENOENT, isopen(path("none").c_str(), ISINOUT));
    EXPECT_FAILS(ISERR_ARGUMENT, open(ISINOUT | ISVARLEN));
    EXPECT_EQ(open(), 0);
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_EQ(open(), 1);
}

TEST_F(OpenFile, FailureBesideAnOpenHandleLeavesThatHandle) {
    const int fd = fill({1, 2});
    EXPECT_FAILS(ISERR_FILEINUSE, open(ISINOUT | ISLOCKEXCL));
    EXPECT_FAILS(ISERR_ARGUMENT, open(ISINOUT | ISVARLEN));
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
}

TEST_F(OpenFile, EmptyIndexFileIsAnErrorOfSomeKindAndReleasesEverything) {
    std::ofstream(path("file.idx"));
    const int before = openDescriptors();
    EXPECT_EQ(open(), -1);
    EXPECT_NE(iserrno, 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST_F(OpenFile, SystemFilesAreClosedOnExec) {
    const int fd = fill({});
    EXPECT_EQ(fcntl(isqv_idxfd(fd), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(isqv_datfd(fd), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    const int built = buildNamed(path("other"));
    EXPECT_EQ(fcntl(isqv_idxfd(built), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_EQ(fcntl(isqv_datfd(built), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(OpenFile, StandardDescriptorsAreNeverTaken) {
    EXPECT_OK(isclose(fill({1, 2})));
    const int status = inChild([this] {
        for (const int standard : {0, 1, 2})
            close(standard);
        const int fd = isopen(base(), ISINOUT);
        if (fd < 0) _exit(2);
        if (isqv_idxfd(fd) < 3 || isqv_datfd(fd) < 3) _exit(3);
        for (const int standard : {0, 1, 2})
            if (fcntl(standard, F_GETFD) != -1) _exit(4);
        if (readId(fd, ISFIRST) != 1) _exit(5);
        if ((fcntl(isqv_idxfd(fd), F_GETFD) & FD_CLOEXEC) == 0) _exit(6);
        KeyDesc key = idKey();
        const int built = isbuild(path("built").c_str(), kRowLen, &key, ISINOUT);
        if (built < 0 || isqv_idxfd(built) < 3 || isqv_datfd(built) < 3) _exit(7);
        if (iscleanup() != 0) _exit(8);
        _exit(0);
    });
    EXPECT_EQ(status, 0);
}

TEST_F(OpenFile, LockFreeHandleReadsAFileThatMayNotBeWritten) {
    EXPECT_OK(isclose(fill({1, 2})));
    const int fd = open(ISINPUT | ISLOCKNONE);
    EXPECT_EQ(fcntl(isqv_idxfd(fd), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(isqv_datfd(fd), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(idsOf(fd), (Ids{1, 2}));
    EXPECT_OK(isclose(fd));
    const int plain = open(ISINPUT);
    EXPECT_EQ(fcntl(isqv_idxfd(plain), F_GETFL) & O_ACCMODE, O_RDWR);
}

}  // namespace
}  // namespace api
