// Files worked on through mappings: when they are, what is copied and what is written, windows, lengths.

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <map>
#include <random>

#include "base/isfail.h"
#include "base/ismap.h"
#include "base/issystem.h"
#include "isam_maint.h"
#include "storage/header_layout.h"
#include "support/file_check.h"
#include "unit/raw_file.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using shim::Arguments;
using shim::Call;
using unit::charKey;
using unit::Refusal;
using unit::ScratchFile;
using unit::sizeOf;

constexpr int kMapped = ISINOUT | ISMAPPED;

// Counts calls, and lets them through.
class Counter : public shim::Observer {
  public:
    Counter() : others_(shim::observe(this)) {}
    ~Counter() override { shim::observe(others_); }
    Counter(const Counter &) = delete;
    Counter &operator=(const Counter &) = delete;

    shim::Answer before(const Arguments &arguments) override {
        ++counts_[arguments.call];
        if (arguments.call == Call::PositionedWrite) ++writes_[arguments.offset];
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }
    int count(Call call) const { return counts_.count(call) != 0 ? counts_.at(call) : 0; }
    int writesAt(off_t offset) const { return writes_.count(offset) != 0 ? writes_.at(offset) : 0; }
    int all() const {
        int sum = 0;
        for (const auto &[call, times] : counts_)
            sum += times;
        return sum;
    }

  private:
    shim::Observer *const others_;
    std::map<Call, int> counts_;
    std::map<off_t, int> writes_;  // by where they begin
};

std::string record(int i) { return std::to_string(100000 + i) + std::string(44, static_cast<char>('a' + i % 26)); }

void fill(ScratchFile &file, int count) {
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(file.write(record(i)), i + 1);
}

bool find(int fd, int i) {
    std::string wanted = record(i), read = wanted;
    std::fill(read.begin() + 6, read.end(), '?');
    return isread(fd, read.data(), ISEQUAL) == 0 && read == wanted;
}

const FileMap &mapOf(const IsamFile *h, int kind) { return h->maps[kind - ISKIND_INDEX]; }

TEST(Mapped, IsNotInTheMode) {
    ScratchFile file(50, charKey(6), kMapped);
    ASSERT_NE(file.handle()->maps, nullptr);
    EXPECT_EQ(file.handle()->mode, ISINOUT | ISLOCKMANUAL);
    int mode = 0;
    EXPECT_EQ(isgetmode(file.fd(), &mode), 0);
    EXPECT_EQ(mode, ISINOUT | ISLOCKMANUAL);
    EXPECT_EQ(issetmode(file.fd(), ISLOCKAUTO | ISMAPPED), 0);
    EXPECT_EQ(file.handle()->mode, ISINOUT | ISLOCKAUTO);
    EXPECT_NE(file.handle()->maps, nullptr);
}

TEST(Mapped, IsWhatTheHandleAskedFor) {
    ScratchFile file(50, charKey(6));
    EXPECT_EQ(file.handle()->maps, nullptr);
    EXPECT_EQ(issetmode(file.fd(), ISLOCKMANUAL | ISMAPPED), 0);
    EXPECT_EQ(file.handle()->maps, nullptr);
    const int fd = isopen(file.base().c_str(), kMapped);
    EXPECT_NE(isAdmItoD(fd)->maps, nullptr);
    EXPECT_EQ(isclose(fd), 0);
}

TEST(Mapped, NotWhereEachWriteWaitsForTheDevice) {
    ScratchFile file(50, charKey(6), kMapped | ISSYNCWR);
    EXPECT_EQ(file.handle()->maps, nullptr);
    // The descriptors are those of the first handle.
    const int fd = isopen(file.base().c_str(), kMapped);
    EXPECT_EQ(isAdmItoD(fd)->maps, nullptr);
    EXPECT_EQ(isclose(fd), 0);
}

