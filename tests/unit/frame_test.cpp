// The frame: descriptor table, entry check, failures and their clean-up, the
// table of record locks, and the operating-system layer's own rules.

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include "base/isfail.h"
#include "base/issystem.h"
#include "lock/islock.h"
#include "storage/isdatio.h"
#include "storage/ishead.h"
#include "tree/isgrow.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

TEST(DescriptorTable, GrowsByTenAndHandsOutTheLowestFreeNumber) {
    ASSERT_EQ(iscleanup(), 0);
    EXPECT_EQ(isProcess.admsize, 0);
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.fd(), 0);
    for (int i = 1; i < 10; ++i)
        ASSERT_EQ(isopen(file.base().c_str(), ISINOUT), i);
    EXPECT_EQ(isProcess.admsize, 10);
    EXPECT_EQ(isopen(file.base().c_str(), ISINOUT), 10);
    EXPECT_EQ(isProcess.admsize, 20);
    ASSERT_EQ(isclose(4), 0);
    EXPECT_EQ(isopen(file.base().c_str(), ISINOUT), 4);
    for (int i = 1; i <= 10; ++i)
        EXPECT_EQ(isclose(i), 0);
}

TEST(DescriptorTable, TransactionFileSearchNeverExaminesSlotZero) {
    ASSERT_EQ(iscleanup(), 0);
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.fd(), 0);
    EXPECT_EQ(isAdmTxnFile(7, 8), 0);
    EXPECT_EQ(isAdmTxnLast(), file.handle()) << "whatever slot 0 holds";
    const int second = isopen(file.base().c_str(), ISINOUT);
    isAdmItoD(second)->txnFileId[0] = 8;
    isAdmItoD(second)->txnFileId[1] = 7;
    EXPECT_EQ(isAdmTxnFile(7, 8), second);
    EXPECT_EQ(isAdmTxnLast(), isAdmItoD(second));
    ASSERT_EQ(isclose(second), 0);
    EXPECT_EQ(isAdmTxnFile(7, 8), 0);
    ASSERT_EQ(isclose(0), 0);
    EXPECT_EQ(isAdmTxnLast(), nullptr);
}

TEST(DescriptorTable, SharesDescriptorsAmongHandlesOfOneName) {
    ScratchFile file(20, charKey(4));
    const int second = isopen(file.base().c_str(), ISINOUT);
    IsamFile *other = isAdmItoD(second);
    EXPECT_EQ(other->indexFd, file.handle()->indexFd);
    EXPECT_EQ(other->dataFd, file.handle()->dataFd);
    EXPECT_EQ(isAdmShareCount(other), 2);
    ASSERT_EQ(isclose(second), 0);
    EXPECT_EQ(isAdmShareCount(file.handle()), 1);
}

TEST(Entry, RefusesUnknownHandlesAndUnsuitedModes) {
    IsamFile stray = {};
    errno = 0;
    EXPECT_FALSE(isEntry(&stray, ISCLASS_READ));
    EXPECT_EQ(errno, 105);
    EXPECT_FALSE(isEntry(nullptr, ISCLASS_READ));
    EXPECT_EQ(errno, 101);
    EXPECT_TRUE(isEntry(nullptr, ISCLASS_OPEN));
    EXPECT_TRUE(isEntry(&stray, ISCLASS_OPEN));
}

TEST(Failure, OutsideAnOperationIsAFatalStop) {
    EXPECT_EXIT(
        {
            IsamFile stray = {};
            stray.errcode = 111;
            stray.errio = 0x42;
            isFatal([](char *message) { _exit(std::strcmp(message, "isam crash [111/42]") == 0 ? 7 : 8); });
            isFail(&stray, 105);
        },
        testing::ExitedWithCode(7), "");
}

TEST(Failure, OfAChangeDropsThePhaseLockAndLeavesNoTraceInMemory) {
    ScratchFile file(20, charKey(4));
    IsamFile *h = file.handle();
    ASSERT_EQ(file.write("aaaa"), 1);
    const std::uint32_t stamp = h->headerStamp, last = h->dataFree.last;
    EXPECT_EQ(file.change([&] {
        isLockWrite(h);
        isGetFree(h, ISKIND_DATA);
        isTreeInsert(h, file.path(), reinterpret_cast<const std::uint8_t *>("bbbb"), 2);
        isPutFree(h, ISKIND_INDEX, 2);
        isFail(h, 131, 0x52);
    }),
              131);
    EXPECT_EQ(h->errio, 0x52);
    EXPECT_EQ(errno, 131);
    EXPECT_FALSE(h->phaseHeld);
    EXPECT_EQ(h->headerStamp, stamp);
    EXPECT_EQ(h->dataFree.last, last);
    EXPECT_EQ(h->indexFree.head, 0U);
    EXPECT_EQ(h->indexFree.state, ISBUF_EMPTY);
    EXPECT_EQ(file.write("bbbb"), 2) << "the key is not there";
}

