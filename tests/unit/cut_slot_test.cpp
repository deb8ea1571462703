// A data file whose last slot is cut short: a rebuild takes the whole ones.

#include <unistd.h>

#include "isam_maint.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

TEST(CutSlot, DoesNotCount) {
    ScratchFile file(20, charKey(4));
    for (int i = 1; i <= 3; ++i)
        ASSERT_EQ(file.write("aaa" + std::to_string(i)), i);
    ASSERT_EQ(ftruncate(isqv_datfd(file.fd()), 3 * 21 - 5), 0);
    EXPECT_EQ(isRebuildIdx(file.handle(), 1), 1) << file.handle()->errcode;
    char record[21] = "aaa2                ";
    EXPECT_EQ(isread(file.fd(), record, ISEQUAL), 0);
    EXPECT_EQ(isread(file.fd(), record, ISNEXT), -1);
    EXPECT_EQ(iserrno, 110);
}

}  // namespace
