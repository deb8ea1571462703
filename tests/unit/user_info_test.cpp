// The system refuses to write user information: it stays as it was, also for a handle that never looks again.

#include <cerrno>
#include <cstring>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

TEST(UserInfo, ThatCouldNotBeWrittenIsForgotten) {
    for (const int mode : {ISLOCKEXCL, ISLOCKMANUAL}) {
        ScratchFile file(20, charKey(4), ISINOUT | mode);
        char first[] = "first one", second[] = "other one", got[10] = {};
        ASSERT_EQ(isuserinfo(file.fd(), 1, first), 0);
        {
            unit::Refusal readOnly(EIO, unit::every(shim::Call::PositionedWrite));
            EXPECT_EQ(isuserinfo(file.fd(), 1, second), -1);
            EXPECT_EQ(iserrno, EIO);
        }
        ASSERT_EQ(isuserinfo(file.fd(), 0, got), 0);
        EXPECT_EQ(std::memcmp(got, first, sizeof got), 0) << got;
    }
}

}  // namespace
