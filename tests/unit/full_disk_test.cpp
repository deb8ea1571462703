// A file that cannot grow any further: what fails leaves a sound file.

#include <csignal>
#include <sys/resource.h>

#include <cerrno>

#include "support/file_check.h"
#include "unit/raw_file.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;
using unit::sizeOf;

// Keeps files from growing beyond a size for as long as it lives.
class SizeLimit {
  public:
    explicit SizeLimit(rlim_t bytes) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit tight = {bytes, old_.rlim_max};
        setrlimit(RLIMIT_FSIZE, &tight);
    }
    ~SizeLimit() {
        setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, SIG_DFL);
    }

  private:
    rlimit old_;
};

class FullDisk : public testing::Test {
  protected:
    static constexpr int kRecords = 400;

    // Records whose second field is long and differs; some are deleted, so that
    // both free lists hold something.
    void SetUp() override {
        for (int i = 0; i < kRecords; ++i)
            ASSERT_EQ(file_.write(std::to_string(1000 + i) + std::string(80, static_cast<char>('a' + i % 26)) +
                                  std::to_string(i)),
                      i + 1);
        for (int i = 1; i <= kRecords; i += 4)
            ASSERT_EQ(isdelrec(file_.fd(), i), 0);
        // A dropped index leaves free nodes.
        KeyDesc dropped = charKey(60, 0, 2);
        ASSERT_EQ(isaddindex(file_.fd(), &dropped), 0);
        ASSERT_EQ(isdelindex(file_.fd(), &dropped), 0);
    }
    std::string check() const { return testing_support::checkFiles(file_.base()).text(); }

    ScratchFile file_{120, charKey(4)};
    KeyDesc second_ = charKey(110, ISDUPS, 4);
};

TEST_F(FullDisk, AddedIndexThatDoesNotFitIsTakenBack) {
    const rlim_t size = sizeOf(file_.base() + ".idx");
    for (int nodes = 0; nodes < 12; ++nodes) {
        ASSERT_EQ(check(), "") << nodes;
        {
            SizeLimit limit(size + static_cast<rlim_t>(nodes) * 1024);
            ASSERT_EQ(isaddindex(file_.fd(), &second_), -1) << nodes;
        }
        EXPECT_EQ(iserrno, EFBIG);
        EXPECT_EQ(iserrio, 0x51);
        ASSERT_EQ(check(), "") << nodes;
        DictInfo info;
        ASSERT_EQ(isisaminfo(file_.fd(), &info), 0);
        EXPECT_EQ(info.keyCount, 1);
    }
    ASSERT_EQ(isaddindex(file_.fd(), &second_), 0);
    EXPECT_EQ(check(), "");
}

TEST_F(FullDisk, RecordThatDoesNotFitIsNotWrittenAndNotLocked) {
    while (iswrite(file_.fd(), (std::to_string(5000 + isrecnum) + std::string(116, 'x')).data()) == 0 &&
           isrecnum < kRecords) {
    }
    const long highest = isrecnum;
    {
        SizeLimit limit(sizeOf(file_.base() + ".dat"));
        std::string record = "9999" + std::string(116, 'y');
        EXPECT_EQ(iswrlock(file_.fd(), record.data()), -1);
        EXPECT_EQ(iserrno, EFBIG);
        EXPECT_EQ(iserrio, 0x52);
    }
    EXPECT_FALSE(isLocked(file_.handle(), highest + 1));
    EXPECT_EQ(check(), "");
    EXPECT_EQ(file_.write("9999"), highest + 1);
}

// The record goes before the list has room for its number, and comes back.
TEST(FullDiskDelete, RecordWhoseNumberFindsNoRoomStays) {
    ScratchFile file{120, charKey(4)};
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(file.write(std::to_string(1000 + i)), i + 1);
    {
        SizeLimit limit(sizeOf(file.base() + ".idx"));
        EXPECT_EQ(isdelrec(file.fd(), 2), -1);
    }
    EXPECT_EQ(iserrno, EFBIG);
    char record[120];
    isrecnum = 2;
    EXPECT_EQ(isread(file.fd(), record, ISFIRST), 0);
    EXPECT_EQ(isread(file.fd(), record, ISNEXT), 0);
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(testing_support::checkFiles(file.base()).text(), "");
    EXPECT_EQ(isdelrec(file.fd(), 2), 0);
}

}  // namespace
