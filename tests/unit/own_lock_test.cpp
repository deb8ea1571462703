// Locks that the application holds: what lets go of them, and what does not.

#include <cerrno>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

class OwnLock : public testing::Test {
  protected:
    void SetUp() override {
        KeyDesc key = charKey(4);
        const std::string base = directory_.file("f");
        fd_ = isbuild(base.c_str(), 20, &key, ISINOUT | ISTRANS);
        other_ = isopen(base.c_str(), ISINOUT);
        ASSERT_EQ(iswrite(fd_, const_cast<char *>("aaaa                ")), 0);
        ASSERT_EQ(isread(fd_, record_, ISFIRST | ISLOCK), 0);
    }
    void TearDown() override {
        iscleanup();
        islogclose();
    }
    bool isFree() {
        char got[21];
        const bool locked = isread(other_, got, ISFIRST | ISLOCK) == 0;
        isrelease(other_);
        return locked;
    }

    testing_support::TempDir directory_;
    int fd_ = -1, other_ = -1;
    char record_[21] = {};
};

TEST_F(OwnLock, StaysWhenAChangeOfTheRecordFails) {
    ASSERT_EQ(islogopen(directory_.file("log").c_str()), 0);
    ASSERT_EQ(isbegin(), 0);
    {
        unit::Refusal full(ENOSPC, unit::every(shim::Call::Write));
        EXPECT_EQ(isrewrite(fd_, record_), -1);
        EXPECT_EQ(iserrno, 121);
    }
    EXPECT_FALSE(isFree());
    ASSERT_EQ(isrelease(fd_), 0);
    EXPECT_TRUE(isFree());
}

TEST_F(OwnLock, IsLetGoOfThoughTheHandleLocksNothingAnyMore) {
    ASSERT_EQ(issetmode(fd_, ISLOCKNONE), 0);
    EXPECT_FALSE(isFree());
    ASSERT_EQ(isrelease(fd_), 0);
    EXPECT_TRUE(isFree());
}

}  // namespace
