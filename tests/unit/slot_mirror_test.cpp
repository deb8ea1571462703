// Slots kept in memory: when, and that they are what the file has.

#include "storage/ismirror.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <map>
#include <random>

#include "base/isglobal.h"
#include "storage/isahead.h"
#include "storage/isdatio.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr int kLength = 120;
constexpr int kRecords = 1000;  // seven pieces and a half
constexpr int kCalm = 256;
constexpr int kPieceSlots = 16384 / (kLength + 1);

std::string text(int n) { return std::to_string(100000 + n); }

class SlotMirrorTest : public testing::Test {
  protected:
    SlotMirrorTest() {
        for (int n = 1; n <= kRecords; ++n)
            file_.write(text(n));
    }
    void TearDown() override {
        iscachelimit(before_);
        if (isAdmItoD(file_.fd()) == nullptr) return;
        isMirrorFree(h());
        EXPECT_EQ(isProcess.mirrorBytes, 0U);
    }
    IsamFile *h() { return file_.handle(); }
    // Reads a slot inside of an operation; the record's first six bytes.
    std::string get(long recnum) {
        EXPECT_EQ(file_.change([&] { isGetData(h(), recnum); }), 0);
        return {reinterpret_cast<const char *>(h()->recordBuffer), 6};
    }
    // Back and forth through the whole file, so that nothing is read ahead.
    void readAround() {
        for (int n = 1; n <= kRecords; ++n)
            EXPECT_EQ(get(elsewhere(n)), text(elsewhere(n)));
    }
    static int elsewhere(int n) { return (n * 7) % kRecords + 1; }
    // What is in the file is no more what is in memory.
    void overwrite(long recnum, const std::string &bytes) {
        const int fd = open((file_.base() + ".dat").c_str(), O_WRONLY);
        ASSERT_EQ(pwrite(fd, bytes.data(), bytes.size(), (recnum - 1) * (kLength + 1)),
                  static_cast<ssize_t>(bytes.size()));
        close(fd);
    }
    int rewrite(int fd, long recnum, std::string bytes) {
        bytes.resize(kLength, ' ');
        return isrewrec(fd, recnum, bytes.data());
    }
    long before_ = iscachelimit(-1);
    ScratchFile file_{kLength, charKey(6)};
};

TEST_F(SlotMirrorTest, BeginsAfterManySlotsReadAlone) {
    for (int n = 1; n <= kCalm; ++n)
        get(elsewhere(n));
    EXPECT_EQ(h()->mirror.bytes, nullptr);
    get(elsewhere(1));
    EXPECT_NE(h()->mirror.bytes, nullptr);
    EXPECT_TRUE(h()->mirror.filled);
    EXPECT_EQ(isProcess.mirrorBytes, static_cast<std::size_t>(h()->mirror.size));
    EXPECT_GE(h()->mirror.size, kRecords * (kLength + 1));
}

TEST_F(SlotMirrorTest, IsReadInPlaceOfTheFile) {
    readAround();
    overwrite(500, "unseen");
    EXPECT_EQ(get(500), text(500));
    isAheadForget(h());
    EXPECT_EQ(get(500), "unseen");
}

TEST_F(SlotMirrorTest, HasPiecesOnlyWhereSomethingWasRead) {
    for (int n = 0; n <= kCalm; ++n)
        get(1 + n % 2 * 20);
    EXPECT_NE(isMirrorSlot(h(), 1), nullptr);
    EXPECT_NE(isMirrorSlot(h(), kPieceSlots), nullptr);
    EXPECT_EQ(isMirrorSlot(h(), kPieceSlots + 1), nullptr) << "ends in the next piece";
    EXPECT_EQ(get(kPieceSlots + 1), text(kPieceSlots + 1));
    EXPECT_NE(isMirrorSlot(h(), 2 * kPieceSlots), nullptr);
    EXPECT_EQ(isMirrorSlot(h(), kRecords), nullptr);
}

TEST_F(SlotMirrorTest, HasWhatThisHandleHasWritten) {
    readAround();
    ASSERT_EQ(rewrite(file_.fd(), 300, "zzzzzz"), 0);
    ASSERT_EQ(isdelrec(file_.fd(), 301), 0);
    ASSERT_NE(isMirrorSlot(h(), 300), nullptr);
    EXPECT_EQ(get(300), "zzzzzz");
    EXPECT_EQ(file_.change([&] { EXPECT_TRUE(isDelCheck(h(), 301)); }), 0);
    EXPECT_EQ(file_.write("again!"), 301);
    ASSERT_NE(isMirrorSlot(h(), 301), nullptr);
    EXPECT_EQ(get(301), "again!");
}

TEST_F(SlotMirrorTest, GrowsWithTheFile) {
    readAround();
    const std::int64_t size = h()->mirror.size;
    int last = kRecords;
    while (static_cast<std::int64_t>(last) * (kLength + 1) <= size) {
        ++last;
        ASSERT_EQ(file_.write(text(last)), last);
        EXPECT_EQ(get(last), text(last));
        EXPECT_EQ(get(last - 70), text(last - 70));
    }
    EXPECT_EQ(get(last), text(last));
    EXPECT_GT(h()->mirror.size, size);
    for (int n = 1; n <= last; ++n)
        EXPECT_EQ(get(n * 7 % last + 1), text(n * 7 % last + 1));
}