TEST(Mapped, NotOnAnUnknownFileSystem) {
    ScratchFile file(50, charKey(6));
    fill(file, 3);
    Refusal refused(ENOSYS, unit::every(Call::FileSystem));
    const int fd = isopen(file.base().c_str(), kMapped);
    EXPECT_EQ(refused.count(), 2);
    EXPECT_EQ(isAdmItoD(fd)->maps, nullptr);
    EXPECT_TRUE(find(fd, 1));
    EXPECT_EQ(isclose(fd), 0);
}

TEST(Mapped, OneOfTheFilesAlone) {
    ScratchFile file(50, charKey(6));
    fill(file, 3);
    for (const int refusal : {0, 1}) {
        Refusal refused(ENOSYS, unit::only(refusal, unit::every(Call::FileSystem)));
        const int fd = isopen(file.base().c_str(), kMapped);
        ASSERT_NE(isAdmItoD(fd)->maps, nullptr);
        EXPECT_EQ(mapOf(isAdmItoD(fd), ISKIND_INDEX).reach != 0, refusal == 1);
        EXPECT_EQ(mapOf(isAdmItoD(fd), ISKIND_DATA).reach != 0, refusal == 0);
        EXPECT_TRUE(find(fd, 1));
        EXPECT_EQ(isclose(fd), 0);
    }
}

TEST(Mapped, OrdinaryWhereNoLengthIsToBeHad) {
    ScratchFile file(50, charKey(6), kMapped);
    Refusal refused(EIO, unit::every(Call::FileStatus));
    fill(file, 3);
    EXPECT_TRUE(find(file.fd(), 1));
    EXPECT_GT(refused.count(), 0);
}

TEST(Mapped, OrdinaryWhereNothingCanBeMapped) {
    ScratchFile file(50, charKey(6), kMapped);
    Refusal refused(ENOMEM, unit::every(Call::Map));
    fill(file, 100);
    EXPECT_TRUE(find(file.fd(), 7));
    // Big windows, small ones, and then no more.
    EXPECT_EQ(refused.count(), sizeof(void *) > 4 ? 4 : 2);
    EXPECT_EQ(mapOf(file.handle(), ISKIND_INDEX).reach, 0);
    EXPECT_TRUE(find(file.fd(), 8));
    EXPECT_EQ(testing_support::checkFiles(file.base()).text(), "");
}

TEST(Mapped, SmallWindowsWhereThereIsNoRoomForBigOnes) {
    if (sizeof(void *) == 4) GTEST_SKIP() << "all are small";
    ScratchFile file(50, charKey(6), kMapped);
    Refusal refused(ENOMEM, [](const Arguments &a) { return a.call == Call::Map && a.length > (1U << 30); });
    fill(file, 100);
    EXPECT_TRUE(find(file.fd(), 7));
    EXPECT_EQ(refused.count(), 2);
    EXPECT_EQ(mapOf(file.handle(), ISKIND_INDEX).reach, kMapSmallReach);
    EXPECT_EQ(mapOf(file.handle(), ISKIND_DATA).reach, kMapSmallReach);
}

TEST(Mapped, WithoutDataFile) {
    ScratchFile file(0, charKey(6), kMapped);
    ASSERT_NE(file.handle()->maps, nullptr);
    EXPECT_EQ(mapOf(file.handle(), ISKIND_DATA).reach, 0);
    char key[] = "abcdef";
    EXPECT_EQ(iswrite(file.fd(), key), 0);
    EXPECT_EQ(isread(file.fd(), key, ISFIRST), 0);
}

TEST(Mapped, WithoutLocksIsForReadingAlone) {
    ScratchFile file(50, charKey(6));
    fill(file, 3);
    ASSERT_EQ(isclose(file.fd()), 0);
    const int fd = isopen(file.base().c_str(), kMapped | ISLOCKNONE);
    EXPECT_FALSE(mapOf(isAdmItoD(fd), ISKIND_DATA).writable);
    EXPECT_TRUE(find(fd, 1));
    std::string changed = record(1);
    changed.back() = '!';
    EXPECT_EQ(isrewcurr(fd, changed.data()), -1);
    EXPECT_EQ(iserrno, EBADF);
    EXPECT_TRUE(find(fd, 1));
    EXPECT_EQ(isclose(fd), 0);
}

