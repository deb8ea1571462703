// A change that fails before it has looked at the header: nodes from before another handle's change are not kept.

#include <cerrno>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

// Refuses the next read of the header.
class HeaderOnceUnread : public shim::Observer {
  public:
    explicit HeaderOnceUnread(int indexFile) : indexFile_(indexFile), others_(shim::observe(this)) {}
    ~HeaderOnceUnread() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (!refused_ && arguments.call == shim::Call::PositionedRead && arguments.descriptor == indexFile_ &&
            arguments.offset == 0) {
            refused_ = true;
            return {true, -1, EIO, 0};
        }
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }
    bool refused() const { return refused_; }

  private:
    const int indexFile_;
    bool refused_ = false;
    shim::Observer *const others_;
};

TEST(MissedRefresh, IsMadeUpForByTheNextCall) {
    ScratchFile file(20, charKey(4));
    ASSERT_EQ(file.write("aaaa"), 1);
    char record[21] = "aaaa                ";
    ASSERT_EQ(isread(file.fd(), record, ISEQUAL), 0);
    const int other = isopen(file.base().c_str(), ISINOUT);
    char added[21] = "bbbb                ";
    ASSERT_EQ(iswrite(other, added), 0);
    {
        const HeaderOnceUnread unread(isqv_idxfd(file.fd()));
        EXPECT_EQ(file.write("cccc"), -1);
        EXPECT_EQ(iserrno, EIO);
        EXPECT_TRUE(unread.refused());
    }
    EXPECT_EQ(isread(file.fd(), added, ISEQUAL), 0);
    EXPECT_EQ(isrecnum, 2);
    EXPECT_EQ(isclose(other), 0);
}

}  // namespace