TEST_F(SlotMirrorTest, IsForgottenWhenAnotherHandleHasChangedTheFile) {
    readAround();
    const int other = isopen(file_.base().c_str(), ISINOUT | ISLOCKMANUAL);
    ASSERT_EQ(rewrite(other, 300, "zzzzzz"), 0);
    char seen[kLength];
    ASSERT_EQ(isdata(file_.fd(), seen, 300), 0);
    EXPECT_EQ(std::string(seen, 6), "zzzzzz");
    EXPECT_FALSE(h()->mirror.filled);
    // Who shares a file with a writer reads as ever.
    for (int n = 1; n < kCalm - 1; ++n)
        get(elsewhere(n));
    EXPECT_FALSE(h()->mirror.filled);
    EXPECT_EQ(isclose(other), 0);
}

TEST_F(SlotMirrorTest, IsForgottenAfterAFailure) {
    readAround();
    ASSERT_TRUE(h()->mirror.filled);
    std::string twice = text(5);
    EXPECT_EQ(file_.write(twice), -1);
    EXPECT_EQ(iserrno, ISERR_DUPLICATE);
    EXPECT_FALSE(h()->mirror.filled);
}

TEST_F(SlotMirrorTest, IsNotMadeWhereTheFileHasNoRoomBesideTheNodes) {
    const std::size_t file = kRecords * (kLength + 1), room = (file + file / 4) / 1024;
    iscachelimit(static_cast<long>(room + isProcess.frameBytes / 1024 - 20));
    readAround();
    EXPECT_EQ(h()->mirror.bytes, nullptr);
    iscachelimit(static_cast<long>(room + isProcess.frameBytes / 1024 + 40));
    readAround();
    EXPECT_NE(h()->mirror.bytes, nullptr);
}

TEST_F(SlotMirrorTest, GoesWhenTheBoundIsLowered) {
    readAround();
    ASSERT_NE(h()->mirror.bytes, nullptr);
    iscachelimit(40);
    EXPECT_EQ(h()->mirror.bytes, nullptr);
    EXPECT_EQ(isProcess.mirrorBytes, 0U);
    EXPECT_EQ(get(7), text(7));
}

TEST_F(SlotMirrorTest, GivesWayToNodes) {
    readAround();
    ASSERT_NE(h()->mirror.bytes, nullptr);
    iscachelimit(static_cast<long>((isProcess.frameBytes + isProcess.mirrorBytes) / 1024 + 2));
    ASSERT_NE(h()->mirror.bytes, nullptr);
    ScratchFile other(kLength, charKey(6));
    for (int n = 1; n <= 500; ++n)
        other.write(text(n));
    EXPECT_EQ(h()->mirror.bytes, nullptr);
    EXPECT_EQ(get(7), text(7));
}

TEST_F(SlotMirrorTest, IsNotMadeWithoutMemory) {
    {
        const unit::Refusal none(
            ENOMEM, [](const shim::Arguments &a) { return a.call == shim::Call::Allocate && a.length > 16384; });
        readAround();
        EXPECT_GT(none.count(), 0);
    }
    EXPECT_EQ(h()->mirror.bytes, nullptr);
    readAround();
    EXPECT_NE(h()->mirror.bytes, nullptr);
}

TEST_F(SlotMirrorTest, EndsWhereTheFileDoes) {
    h()->dataFree.last = kRecords + 1;
    readAround();
    EXPECT_EQ(file_.change([&] { isGetData(h(), kRecords + 1); }), EIO);
    EXPECT_EQ(isMirrorSlot(h(), kRecords), nullptr) << "the last piece is not whole";
}

TEST_F(SlotMirrorTest, IsMadeOfALargeFileToo) {
    constexpr int kMany = 18000;  // more than two megabytes
    for (int n = kRecords + 1; n <= kMany; ++n)
        file_.write(text(n));
    for (int round = 0; round < 2; ++round)
        for (int n = 1; n <= kMany; ++n)
            EXPECT_EQ(get(n * 7 % kMany + 1), text(n * 7 % kMany + 1));
    EXPECT_GE(h()->mirror.size, kMany * (kLength + 1));
    EXPECT_NE(isMirrorSlot(h(), kMany), nullptr);
}

TEST_F(SlotMirrorTest, EndsWithItsHandle) {
    readAround();
    ASSERT_GT(isProcess.mirrorBytes, 0U);
    EXPECT_EQ(isclose(file_.fd()), 0);
    EXPECT_EQ(isProcess.mirrorBytes, 0U);
}

// Reads and changes by lot, some of them through a second handle, against a table.
TEST_F(SlotMirrorTest, AgreesWithTheFileWhateverIsDone) {
    std::mt19937 lot(7);
    std::map<long, std::string> table;
    for (int n = 1; n <= kRecords; ++n)
        table[n] = text(n);
    const int other = isopen(file_.base().c_str(), ISINOUT | ISLOCKMANUAL);
    int next = kRecords, filled = 0;
    for (int i = 0; i < 40000; ++i) {
        const long recnum = static_cast<long>(lot() % static_cast<unsigned>(next)) + 1;
        const auto record = table.find(recnum);
        char seen[kLength];
        const unsigned what = lot() % 100;
        if (what < 90) {
            EXPECT_EQ(isdata(file_.fd(), seen, recnum) == 0, record != table.end());
            if (record != table.end()) EXPECT_EQ(std::string(seen, 6), record->second);
        } else if (what < 94) {
            const std::string bytes = text(100000 + i).substr(0, 6);
            if (rewrite(i % 3000 == 0 ? other : file_.fd(), recnum, bytes) == 0) table[recnum] = bytes;
        } else if (what < 97) {
            if (isdelrec(file_.fd(), recnum) == 0) table.erase(recnum);
        } else if (const long added = file_.write(text(300000 + i)); added > 0) {
            table[added] = text(300000 + i);
            next = std::max(next, static_cast<int>(added));
        }
        filled += h()->mirror.filled ? 1 : 0;
    }
    EXPECT_EQ(isclose(other), 0);
    EXPECT_GT(filled, 20000);
}

}  // namespace
