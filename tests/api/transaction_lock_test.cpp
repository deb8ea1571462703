// Record locks of transactions, as another handle of the process meets them.
#include "logs.h"

#include <csignal>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace api {
namespace {

class TransactionLock : public LogTest {
  protected:
    int fd = -1, other = -1;
    // Records 1 to 3, none of them locked.
    void SetUp() override {
        startLog();
        fd = buildTrans();
        putIds(fd, {10, 20, 30});
        EXPECT_OK(isrelease(fd));
        other = open();
    }
    // Which of the first so many records are free.
    std::vector<long> freeOnes(long count = 3) {
        std::vector<long> free;
        for (long number = 1; number <= count; ++number)
            if (lockable(other, number)) free.push_back(number);
        return free;
    }
};

TEST_F(TransactionLock, AddedAndReplacedRecordsAreLockedUntilTheCommit) {
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrewrite(fd, row(20, "new")));
    EXPECT_EQ(freeOnes(4), (Ids{1, 3}));
    EXPECT_FAILS(ISERR_LOCKED, isrewrite(other, row(40)));
    EXPECT_FAILS(ISERR_LOCKED, isdelrec(other, 2));
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(4), (Ids{1, 2, 3, 4}));
    EXPECT_OK(isrewrite(other, row(40, "mine")));
}

TEST_F(TransactionLock, RollbackReleasesThemToo) {
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrewrite(fd, row(20, "new")));
    EXPECT_OK(isrewrite(fd, row(30, "new")));
    EXPECT_OK(isdelete(fd, row(30)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(freeOnes(), (Ids{1, 2, 3}));
    EXPECT_OK(iswrite(other, row(50)));
    EXPECT_EQ(isrecnum, 4);
}

TEST_F(TransactionLock, RecordsThatWereOnlyReadStayLocked) {
    for (int (*const end)() : {iscommit, isrollback}) {
        Row got = row(10);
        EXPECT_OK(isbegin());
        EXPECT_OK(isread(fd, got, ISEQUAL | ISLOCK));
        EXPECT_OK(isrewrite(fd, row(20, "new")));
        EXPECT_OK(end());
        EXPECT_EQ(freeOnes(), (Ids{2, 3}));
        EXPECT_OK(isrelrec(fd, 1));
        EXPECT_EQ(freeOnes(), (Ids{1, 2, 3}));
        EXPECT_OK(isclose(fd));
        fd = openTrans();
    }
}

TEST_F(TransactionLock, RecordReadAndReplacedIsReleased) {
    EXPECT_OK(isbegin());
    Row got = row(10);
    EXPECT_OK(isread(fd, got, ISEQUAL | ISLOCK));
    EXPECT_OK(isrewcurr(fd, row(10, "new")));
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(), (Ids{1, 2, 3}));
}

TEST_F(TransactionLock, RemovedRecordsAreNotLocked) {
    EXPECT_OK(isbegin());
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(iswrite(other, row(50)));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_TRUE(lockable(other, 2));
    EXPECT_OK(isrewrite(other, row(50, "mine")));
    EXPECT_OK(iscommit());
}

TEST_F(TransactionLock, LockOnANewRecordUnderARemovedNumberStays) {
    EXPECT_OK(isbegin());
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(iswrite(other, row(50)));
    EXPECT_EQ(isrecnum, 2);
    Row got = row(50);
    EXPECT_OK(isread(fd, got, ISEQUAL | ISLOCK));
    EXPECT_OK(iscommit());
    EXPECT_FALSE(lockable(other, 2));
}

TEST_F(TransactionLock, RecordLockedByAnotherHandleIsNotChanged) {
    Row got = row(20);
    EXPECT_OK(isread(other, got, ISEQUAL | ISLOCK));
    EXPECT_OK(isbegin());
    const std::string before = contents(log());
    expectRefused(base(), ISERR_LOCKED, [this] { return isrewrite(fd, row(20, "new")); });
    expectRefused(base(), ISERR_LOCKED, [this] { return isrewrec(fd, 2, row(25, "new")); });
    expectRefused(base(), ISERR_LOCKED, [this] { return isdelrec(fd, 2); });
    EXPECT_EQ(contents(log()), before);
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(), (Ids{1, 2, 3}));  // its own lock is no hindrance to the other handle
    EXPECT_OK(isrelease(other));
}

TEST_F(TransactionLock, RefusedChangesLeaveNoLock) {
    EXPECT_OK(isbegin());
    EXPECT_FAILS(ISERR_DUPLICATE, iswrite(fd, row(20)));
    EXPECT_FAILS(ISERR_DUPLICATE, isrewrec(fd, 2, row(10)));
    EXPECT_EQ(freeOnes(), (Ids{1, 2, 3}));
    EXPECT_OK(iscommit());
    EXPECT_OK(iswrite(other, row(40)));
    EXPECT_TRUE(lockable(other, 4));
}

