// Recovery goes to the end of the log: where it cannot learn where that is, it must not look like an empty one.

#include <cerrno>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

TEST(LogLength, ThatIsNotToBeLearntFailsTheRecovery) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f"), log = directory.file("log");
    KeyDesc key = unit::charKey(4);
    ASSERT_EQ(islogopen(log.c_str()), 0);
    const int fd = isbuild(base.c_str(), 8, &key, ISINOUT | ISTRANS);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(isclose(fd), 0);
    ASSERT_EQ(iserase(base.c_str()), 0);
    {
        unit::Refusal lost(EIO, unit::every(shim::Call::Seek));
        EXPECT_EQ(isrecover(), -1);
        EXPECT_EQ(iserrno, 118);
    }
    EXPECT_EQ(isrecover(), 0);
    EXPECT_EQ(islogclose(), 0);
}

}  // namespace
