// A child made by fork has its parent's handles, but none of its locks: it must neither believe in them nor release
// them. The parent is the test itself, so nothing here may open the files past the library.
#include "process_test.h"

#include "isam_maint.h"

#include <cerrno>
#include <cstdlib>
#include <memory>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace process_testing {
namespace {

class PosixLocksFork : public ProcessTest {
  protected:
    // The probe is a process of its own, from before anything is open.
    void SetUp() override {
        build(4);
        probe = std::make_unique<Worker>();
    }
    void TearDown() override {
        child.reset();
        EXPECT_EQ(iscleanup(), 0);
        EXPECT_EQ(islogclose(), 0);
        probe.reset();
        expectSound();
    }

    void openAsParent(int mode = kShared) { ASSERT_EQ(isopen(base.c_str(), mode), 0) << iserrno; }
    void lockAsParent(int key) {
        std::string bytes = item(key);
        ASSERT_EQ(isread(0, bytes.data(), ISEQUAL | ISLOCK), 0) << iserrno;
    }
    int rewriteAsParent(int key, int group) {
        std::string bytes = item(key, group);
        return isrewrite(0, bytes.data());
    }
    void fork() { child = std::make_unique<Worker>(); }
    static Job lockRecord(int key, int fd = 0) { return jobs::read(fd, ISEQUAL | ISLOCK, item(key)); }
    static Job call(int (*run)(Job &)) { return jobs::call(0, run); }

    // To any other process the record is locked, or the file open.
    void expectLocked(int key) {
        EXPECT_TRUE(succeeds(*probe, jobs::open(base, kShared)));
        EXPECT_TRUE(fails(*probe, lockRecord(key), ISERR_LOCKED));
        EXPECT_TRUE(succeeds(*probe, jobs::close(0)));
    }
    void expectFree(int key) {
        EXPECT_TRUE(succeeds(*probe, jobs::open(base, kShared)));
        EXPECT_TRUE(succeeds(*probe, lockRecord(key)));
        EXPECT_TRUE(succeeds(*probe, jobs::close(0)));
    }
    void expectInUse() { EXPECT_TRUE(fails(*probe, jobs::open(base, kExclusive), ISERR_FILEINUSE)); }

    std::unique_ptr<Worker> probe, child;
};

TEST_F(PosixLocksFork, ChildMeetsTheParentsLocks) {
    openAsParent();
    lockAsParent(20);
    fork();
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISFIRST)));
    EXPECT_TRUE(fails(*child, lockRecord(20), ISERR_LOCKED));
    EXPECT_TRUE(fails(*child, jobs::rewrite(0, item(20, 9)), ISERR_LOCKED));
    EXPECT_TRUE(fails(*child, jobs::remove(0, item(20)), ISERR_LOCKED));
    EXPECT_TRUE(fails(*child, jobs::lockAll(0), ISERR_LOCKED));
    expectLocked(20);
    EXPECT_EQ(rewriteAsParent(20, 8), 0);
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISEQUAL, item(20))));
    EXPECT_EQ(child->last().text(kItemLength), item(20, 8));
}

TEST_F(PosixLocksFork, ParentMeetsTheChildsLocks) {
    openAsParent();
    fork();
    EXPECT_TRUE(succeeds(*child, lockRecord(30)));
    expectLocked(30);
    EXPECT_EQ(rewriteAsParent(30, 9), -1);
    EXPECT_EQ(iserrno, ISERR_LOCKED);
    EXPECT_TRUE(succeeds(*child, jobs::release(0)));
    EXPECT_EQ(rewriteAsParent(30, 9), 0);
}

TEST_F(PosixLocksFork, NothingTheChildDoesReleasesTheParentsLocks) {
    openAsParent();
    lockAsParent(20);
    lockAsParent(40);
    fork();
    const Job calls[] = {jobs::release(0),
                         jobs::unlockAll(0),
                         jobs::releaseNumber(0, 2),
                         jobs::releaseCurrent(0, 4),
                         jobs::setMode(0, ISLOCKAUTO),
                         jobs::read(0, ISFIRST),
                         jobs::setMode(0, ISLOCKMANUAL),
                         jobs::write(0, item(15)),
                         jobs::remove(0, item(15)),
                         jobs::open(base, kShared),
                         jobs::close(1),
                         jobs::open(dir.file("./items"), kShared),
                         jobs::close(1),
                         jobs::close(0),
                         call([](Job &) { return iscleanup(); })};
    int number = 0;
    for (const Job &each : calls) {
        SCOPED_TRACE("call " + std::to_string(number++));
        EXPECT_TRUE(succeeds(*child, each));
        expectLocked(20);
        expectLocked(40);
        expectInUse();
    }
    child.reset();
    expectLocked(20);
    expectInUse();
    EXPECT_EQ(rewriteAsParent(20, 8), 0);
    EXPECT_EQ(isrelease(0), 0);
    expectFree(20);
}