TEST_F(TransactionLock, OutsideOfTransactionsTheLockStaysWithTheHandle) {
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isrewrite(fd, row(10, "new")));
    EXPECT_EQ(freeOnes(4), (Ids{2, 3}));
    EXPECT_OK(isbegin());
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(4), (Ids{2, 3}));
    EXPECT_OK(isrelrec(fd, 4));
    EXPECT_EQ(freeOnes(4), (Ids{2, 3, 4}));
    EXPECT_OK(isclose(fd));
    EXPECT_EQ(freeOnes(4), (Ids{1, 2, 3, 4}));
}

TEST_F(TransactionLock, WithoutLogOrModeNothingIsLocked) {
    const int quiet = openTrans("file", ISNOLOG), plain = open();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(quiet, row(40)));
    EXPECT_OK(isrewrite(plain, row(10, "new")));
    EXPECT_EQ(freeOnes(4), (Ids{1, 2, 3, 4}));
    EXPECT_OK(iscommit());
    EXPECT_OK(islogclose());
    EXPECT_OK(isrewrite(fd, row(20, "new")));
    EXPECT_EQ(freeOnes(4), (Ids{1, 2, 3, 4}));
}

TEST_F(TransactionLock, HandleThatOnlyWritesReleasesToo) {
    const int writer = isopen(base(), ISOUTPUT | ISTRANS);
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(writer, row(40)));
    EXPECT_OK(isrewrite(writer, row(20, "new")));
    EXPECT_EQ(freeOnes(4), (Ids{1, 3}));
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(4), (Ids{1, 2, 3, 4}));
}

TEST_F(TransactionLock, ManyLocksAreHeldAndReleased) {
    EXPECT_OK(isbegin());
    for (long id = 100; id < 200; ++id)
        EXPECT_OK(iswrite(fd, row(id)));
    EXPECT_EQ(freeOnes(103), (Ids{1, 2, 3}));
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(103).size(), 103U);
}

TEST_F(TransactionLock, HandlesOfOneTransactionStillRespectEachOther) {
    const int second = openTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrite(fd, row(10, "a")));
    EXPECT_OK(isrewrite(second, row(20, "b")));
    EXPECT_FAILS(ISERR_LOCKED, isrewrite(second, row(10, "c")));
    EXPECT_FAILS(ISERR_LOCKED, isdelete(fd, row(20)));
    EXPECT_EQ(freeOnes(), (Ids{3}));
    EXPECT_OK(iscommit());
    EXPECT_EQ(freeOnes(), (Ids{1, 2, 3}));
}

TEST_F(TransactionLock, LockCheckIsContentWithTheLockOfTheTransaction) {
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(islockcheck(fd, 1));
    EXPECT_OK(isrewrite(fd, row(40, "new")));
    EXPECT_OK(isdelete(fd, row(40)));
    EXPECT_FAILS(ISERR_NOCURRENT, isrewrite(fd, row(10, "new")));
    EXPECT_OK(iscommit());
}

// A child that holds the lock of one record from before its byte arrives until it is told to end.
class LockHolder {
  public:
    LockHolder(const std::string &data, long recnum) {
        int up[2];
        if (pipe(up) != 0 || pipe(down_) != 0) return;
        child_ = fork();
        if (child_ == 0) {
            const int file = ::open(data.c_str(), O_RDWR);
            struct flock range {};
            range.l_type = F_WRLCK;
            range.l_whence = SEEK_SET;
            range.l_start = 0x40000000L + recnum;
            range.l_len = 1;
            char byte = fcntl(file, F_SETLK, &range) == 0 ? 'y' : 'n';
            if (write(up[1], &byte, 1) != 1) _exit(1);
            close(down_[1]);
            _exit(read(down_[0], &byte, 1) == 0 ? 0 : 1);
        }
        char byte = 'n';
        EXPECT_EQ(read(up[0], &byte, 1), 1);
        EXPECT_EQ(byte, 'y');
        close(up[0]);
        close(up[1]);
        close(down_[0]);
    }
    ~LockHolder() {
        close(down_[1]);
        waitpid(child_, nullptr, 0);
    }
    LockHolder(const LockHolder &) = delete;
    LockHolder &operator=(const LockHolder &) = delete;

  private:
    int down_[2] = {-1, -1};
    pid_t child_ = -1;
};

TEST_F(TransactionLock, NewNumberThatSomebodyHasLockedIsRefused) {
    const std::string before = contents(log());
    {
        const LockHolder holder(path("file.dat"), 4);
        expectRefused(base(), ISERR_LOCKED, [this] { return iswrite(fd, row(40)); });
        EXPECT_OK(isbegin());
        expectRefused(base(), ISERR_LOCKED, [this] { return iswrite(fd, row(40)); });
        EXPECT_OK(iswrite(other, row(50)));  // without ISTRANS there is no lock to be had
        EXPECT_EQ(isrecnum, 4);
        EXPECT_OK(iscommit());
    }
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_EQ(isrecnum, 5);
    EXPECT_EQ(types(), "BU FO IN IN IN FO BW IN CW IN");
}

}  // namespace
}  // namespace api
