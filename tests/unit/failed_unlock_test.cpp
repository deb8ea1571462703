// The system refuses to take a phase lock back: the change is done all the same, and the log says so.

#include <fcntl.h>

#include <cerrno>

#include "unit/raw_file.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;
using unit::sizeOf;

bool isPhaseUnlock(const shim::Arguments &arguments) {
    const struct flock *lock = arguments.lock;
    return lock != nullptr && lock->l_type == F_UNLCK && lock->l_start == 0 && lock->l_len > 1;
}

TEST(FailedUnlock, LeavesTheChangeInFileAndLog) {
    testing_support::TempDir directory;
    const std::string log = directory.file("log");
    ASSERT_EQ(islogopen(log.c_str()), 0);
    {
        ScratchFile file(20, charKey(4));
        char first[] = "aaaa                ", second[] = "bbbb                ", got[21];
        ASSERT_EQ(iswrite(file.fd(), first), 0);
        const std::size_t before = sizeOf(log);
        {
            unit::Refusal refusing(ENOLCK, unit::only(0, isPhaseUnlock));
            EXPECT_EQ(iswrite(file.fd(), second), -1);
            EXPECT_EQ(iserrno, ENOLCK);
        }
        EXPECT_GT(sizeOf(log), before);
        EXPECT_EQ(isread(file.fd(), got, ISLAST), 0);
        EXPECT_EQ(std::string(got, 4), "bbbb");
    }
    EXPECT_EQ(islogclose(), 0);
}

}  // namespace