TEST(Failure, BeforeTheRefreshDoesNotMakeStaleNodesLookFresh) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("bbbb"), 1);
    const int second = isopen(file.base().c_str(), ISINOUT);
    char record[21] = "aaaa                ";
    ASSERT_EQ(isread(second, record, ISFIRST), 0);
    // The first handle writes; the second is refused before it looks.
    ASSERT_EQ(file.write("aaaa"), 2);
    EXPECT_EQ(isdelrec(second, -5), -1);
    EXPECT_EQ(iswrite(second, record), -1);
    EXPECT_EQ(iserrno, 100) << "the key of the other handle is seen";
    ASSERT_EQ(isread(second, record, ISFIRST), 0);
    EXPECT_EQ(std::memcmp(record, "aaaa", 4), 0);
    ASSERT_EQ(isclose(second), 0);
}

TEST(LockList, EleventhLockGrowsItToTwentySlotsAndKeepsTheOthers) {
    ScratchFile file(20, charKey(4));
    IsamFile *h = file.handle();
    for (int i = 0; i < 11; ++i) {
        std::string record = std::to_string(1000 + i) + std::string(16, ' ');
        ASSERT_EQ(iswrlock(file.fd(), record.data()), 0);
        EXPECT_EQ(h->lockCount, i < 10 ? 10 : 20);
    }
    for (long n = 1; n <= 11; ++n)
        EXPECT_TRUE(isLocked(h, n));
    ASSERT_EQ(isunlock(file.fd()), 0);
    for (long n = 1; n <= 11; ++n)
        EXPECT_FALSE(isLocked(h, n));
}

TEST(LockList, LockingARecordTwiceUsesOneSlot) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    file.change([&] {
        EXPECT_TRUE(isLockData(file.handle(), 1, false));
        EXPECT_TRUE(isLockData(file.handle(), 1, false));
    });
    int used = 0;
    for (int i = 0; i < file.handle()->lockCount; ++i)
        used += file.handle()->lockList[i] != 0;
    EXPECT_EQ(used, 1);
}

TEST(LockList, ThatCannotGrowAnyMoreIs134) {
    ScratchFile file(20, charKey(4));
    IsamFile *h = file.handle();
    EXPECT_EQ(file.change([&] {
        for (long n = 1; n <= 32760; ++n) {
            isLockData(h, n, false);
            if (n % 10 == 0) h->lockList[n - 1] = -1;  // keep the search short
        }
    }),
              0);
    EXPECT_EQ(h->lockCount, 32760);
    for (int i = 0; i < h->lockCount; ++i)
        h->lockList[i] = i + 1;
    EXPECT_EQ(file.change([&] { isLockData(h, 40000, false); }), 134);
}

TEST(System, ReleasingALockOnAClosedFileSucceeds) {
    IsamFile stray = {};
    stray.dataFd = -1;
    EXPECT_EQ(is_lock(&stray, ISKIND_DATA, 0, 1, ISLT_UNLOCK), 1);
}

TEST(System, ReadBeyondTheEndOfAFileFailsAndIsNeverPartial) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    file.handle()->dataFree.last = 3;
    EXPECT_NE(file.change([&] { isGetData(file.handle(), 3); }), 0);
    EXPECT_EQ(file.handle()->errio, 0x42);
}

TEST(System, RecordNumberBeyondTheHighestIs112EvenInALongerFile) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    ASSERT_EQ(file.write("bbbb"), 2);
    file.handle()->dataFree.last = 1;
    EXPECT_EQ(file.change([&] { isGetData(file.handle(), 2); }), 112);
    EXPECT_EQ(file.change([&] { isGetData(file.handle(), 0); }), 112);
    EXPECT_EQ(file.change([&] { isGetData(file.handle(), -1); }), 112);
}

TEST(System, UserIdIsCutTo16Bits) {
    if (getuid() != 0) return;  // needs to become another user
    const pid_t child = fork();
    if (child == 0) _exit(setuid(70000) == 0 && is_getuid(nullptr) == 4464 ? 0 : 1);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

TEST(System, NamesCarryTheExtensionOfTheirKind) {
    char path[kPathSize];
    for (auto [kind, expected] :
         {std::pair{1, "n.idx"}, {2, "n.dat"}, {3, "n"}, {4, "n.lki"}, {6, "n"}, {7, "n.lck"}, {9, "n"}}) {
        ASSERT_TRUE(makename(path, "n", kind));
        EXPECT_STREQ(path, expected);
    }
}

TEST(System, UnknownKindsAndLockTypesAreFatalStops) {
    ScratchFile file(20, charKey(4));
    EXPECT_EXIT(loadfd(file.handle(), 6), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(storefd(file.handle(), 9, 4), testing::ExitedWithCode(1), "");
    EXPECT_EXIT(is_lock(file.handle(), ISKIND_DATA, 0, 1, 5), testing::ExitedWithCode(1), "");
}

TEST(System, WithoutAHandleFailuresAreResults) {
    EXPECT_EQ(is_open(nullptr, ISKIND_LOG, "/nonexistent/log"), -1);
    std::uint8_t byte;
    EXPECT_EQ(is_read(nullptr, 999, &byte, 1, 0), 0);
    EXPECT_EQ(is_lock(nullptr, 999, 0, 1, ISLT_WRITE), 0);
}

}  // namespace
