// A change that fails after the log has it: its record is taken out again where that can be done, and stays where it
// cannot, which recovery then does again.
#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

#include <functional>

#include "base/isglobal.h"
#include "shim/system_calls.h"
#include "unit/raw_file.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

// Once the log has been written, the first write to another file fails; then other calls can be made to.
class FailAfterLogged : public shim::Observer {
  public:
    FailAfterLogged() : before_(shim::observe(this)) {}
    ~FailAfterLogged() override { shim::observe(before_); }
    FailAfterLogged(const FailAfterLogged &) = delete;
    FailAfterLogged &operator=(const FailAfterLogged &) = delete;

    bool refuseLock = false, refuseCut = false;
    std::function<void()> meanwhile;

  private:
    static shim::Answer refuse(int error) { return {.replaced = true, .result = -1, .error = error, .cutTo = 0}; }
    shim::Answer before(const shim::Arguments &arguments) override {
        const bool ofLog = arguments.descriptor == isProcess.logfile;
        if (!failed_ && shim::isWriteType(arguments.call)) {
            if (ofLog) {
                logged_ = true;
                return {};
            }
            if (!logged_) return {};
            failed_ = true;
            if (meanwhile) meanwhile();
            return refuse(EIO);
        }
        if (failed_ && ofLog && arguments.lock != nullptr && refuseLock) return refuse(ENOLCK);
        if (failed_ && ofLog && arguments.call == shim::Call::Truncate && refuseCut) return refuse(EIO);
        return {};
    }
    shim::Observer *before_;
    bool logged_ = false, failed_ = false;
};

class LogTakeBack : public testing::Test {
  protected:
    void SetUp() override {
        ASSERT_EQ(islogopen(log_.c_str()), 0);
        KeyDesc key = charKey(4);
        fd_ = isbuild(dir_.file("file").c_str(), 8, &key, ISINOUT | ISTRANS);
        ASSERT_GE(fd_, 0);
        char record[] = "aaaabbbb";
        ASSERT_EQ(iswrite(fd_, record), 0);
    }
    void TearDown() override {
        iscleanup();
        islogclose();
    }
    std::string logged() const { return unit::bytesOf(log_); }
    // The record is not deleted: the log comes first, then the files.
    void fail(const std::function<void(FailAfterLogged &)> &how) {
        FailAfterLogged observer;
        how(observer);
        EXPECT_EQ(isdelrec(fd_, 1), -1);
        EXPECT_EQ(iserrno, EIO);
    }
    bool found(const char *key) {
        char record[9] = {};
        std::copy_n(key, 4, record);
        return isread(fd_, record, ISEQUAL) == 0;
    }

    testing_support::TempDir dir_;
    std::string log_ = dir_.file("log");
    int fd_ = -1;
};

TEST_F(LogTakeBack, LeavesTheLogAsItWas) {
    const std::string before = logged();
    fail([](FailAfterLogged &) {});
    EXPECT_EQ(logged(), before);
    EXPECT_TRUE(found("aaaa"));
}

TEST_F(LogTakeBack, InATransactionLeavesItsChainAsItWas) {
    ASSERT_EQ(isbegin(), 0);
    char record[] = "ddddbbbb";
    ASSERT_EQ(iswrite(fd_, record), 0);
    const std::string before = logged();
    fail([](FailAfterLogged &) {});
    EXPECT_EQ(logged(), before);
    ASSERT_EQ(isrollback(), 0);
    EXPECT_FALSE(found("dddd"));
    EXPECT_TRUE(found("aaaa"));
}

TEST_F(LogTakeBack, IsLeftWhereTheLogCannotBeLockedOrCut) {
    for (const bool lock : {true, false}) {
        SCOPED_TRACE(lock);
        const std::string before = logged();
        fail([lock](FailAfterLogged &observer) { (lock ? observer.refuseLock : observer.refuseCut) = true; });
        EXPECT_GT(logged().size(), before.size());
        EXPECT_TRUE(found("aaaa"));
    }
}

TEST_F(LogTakeBack, IsLeftWhereSomebodyHasAppendedSince) {
    const std::string before = logged();
    fail([this](FailAfterLogged &observer) {
        observer.meanwhile = [this] {
            const int other = open(log_.c_str(), O_WRONLY | O_APPEND);
            EXPECT_EQ(write(other, "x", 1), 1);
            close(other);
        };
    });
    const std::string after = logged();
    EXPECT_GT(after.size(), before.size() + 1);
    EXPECT_EQ(after.substr(0, before.size()), before);
    EXPECT_EQ(after.back(), 'x');
    EXPECT_TRUE(found("aaaa"));
}

}  // namespace
