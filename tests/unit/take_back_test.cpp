// A change that fails after it was logged takes its record out of the log again, unless somebody has logged more since.

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

std::string contents(const std::string &path) {
    std::string bytes(4096, '\0');
    const int fd = open(path.c_str(), O_RDONLY);
    const ssize_t got = read(fd, bytes.data(), bytes.size());
    close(fd);
    bytes.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return bytes;
}

// Refuses writes to the data file; somebody else logs something before the first of them.
class Refusing : public shim::Observer {
  public:
    Refusing(int dataFile, const std::string &log, const std::string &theirs)
        : dataFile_(dataFile), log_(log), theirs_(theirs), others_(shim::observe(this)) {}
    ~Refusing() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (arguments.call == shim::Call::PositionedWrite && arguments.descriptor == dataFile_) {
            const int fd = open(log_.c_str(), O_WRONLY | O_APPEND);
            EXPECT_EQ(write(fd, theirs_.data(), theirs_.size()), static_cast<ssize_t>(theirs_.size()));
            close(fd);
            theirs_.clear();
            return {true, -1, EIO, 0};
        }
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

  private:
    const int dataFile_;
    const std::string log_;
    std::string theirs_;
    shim::Observer *const others_;
};

class TakeBack : public testing::TestWithParam<std::string> {};

TEST_P(TakeBack, LeavesWhatOthersHaveLogged) {
    const std::string &theirs = GetParam();
    testing_support::TempDir directory;
    const std::string log = directory.file("log");
    ASSERT_EQ(islogopen(log.c_str()), 0);
    {
        ScratchFile file(20, charKey(4));
        ASSERT_EQ(file.write("aaaa"), 1);
        const std::string before = contents(log);
        {
            const Refusing refusing(isqv_datfd(file.fd()), log, theirs);
            EXPECT_EQ(isdelrec(file.fd(), 1), -1);
            EXPECT_EQ(iserrno, EIO);
        }
        const std::string after = contents(log);
        EXPECT_EQ(after.substr(0, before.size()), before);
        if (theirs.empty())
            EXPECT_EQ(after.size(), before.size());
        else
            EXPECT_EQ(after.substr(after.size() - theirs.size()), theirs);
    }
    EXPECT_EQ(islogclose(), 0);
}

INSTANTIATE_TEST_SUITE_P(Logs, TakeBack, testing::Values("", "somebody else's"),
                         [](const auto &info) { return info.param.empty() ? "Alone" : "Shared"; });

}  // namespace
