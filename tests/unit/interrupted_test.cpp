// A signal interrupts system calls: nobody notices.

#include <cerrno>

#include "shim/system_calls.h"
#include "support/file_check.h"
#include "unit/scratch_file.h"

namespace {

using shim::Call;
using unit::charKey;
using unit::ScratchFile;

// Interrupts every call of one kind once, and lets it through the next time.
class Interrupting : public shim::Observer {
  public:
    explicit Interrupting(Call call) : call_(call), others_(shim::observe(this)) {}
    ~Interrupting() override { shim::observe(others_); }

    shim::Answer before(const shim::Arguments &arguments) override {
        const bool may = arguments.call == call_ && (call_ != Call::Control || arguments.lock != nullptr);
        if (may && !interrupted_) {
            interrupted_ = true;
            ++count_;
            return {true, -1, EINTR, 0};
        }
        if (may) interrupted_ = false;
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        const bool wasOurs = result < 0 && error == EINTR;
        if (!wasOurs && others_ != nullptr) others_->after(arguments, result, error);
    }

    int count() const { return count_; }

  private:
    const Call call_;
    shim::Observer *const others_;
    bool interrupted_ = false;
    int count_ = 0;
};

class Interrupted : public testing::TestWithParam<Call> {};

TEST_P(Interrupted, CallsSucceedAllTheSame) {
    testing_support::TempDir directory;
    const std::string base = directory.file("f"), trail = directory.file("trail"), log = directory.file("log");
    KeyDesc key = charKey(4), second = charKey(4, 0, 4);
    int count = 0;
    {
        Interrupting interrupting(GetParam());
        ASSERT_EQ(islogopen(log.c_str()), 0) << iserrno;
        const int built = isbuild(base.c_str(), 20, &key, ISINOUT | ISTRANS);
        ASSERT_GE(built, 0) << iserrno;
        ASSERT_EQ(isclose(built), 0) << iserrno;
        const int fd = isopen(base.c_str(), ISINOUT | ISTRANS);
        ASSERT_GE(fd, 0) << iserrno;
        ASSERT_EQ(isaudit(fd, const_cast<char *>(trail.c_str()), ISAUDSETNAME), 0) << iserrno;
        ASSERT_EQ(isaudit(fd, nullptr, ISAUDSTART), 0) << iserrno;
        ASSERT_EQ(isbegin(), 0) << iserrno;
        for (const char *text : {"aaaabbbb            ", "ccccdddd            "})
            ASSERT_EQ(iswrite(fd, const_cast<char *>(text)), 0) << iserrno;
        ASSERT_EQ(isrollback(), 0) << iserrno;
        char record[21] = "eeeeffff            ";
        ASSERT_EQ(iswrite(fd, record), 0) << iserrno;
        ASSERT_EQ(isread(fd, record, ISFIRST | ISLOCK), 0) << iserrno;
        ASSERT_EQ(isrelease(fd), 0) << iserrno;
        ASSERT_EQ(isclose(fd), 0) << iserrno;
        const int alone = isopen(base.c_str(), ISINOUT | ISLOCKEXCL);
        ASSERT_GE(alone, 0) << iserrno;
        ASSERT_EQ(isaddindex(alone, &second), 0) << iserrno;
        ASSERT_EQ(isclose(alone), 0) << iserrno;
        ASSERT_EQ(islogclose(), 0) << iserrno;
        count = interrupting.count();
    }
    EXPECT_GT(count, 0);
    EXPECT_EQ(testing_support::checkFiles(base).text(), "");
}

INSTANTIATE_TEST_SUITE_P(Calls, Interrupted,
                         testing::Values(Call::Open, Call::PositionedRead, Call::Write, Call::PositionedWrite,
                                         Call::Control),
                         [](const auto &info) { return shim::callName(info.param); });

}  // namespace
