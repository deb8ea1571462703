// The system refuses to take the old name of a file that keeps keys alone: the new one goes again.

#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

// Refuses to remove one name.
class KeptName : public shim::Observer {
  public:
    explicit KeptName(std::string name) : name_(std::move(name)), others_(shim::observe(this)) {}
    ~KeptName() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (arguments.call == shim::Call::Unlink && name_ == arguments.path) return {true, -1, EACCES, 0};
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

  private:
    const std::string name_;
    shim::Observer *const others_;
};

TEST(FailedRename, LeavesTheOldNameOfAFileOfKeys) {
    testing_support::TempDir directory;
    const std::string from = directory.file("old"), to = directory.file("new");
    KeyDesc key = charKey(4);
    ASSERT_EQ(isclose(isbuild(from.c_str(), 0, &key, ISINOUT)), 0);
    {
        const KeptName kept(from + ".idx");
        EXPECT_EQ(isrename(from.c_str(), to.c_str()), -1);
        EXPECT_EQ(iserrno, EACCES);
    }
    EXPECT_EQ(access((from + ".idx").c_str(), F_OK), 0);
    EXPECT_NE(access((to + ".idx").c_str(), F_OK), 0);
}

}  // namespace
