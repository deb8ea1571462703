// Recovery goes to the end of the log: where it cannot learn where that is, it must not look like an empty one.

#include <cerrno>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

class SeekingFails : public shim::Observer {
  public:
    SeekingFails() : others_(shim::observe(this)) {}
    ~SeekingFails() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (arguments.call == shim::Call::Seek) return {true, -1, EIO, 0};
        return others_->before(arguments);
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (arguments.call != shim::Call::Seek) others_->after(arguments, result, error);
    }

  private:
    shim::Observer *const others_;
};

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
        const SeekingFails seeking;
        EXPECT_EQ(isrecover(), -1);
        EXPECT_EQ(iserrno, 118);
    }
    EXPECT_EQ(isrecover(), 0);
    EXPECT_EQ(islogclose(), 0);
}

}  // namespace
