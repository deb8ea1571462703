// A change that fails before it has looked at the header: nodes from before another handle's change are not kept.

#include <cerrno>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

TEST(MissedRefresh, IsMadeUpForByTheNextCall) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    char record[21] = "aaaa                ";
    ASSERT_EQ(isread(file.fd(), record, ISEQUAL), 0);
    const int other = isopen(file.base().c_str(), ISINOUT);
    char added[21] = "bbbb                ";
    ASSERT_EQ(iswrite(other, added), 0);
    {
        const auto reads = unit::header(shim::Call::PositionedRead, isqv_idxfd(file.fd()));
        unit::Refusal unread(EIO, unit::only(0, reads));
        EXPECT_EQ(file.write("cccc"), -1);
        EXPECT_EQ(iserrno, EIO);
        EXPECT_EQ(unread.count(), 1);
    }
    EXPECT_EQ(isread(file.fd(), added, ISEQUAL), 0);
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(isclose(other), 0);
}

}  // namespace
