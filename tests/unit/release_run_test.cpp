// At the end of a transaction the locks of records that follow each other go together.

#include <fcntl.h>

#include <utility>
#include <vector>

#include "lock/islock.h"
#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr long kLockStart = 0x40000000;

// The ranges of records that are unlocked while it lives.
class Unlocked : public shim::Observer {
  public:
    explicit Unlocked(int descriptor) : descriptor_(descriptor), others_(shim::observe(this)) {}
    ~Unlocked() override { shim::observe(others_); }
    Unlocked(const Unlocked &) = delete;
    Unlocked &operator=(const Unlocked &) = delete;
    void after(const shim::Arguments &a, long result, int error) override {
        if (others_ != nullptr) others_->after(a, result, error);
        if (a.call != shim::Call::Control || a.lock == nullptr || a.descriptor != descriptor_) return;
        if (a.lock->l_type == F_UNLCK)
            ranges.emplace_back(static_cast<long>(a.lock->l_start) - kLockStart, static_cast<long>(a.lock->l_len));
    }
    std::vector<std::pair<long, long>> ranges;  // first record, count

  private:
    const int descriptor_;
    shim::Observer *const others_;
};

using Ranges = std::vector<std::pair<long, long>>;

class ReleaseRun : public testing::Test {
  protected:
    ReleaseRun() {
        EXPECT_EQ(islogopen(dir_.file("log").c_str()), 0);
        for (int n = 0; n < 40; ++n)
            file_.write(std::to_string(1000 + n));
    }
    void TearDown() override { EXPECT_EQ(islogclose(), 0); }
    int rewrite(long recnum) {
        std::string record = std::to_string(999 + recnum) + "*";
        record.resize(20, ' ');
        return isrewrec(file_.fd(), recnum, record.data());
    }
    Ranges releasedByCommit() {
        const Unlocked unlocked(file_.handle()->dataFd);
        EXPECT_EQ(iscommit(), 0);
        return unlocked.ranges;
    }
    testing_support::TempDir dir_;
    ScratchFile file_{20, charKey(4), ISINOUT | ISTRANS};
};

TEST_F(ReleaseRun, OfNewRecordsGoesInOneCall) {
    ASSERT_EQ(isbegin(), 0);
    for (int n = 0; n < 25; ++n)
        ASSERT_EQ(file_.write(std::to_string(2000 + n)), 41 + n);
    EXPECT_TRUE(isLocked(file_.handle(), 50));
    EXPECT_EQ(releasedByCommit(), (Ranges{{41, 25}}));
    for (long n = 41; n < 66; ++n)
        EXPECT_FALSE(isLocked(file_.handle(), n));
}

TEST_F(ReleaseRun, GrowsAtBothEndsAndEndsAtAGap) {
    ASSERT_EQ(isbegin(), 0);
    for (const long n : {20, 11, 5, 6, 7, 4, 6, 30})
        ASSERT_EQ(rewrite(n), 0);
    EXPECT_EQ(releasedByCommit(), (Ranges{{30, 1}, {6, 1}, {4, 1}, {7, 1}, {5, 1}, {11, 1}, {20, 1}}));
}

TEST_F(ReleaseRun, LeavesOutWhatIsNotLockedAnyMore) {
    ASSERT_EQ(isbegin(), 0);
    for (long n = 10; n < 20; ++n)
        ASSERT_EQ(rewrite(n), 0);
    ASSERT_EQ(isrelrec(file_.fd(), 13), 0);
    EXPECT_EQ(releasedByCommit(), (Ranges{{14, 6}, {10, 3}}));
    for (long n = 10; n < 20; ++n)
        EXPECT_FALSE(isLocked(file_.handle(), n));
}

TEST_F(ReleaseRun, IsOfOneFile) {
    ScratchFile other(20, charKey(4), ISINOUT | ISTRANS);
    ASSERT_EQ(isbegin(), 0);
    ASSERT_EQ(rewrite(7), 0);
    ASSERT_EQ(other.write("aaaa"), 1);
    ASSERT_EQ(rewrite(8), 0);
    EXPECT_EQ(releasedByCommit(), (Ranges{{8, 1}, {7, 1}}));
    EXPECT_FALSE(isLocked(other.handle(), 1));
}

}  // namespace