TEST_F(PosixLocksFork, EndOfAChildThatDidNothing) {
    openAsParent();
    lockAsParent(20);
    EXPECT_EQ(islock(0), 0);
    fork();
    child.reset();
    expectLocked(20);
    expectLocked(10);
    fork();
    child->kill();
    expectLocked(10);
    EXPECT_EQ(isunlock(0), 0);
    expectFree(10);
    expectFree(20);
}

TEST_F(PosixLocksFork, ChildHoldsTheFileOpen) {
    openAsParent();
    fork();
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISFIRST)));
    EXPECT_EQ(isclose(0), 0);
    expectInUse();
    EXPECT_TRUE(succeeds(*child, jobs::write(0, item(50))));
    EXPECT_TRUE(succeeds(*child, jobs::close(0)));
    EXPECT_TRUE(succeeds(*probe, jobs::open(base, kExclusive)));
    EXPECT_TRUE(succeeds(*probe, jobs::close(0)));
}

TEST_F(PosixLocksFork, ChildDoesNotBelieveInALock) {
    openAsParent();
    lockAsParent(20);
    EXPECT_EQ(islockcheck(0, 1), 0);
    fork();
    EXPECT_TRUE(fails(*child, jobs::rewrite(0, item(20, 9)), ISERR_NOCURRENT));
    EXPECT_TRUE(fails(*child, jobs::remove(0, item(20)), ISERR_NOCURRENT));
    EXPECT_EQ(rewriteAsParent(20, 9), 0);
}

TEST_F(PosixLocksFork, ChildGoesOnAtTheParentsPosition) {
    openAsParent();
    std::string bytes = item(0);
    EXPECT_EQ(isread(0, bytes.data(), ISFIRST), 0);
    fork();
    bytes = item(15, 7);
    EXPECT_EQ(iswrite(0, bytes.data()), 0);
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISNEXT)));
    EXPECT_EQ(child->last().text(kItemLength), item(15, 7));
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISNEXT)));
    EXPECT_EQ(child->last().text(kItemLength), item(20, 2));
    EXPECT_EQ(isread(0, bytes.data(), ISCURR), 0);
    EXPECT_EQ(bytes, item(10, 1));
}

TEST_F(PosixLocksFork, ExclusiveHandleIsTheParentsAlone) {
    openAsParent(kExclusive);
    fork();
    const Job calls[] = {
        jobs::read(0, ISFIRST),
        jobs::start(0, kByKey, ISFIRST),
        jobs::go(0, 1),
        jobs::data(0, 1),
        jobs::write(0, item(50)),
        jobs::writeLock(0, item(50)),
        jobs::rewrite(0, item(20, 9)),
        jobs::rewriteNumber(0, 2, item(20, 9)),
        jobs::rewriteCurrent(0, item(20, 9)),
        jobs::remove(0, item(20)),
        jobs::removeNumber(0, 2),
        jobs::removeCurrent(0),
        jobs::lockAll(0),
        jobs::unlockAll(0),
        jobs::release(0),
        jobs::releaseNumber(0, 2),
        jobs::lockCheck(0, true),
        jobs::addIndex(0, kByGroup),
        jobs::dropIndex(0, kByKey),
        jobs::precious(0, true),
        jobs::uniqueId(0),
        jobs::setUnique(0, 5),
        jobs::lastRecord(0),
        jobs::info(0),
        jobs::userInfo(0, false),
        jobs::setMode(0, ISLOCKMANUAL),
        call([](Job &j) { return iscluster(j.fd, nullptr); }),
        call([](Job &j) { return isindex(j.fd, 1, 0); }),
        call([](Job &j) { return isaudit(j.fd, j.record, ISAUDINFO); }),
        jobs::withName(call([](Job &j) { return isclone(j.fd, j.name); }), dir.file("clone")),
        jobs::open(base, kShared),
    };
    int number = 0;
    for (const Job &each : calls) {
        SCOPED_TRACE("call " + std::to_string(number++));
        EXPECT_TRUE(fails(*child, each, ISERR_FILEINUSE));
    }
    EXPECT_EQ(rewriteAsParent(20, 8), 0);
    expectInUse();
    EXPECT_EQ(isclose(0), 0);
    // Now it can have it.
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISEQUAL, item(20))));
    EXPECT_EQ(child->last().text(kItemLength), item(20, 8));
    expectInUse();
}

