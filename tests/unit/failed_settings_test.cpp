// The system refuses to write the header behind new audit settings: the file has none.

#include <cerrno>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

// Refuses every write of the header.
class FixedHeader : public shim::Observer {
  public:
    explicit FixedHeader(int indexFile) : indexFile_(indexFile), others_(shim::observe(this)) {}
    ~FixedHeader() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (arguments.call == shim::Call::PositionedWrite && arguments.descriptor == indexFile_ &&
            arguments.offset == 0)
            return {true, -1, EIO, 0};
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

  private:
    const int indexFile_;
    shim::Observer *const others_;
};

TEST(FailedSettings, AreForgotten) {
    ScratchFile file(20, charKey(4));
    char trail[] = "trail", got[80] = {};
    {
        const FixedHeader fixed(isqv_idxfd(file.fd()));
        EXPECT_EQ(isaudit(file.fd(), trail, ISAUDSETNAME), -1);
        EXPECT_EQ(iserrno, EIO);
    }
    EXPECT_EQ(isaudit(file.fd(), got, ISAUDGETNAME), -1);
    EXPECT_EQ(iserrno, 102);
}

}  // namespace
