// The system refuses to write user information: it stays as it was, also for a handle that never looks again.

#include <cerrno>
#include <cstring>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

class ReadOnlyDisk : public shim::Observer {
  public:
    ReadOnlyDisk() : others_(shim::observe(this)) {}
    ~ReadOnlyDisk() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (arguments.call == shim::Call::PositionedWrite) return {true, -1, EIO, 0};
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

  private:
    shim::Observer *const others_;
};

TEST(UserInfo, ThatCouldNotBeWrittenIsForgotten) {
    for (const int mode : {ISLOCKEXCL, ISLOCKMANUAL}) {
        ScratchFile file(20, charKey(4), ISINOUT | mode);
        char first[] = "first one", second[] = "other one", got[10] = {};
        ASSERT_EQ(isuserinfo(file.fd(), 1, first), 0);
        {
            const ReadOnlyDisk readOnly;
            EXPECT_EQ(isuserinfo(file.fd(), 1, second), -1);
            EXPECT_EQ(iserrno, EIO);
        }
        ASSERT_EQ(isuserinfo(file.fd(), 0, got), 0);
        EXPECT_EQ(std::memcmp(got, first, sizeof got), 0) << got;
    }
}

}  // namespace