TEST_F(PosixLocksFork, ClosingInTheChildNeedsNoLock) {
    openAsParent(kExclusive);
    fork();
    EXPECT_TRUE(succeeds(*child, jobs::close(0)));
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
    expectInUse();
    EXPECT_EQ(rewriteAsParent(20, 8), 0);
}

TEST_F(PosixLocksFork, NameOfAnotherFileIsNotOpen) {
    openAsParent();
    fork();
    ASSERT_EQ(rename(indexPath().c_str(), dir.file("old.idx").c_str()), 0);
    ASSERT_EQ(rename(dataPath().c_str(), dir.file("old.dat").c_str()), 0);
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
    EXPECT_TRUE(succeeds(*probe, jobs::build(base, kItemLength, kByKey, kShared)));
    EXPECT_TRUE(fails(*child, jobs::write(0, item(50)), ISERR_NOTOPEN));
    EXPECT_TRUE(succeeds(*child, jobs::close(0)));
    EXPECT_TRUE(succeeds(*child, jobs::open(base, kShared)));
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_ENDOFFILE));
}

TEST_F(PosixLocksFork, FileWithOtherIndexesIsNotOpen) {
    openAsParent();
    fork();
    KeyDesc byGroup = kByGroup;
    ASSERT_EQ(isaddindex(0, &byGroup), 0) << iserrno;
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
    EXPECT_TRUE(fails(*child, jobs::write(0, item(50)), ISERR_NOTOPEN));
    // That has not kept the file open.
    EXPECT_EQ(isdelindex(0, &byGroup), 0) << iserrno;
    EXPECT_TRUE(succeeds(*child, jobs::write(0, item(50))));
    EXPECT_EQ(isdelindex(0, &byGroup), -1);
    EXPECT_EQ(isaddindex(0, &byGroup), -1);
    EXPECT_EQ(iserrno, ISERR_FILEINUSE);
    EXPECT_TRUE(succeeds(*child, jobs::close(0)));
    EXPECT_EQ(isaddindex(0, &byGroup), 0) << iserrno;
}

// A rebuild's result as a call's.
int rebuilt(int done) {
    iserrno = isErrno(isAdmItoD(0));
    return done != 0 ? 0 : -1;
}

TEST_F(PosixLocksFork, DroppedIndexIsNotWorkedOn) {
    openAsParent();
    KeyDesc byGroup = kByGroup;
    ASSERT_EQ(isaddindex(0, &byGroup), 0) << iserrno;
    fork();
    ASSERT_EQ(isdelindex(0, &byGroup), 0) << iserrno;
    EXPECT_TRUE(fails(*child, jobs::write(0, item(50)), ISERR_NOTOPEN));
    EXPECT_TRUE(fails(*child, call([](Job &) { return rebuilt(isRebuildIdx(isAdmItoD(0), 2)); }), ISERR_NOTOPEN));
    EXPECT_TRUE(
        fails(*child, call([](Job &) { return rebuilt(isRebuildFree(isAdmItoD(0), ISFREE_DATA)); }), ISERR_NOTOPEN));
    EXPECT_TRUE(succeeds(*child, jobs::open(base, kShared)));
    ASSERT_EQ(child->last().result, 1);
    EXPECT_TRUE(succeeds(*child, jobs::write(1, item(50))));
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
}

TEST_F(PosixLocksFork, OpenMeansTheFileThatHasTheNameNow) {
    openAsParent();
    fork();
    ASSERT_EQ(isclose(0), 0);
    ASSERT_EQ(iserase(base.c_str()), 0) << iserrno;
    EXPECT_TRUE(succeeds(*probe, jobs::build(base, kItemLength, kByKey, kShared)));
    EXPECT_TRUE(succeeds(*child, jobs::open(base, kShared)));
    EXPECT_TRUE(succeeds(*child, jobs::write(1, item(50))));
    EXPECT_TRUE(succeeds(*probe, jobs::read(0, ISEQUAL, item(50))));
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
}

