// The system refuses to take the old name of a file that keeps keys alone: the new one goes again.

#include <unistd.h>

#include <cerrno>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

TEST(FailedRename, LeavesTheOldNameOfAFileOfKeys) {
    testing_support::TempDir directory;
    const std::string from = directory.file("old"), to = directory.file("new");
    KeyDesc key = charKey(4);
    ASSERT_EQ(isclose(isbuild(from.c_str(), 0, &key, ISINOUT)), 0);
    {
        unit::Refusal kept(EACCES, [name = from + ".idx"](const shim::Arguments &arguments) {
            return arguments.call == shim::Call::Unlink && name == arguments.path;
        });
        EXPECT_EQ(isrename(from.c_str(), to.c_str()), -1);
        EXPECT_EQ(iserrno, EACCES);
    }
    EXPECT_EQ(access((from + ".idx").c_str(), F_OK), 0);
    EXPECT_NE(access((to + ".idx").c_str(), F_OK), 0);
}

}  // namespace
