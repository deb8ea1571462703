// The system refuses to take a phase lock back: the change is done all the same, and the log says so.

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

// Refuses the next release of a phase lock.
class RefusingUnlock : public shim::Observer {
  public:
    RefusingUnlock() : others_(shim::observe(this)) {}
    ~RefusingUnlock() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        const struct flock *lock = arguments.lock;
        if (!refused_ && lock != nullptr && lock->l_type == F_UNLCK && lock->l_start == 0 && lock->l_len > 1) {
            refused_ = true;
            return {true, -1, ENOLCK, 0};
        }
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

  private:
    shim::Observer *const others_;
    bool refused_ = false;
};

off_t sizeOf(const std::string &path) {
    struct stat status;
    return stat(path.c_str(), &status) == 0 ? status.st_size : -1;
}

TEST(FailedUnlock, LeavesTheChangeInFileAndLog) {
    testing_support::TempDir directory;
    const std::string log = directory.file("log");
    ASSERT_EQ(islogopen(log.c_str()), 0);
    {
        ScratchFile file(20, charKey(4));
        char first[] = "aaaa                ", second[] = "bbbb                ", got[21];
        ASSERT_EQ(iswrite(file.fd(), first), 0);
        const off_t before = sizeOf(log);
        {
            const RefusingUnlock refusing;
            EXPECT_EQ(iswrite(file.fd(), second), -1);
            EXPECT_EQ(iserrno, ENOLCK);
        }
        EXPECT_GT(sizeOf(log), before);
        EXPECT_EQ(isread(file.fd(), got, ISLAST), 0);
        EXPECT_EQ(std::string(got, 4), "bbbb");
    }
    EXPECT_EQ(islogclose(), 0);
}

}  // namespace