TEST(Mapped, AWarmReadTransfersNothingByCalls) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file, 2000);
    EXPECT_TRUE(find(file.fd(), 1999));
    {
        const Counter counter;
        for (int i = 0; i < 1000; ++i)
            ASSERT_TRUE(find(file.fd(), i * 7 % 2000));
        EXPECT_EQ(counter.all(), counter.count(Call::Control)) << "locks alone";
    }
    {
        const Counter counter;
        std::string changed = record(5);
        changed.back() = '!';
        ASSERT_EQ(isrewrite(file.fd(), changed.data()), 0);
        EXPECT_EQ(counter.all(), counter.count(Call::Control));
    }
    EXPECT_EQ(testing_support::checkFiles(file.base()).text(), "");
}

TEST(Mapped, WritesWhatMakesAFileLonger) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file, 1);
    off_t size = sizeOf(file.base() + ".dat");
    for (int i = 1; i < 300; ++i) {
        const Counter counter;
        ASSERT_EQ(file.write(record(i)), i + 1);
        EXPECT_GE(counter.count(Call::PositionedWrite), 1);
        size += 51;
        ASSERT_EQ(sizeOf(file.base() + ".dat"), size);
    }
    EXPECT_EQ(testing_support::checkFiles(file.base()).text(), "");
}

// Without it no file can be opened and no rebuild begun, and a call of the system is not cut by a kill.
TEST(Mapped, WritesTheListOfIndexesByCalls) {
    ScratchFile file(50, charKey(6), kMapped | ISLOCKEXCL);
    fill(file, 20);
    constexpr off_t kList = 1024;
    KeyDesc second = charKey(4);
    second.parts[0].start = 10;
    const Counter counter;
    ASSERT_EQ(isaddindex(file.fd(), &second), 0);
    EXPECT_EQ(counter.writesAt(kList), 1);
    ASSERT_EQ(isdelindex(file.fd(), &second), 0);
    EXPECT_EQ(counter.writesAt(kList), 2);
    EXPECT_EQ(testing_support::checkFiles(file.base()).text(), "");
}

TEST(Mapped, WritesTheNameOfTheTrailByCalls) {
    ScratchFile file(50, charKey(6), kMapped | ISLOCKEXCL);
    fill(file, 1);
    std::string first = file.base() + ".aud", second = file.base() + ".other";
    ASSERT_EQ(isaudit(file.fd(), first.data(), ISAUDSETNAME), 0) << iserrno;
    const Counter counter;
    ASSERT_EQ(isaudit(file.fd(), second.data(), ISAUDSETNAME), 0) << iserrno;
    const auto node = static_cast<off_t>(file.handle()->auditNode);
    EXPECT_EQ(counter.writesAt((node - 1) * 1024), 1);
}

TEST(Mapped, WritesTheUsersTenBytesByCalls) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file, 1);
    const Counter counter;
    std::string bytes = "0123456789";
    ASSERT_EQ(isuserinfo(file.fd(), 1, bytes.data()), 0);
    EXPECT_EQ(counter.writesAt(0), 1);
    ASSERT_EQ(file.write(record(1)), 2);
    EXPECT_EQ(counter.writesAt(0), 1) << "the next header is a copy again";
}

// What other handles have added is looked for when it is first met.
TEST(Mapped, SeesAFileGrow) {
    ScratchFile file(50, charKey(6), kMapped);
    const std::string other = file.base().substr(0, file.base().rfind('/')) + "/./file";
    const int fd = isopen(other.c_str(), ISINOUT);
    for (int i = 0; i < 500; ++i) {
        std::string text = record(i);
        ASSERT_EQ(iswrite(fd, text.data()), 0);
        ASSERT_TRUE(find(file.fd(), i));
    }
    EXPECT_EQ(isclose(fd), 0);
}

// The sizes of nodes and slots, at any place, through windows of 256 KB: more of them than a handle keeps, so that
// some go and come back.
class Windows : public testing::Test {
  protected:
    static constexpr int kSize = 4 * 1024 * 1024 + 777;