TEST_F(PosixLocksFork, HandleNotUsedDoesNotHoldTheFileOpen) {
    openAsParent();
    fork();
    EXPECT_TRUE(succeeds(*child, jobs::open(base, kShared)));
    EXPECT_TRUE(succeeds(*child, jobs::close(1)));
    EXPECT_EQ(isclose(0), 0);
    EXPECT_TRUE(succeeds(*probe, jobs::open(base, kExclusive)));
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_FILEINUSE));
    EXPECT_TRUE(succeeds(*probe, jobs::close(0)));
    EXPECT_TRUE(succeeds(*child, jobs::read(0, ISFIRST)));
}

TEST_F(PosixLocksFork, TransactionIsTheParentsAlone) {
    ASSERT_EQ(islogopen(dir.file("log").c_str()), 0);
    openAsParent(kShared | ISTRANS);
    ASSERT_EQ(isbegin(), 0);
    std::string bytes = item(50, 5);
    ASSERT_EQ(iswrite(0, bytes.data()), 0);
    fork();
    const Job commit = call([](Job &) { return iscommit(); }), rollBack = call([](Job &) { return isrollback(); }),
              begin = call([](Job &) { return isbegin(); });
    EXPECT_TRUE(fails(*child, commit, ISERR_NOTRANSACTION));
    EXPECT_TRUE(fails(*child, rollBack, ISERR_NOTRANSACTION));
    EXPECT_TRUE(fails(*child, jobs::rewrite(0, item(50, 6)), ISERR_LOCKED));
    expectLocked(50);
    EXPECT_TRUE(succeeds(*child, begin));
    EXPECT_TRUE(succeeds(*child, jobs::write(0, item(60, 6))));
    EXPECT_EQ(isrollback(), 0) << iserrno;
    EXPECT_TRUE(fails(*child, jobs::read(0, ISEQUAL, item(50)), ISERR_NOTFOUND));
    EXPECT_TRUE(succeeds(*child, commit));
    bytes = item(60);
    EXPECT_EQ(isread(0, bytes.data(), ISEQUAL), 0);
    EXPECT_EQ(bytes, item(60, 6));
}

TEST_F(PosixLocksFork, ParkedHandleIsTheParentsAlone) {
    ASSERT_EQ(islogopen(dir.file("log").c_str()), 0);
    openAsParent(kShared | ISTRANS);
    ASSERT_EQ(isbegin(), 0);
    std::string bytes = item(50, 5);
    ASSERT_EQ(iswrite(0, bytes.data()), 0);
    ASSERT_EQ(isclose(0), 0);
    fork();
    EXPECT_TRUE(fails(*child, jobs::read(0, ISFIRST), ISERR_NOTOPEN));
    EXPECT_TRUE(succeeds(*child, jobs::open(base, kShared)));
    EXPECT_TRUE(fails(*child, lockRecord(50), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(*child, call([](Job &) { return iscleanup(); })));
    expectLocked(50);
    EXPECT_EQ(iscommit(), 0);
    expectFree(50);
}

// What a call in a grandchild leaves of the child's locks.
int inGrandchild(Job &job) {
    auto *const shared =
        static_cast<Job *>(mmap(nullptr, sizeof(Job), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    *shared = job;
    const pid_t pid = ::fork();
    if (pid == 0) {
        shared->result = isread(0, shared->record, ISEQUAL | ISLOCK);
        shared->error = iserrno;
        iscleanup();
        _exit(0);
    }
    waitpid(pid, nullptr, 0);
    const int result = shared->result;
    iserrno = shared->error;
    munmap(shared, sizeof(Job));
    return result;
}

TEST_F(PosixLocksFork, GrandchildHasTheLocksOfNobody) {
    openAsParent();
    lockAsParent(20);
    fork();
    EXPECT_TRUE(succeeds(*child, lockRecord(30)));
    EXPECT_TRUE(fails(*child, jobs::withRecord(call(inGrandchild), item(20)), ISERR_LOCKED));
    EXPECT_TRUE(fails(*child, jobs::withRecord(call(inGrandchild), item(30)), ISERR_LOCKED));
    EXPECT_TRUE(succeeds(*child, jobs::withRecord(call(inGrandchild), item(40))));
    expectLocked(20);
    expectLocked(30);
    expectFree(40);
}

}  // namespace
}  // namespace process_testing
