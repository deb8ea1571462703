// The system refuses to write the header behind new audit settings: the file has none.

#include <cerrno>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::Refusal;
using unit::ScratchFile;

TEST(FailedSettings, AreForgotten) {
    ScratchFile file(20, charKey(4));
    char trail[] = "trail", got[80] = {};
    {
        Refusal fixed(EIO, unit::header(shim::Call::PositionedWrite, isqv_idxfd(file.fd())));
        EXPECT_EQ(isaudit(file.fd(), trail, ISAUDSETNAME), -1);
        EXPECT_EQ(iserrno, EIO);
    }
    EXPECT_EQ(isaudit(file.fd(), got, ISAUDGETNAME), -1);
    EXPECT_EQ(iserrno, 102);
}

}  // namespace