    void SetUp() override {
        content_.resize(kSize);
        for (char &byte : content_)
            byte = static_cast<char>(random_());
        ASSERT_EQ(pwrite(isqv_datfd(file_.fd()), content_.data(), kSize, 0), kSize);
        file_.handle()->maps[1].reach = 2 * kMapOverlap;
    }
    int anyLength() { return 1 + static_cast<int>(random_() % (random_() % 2 == 0 ? 65536 : 100)); }
    std::int64_t anyPlace(int length) {
        return static_cast<std::int64_t>(random_() % static_cast<unsigned>(kSize - length + 1));
    }

    ScratchFile file_{50, charKey(6), kMapped};
    std::string content_;
    std::mt19937 random_{7};
};

TEST_F(Windows, GiveAndTakeBytesAtAnyPlace) {
    std::string bytes(65536, 0);
    const Counter counter;
    for (int i = 0; i < 5000; ++i) {
        const int length = anyLength();
        const std::int64_t at = anyPlace(length);
        if (i % 3 != 0) {
            ASSERT_EQ(is_read(file_.handle(), ISKIND_DATA, bytes.data(), length, at), 1);
            ASSERT_EQ(content_.compare(static_cast<std::size_t>(at), static_cast<std::size_t>(length), bytes, 0,
                                       static_cast<std::size_t>(length)),
                      0)
                << at << " " << length;
        } else {
            for (int n = 0; n < length; ++n)
                bytes[static_cast<std::size_t>(n)] = static_cast<char>(random_());
            ASSERT_EQ(is_write(file_.handle(), ISKIND_DATA, bytes.data(), length, at), 1);
            content_.replace(static_cast<std::size_t>(at), static_cast<std::size_t>(length), bytes, 0,
                             static_cast<std::size_t>(length));
        }
    }
    EXPECT_EQ(counter.count(Call::PositionedRead) + counter.count(Call::PositionedWrite), 0);
    EXPECT_GT(counter.count(Call::Map), kMapWindows) << "windows have been replaced";
    std::string found(kSize, 0);
    ASSERT_EQ(pread(isqv_datfd(file_.fd()), found.data(), kSize, 0), kSize);
    EXPECT_TRUE(found == content_);
}

// The windows that were used last stay.
TEST_F(Windows, GoWhenTheyHaveNotBeenUsedForLongest) {
    file_.handle()->maps[1].reach = 3 * kMapOverlap;
    const auto touch = [&](int window) {
        char byte;
        // Behind what the window before has as well.
        ASSERT_EQ(is_read(file_.handle(), ISKIND_DATA, &byte, 1, (2 * window + 1) * kMapOverlap), 1);
    };
    for (int i = 0; i < kMapWindows; ++i)
        touch(i);
    touch(0);
    {
        const Counter counter;
        touch(kMapWindows);  // in place of 1
        EXPECT_EQ(counter.count(Call::Map), 1);
        touch(0);
        for (int i = 2; i <= kMapWindows; ++i)
            touch(i);
        EXPECT_EQ(counter.count(Call::Map), 1);
        touch(1);
        EXPECT_EQ(counter.count(Call::Map), 2);
    }
}

// What ends behind the file goes as without mapping, with the same errors.
TEST_F(Windows, LeaveWhatIsBehindTheEnd) {
    IsamFile *h = file_.handle();
    std::string bytes(100, 'x');
    const int code = file_.change([&] { is_read(h, ISKIND_DATA, bytes.data(), 100, kSize - 99); });
    EXPECT_EQ(code, EIO);
    EXPECT_EQ(h->errio, 0x42);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, bytes.data(), 100, kSize - 99), 0);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, bytes.data(), 100, kSize - 100), 1);
    EXPECT_EQ(file_.change([&] { is_read(h, ISKIND_DATA, bytes.data(), 10, -51); }), EINVAL);
    std::fill(bytes.begin(), bytes.end(), 'y');
    EXPECT_EQ(is_write(h, ISKIND_DATA, bytes.data(), 100, kSize - 50), 1);
    EXPECT_EQ(sizeOf(file_.base() + ".dat"), kSize + 50);
    std::string found(100, 0);
    EXPECT_EQ(is_read(h, ISKIND_DATA, found.data(), 100, kSize - 50), 1);
    EXPECT_EQ(found, bytes);
}

TEST_F(Windows, ALengthThatWasLookedAtIsBelieved) {
    IsamFile *h = file_.handle();
    char byte;
    ASSERT_EQ(is_read(h, ISKIND_DATA, &byte, 1, 0), 1);
    const Counter counter;
    ASSERT_EQ(is_read(h, ISKIND_DATA, &byte, 1, 5000), 1);
    EXPECT_EQ(counter.count(Call::FileStatus), 0);
    isForgetCached(h);
    ASSERT_EQ(is_read(h, ISKIND_DATA, &byte, 1, 5000), 1);
    EXPECT_EQ(counter.count(Call::FileStatus), 1);
    ASSERT_EQ(is_truncate(h, ISKIND_DATA, 4000), 1);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, &byte, 1, 5000), 0);
    EXPECT_EQ(counter.count(Call::FileStatus), 2);
    ASSERT_EQ(is_truncate(h, ISKIND_DATA, 8000), 1);
    EXPECT_EQ(is_size(h, ISKIND_DATA), 8000);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, &byte, 1, 5000), 1);
    EXPECT_EQ(counter.count(Call::FileStatus), 2);
}

// A process killed within a copy of the header leaves no number of it half written.
TEST(MappedHeader, NoNumberLiesInTwoStores) {
    using namespace header;
    const auto storeOf = [](int offset) {
        return (offset - kMapFirstStore) / kMapStore;
    };
    for (const int field : {kDataFreeOffset, kIndexFreeOffset, kLastRecordOffset, kLastNodeOffset, kStampOffset,
                            kUniqueIdOffset, kAuditNodeOffset})
        EXPECT_EQ(storeOf(field), storeOf(field + 3)) << field;
    for (int i = 0; i < kHashHeadCount; ++i)
        EXPECT_EQ(storeOf(kHashHeadsOffset + 4 * i), storeOf(kHashHeadsOffset + 4 * i + 3)) << i;
    // Behind the last eight bytes come four, two and one.
    const int rest = kBuiltNodeSize - (kBuiltNodeSize - kMapFirstStore) % kMapStore;
    EXPECT_LE(rest, kBuiltNodeSize - kFlagsBack);
    EXPECT_GE(rest + 4, kBuiltNodeSize - kFlagsBack + 2);
}

int mappingsOf(const std::string &path) {
    int count = 0;
    char line[1024];
    std::FILE *maps = std::fopen("/proc/self/maps", "r");
    while (std::fgets(line, sizeof line, maps) != nullptr)
        if (std::strstr(line, path.c_str()) != nullptr) ++count;
    std::fclose(maps);
    return count;
}

TEST(MappedEnd, LeavesNoMapping) {
    ScratchFile file(50, charKey(6));
    fill(file, 3);
    for (int i = 0; i < 20; ++i) {
        const int fd = isopen(file.base().c_str(), kMapped);
        ASSERT_TRUE(find(fd, 1));
        EXPECT_EQ(mappingsOf(file.base()), 2);
        ASSERT_EQ(isclose(fd), 0);
        EXPECT_EQ(mappingsOf(file.base()), 0);
    }
}

TEST(MappedEnd, ComesWithTheHandleAndNotWithTheFiles) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file, 3);
    const int fd = isopen(file.base().c_str(), kMapped);
    ASSERT_TRUE(find(fd, 1));
    ASSERT_TRUE(find(file.fd(), 1));
    EXPECT_EQ(mappingsOf(file.base()), 4);
    ASSERT_EQ(isclose(file.fd()), 0);
    EXPECT_EQ(mappingsOf(file.base()), 2);
    ASSERT_TRUE(find(fd, 2));
    ASSERT_EQ(isclose(fd), 0);
    EXPECT_EQ(mappingsOf(file.base()), 0);
}

}  // namespace
