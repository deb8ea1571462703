// A rename that the system refuses half-way leaves the file set under one name, whole.
#include <cerrno>

#include <unistd.h>

#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::Refusal;

// The calls from..to, counted from 1, among those that make and remove names.
Refusal::Choice names(int from, int to) {
    return [from, to, calls = 0](const shim::Arguments &arguments) mutable {
        if (arguments.call != shim::Call::Link && arguments.call != shim::Call::Unlink) return false;
        ++calls;
        return calls >= from && calls <= to;
    };
}

class RenameFailure : public testing::Test {
  protected:
    void SetUp() override {
        KeyDesc key = charKey(4);
        const int fd = isbuild(from_.c_str(), 8, &key, ISINOUT);
        char record[] = "aaaabbbb";
        ASSERT_EQ(iswrite(fd, record), 0);
        ASSERT_EQ(isclose(fd), 0);
    }
    static bool whole(const std::string &base) {
        const int fd = isopen(base.c_str(), ISINOUT);
        if (fd < 0) return false;
        char record[9] = {};
        const bool found = isread(fd, record, ISFIRST) == 0 && std::string(record) == "aaaabbbb";
        return isclose(fd) == 0 && found;
    }
    static int namesOf(const std::string &base) {
        return (access((base + ".idx").c_str(), F_OK) == 0 ? 1 : 0) +
               (access((base + ".dat").c_str(), F_OK) == 0 ? 1 : 0);
    }
    int rename() { return isrename(from_.c_str(), to_.c_str()); }

    testing_support::TempDir dir_;
    std::string from_ = dir_.file("from"), to_ = dir_.file("to");
};

TEST_F(RenameFailure, AtEachStepIsTakenBack) {
    for (int step = 1; step <= 4; ++step) {
        SCOPED_TRACE(step);
        {
            Refusal refuse(EACCES, names(step, step));
            EXPECT_EQ(rename(), -1);
            EXPECT_EQ(iserrno, EACCES);
        }
        EXPECT_TRUE(whole(from_));
        EXPECT_EQ(namesOf(from_), 2);
        EXPECT_EQ(namesOf(to_), 0);
    }
    EXPECT_EQ(rename(), 0);
    EXPECT_TRUE(whole(to_));
}

TEST_F(RenameFailure, ThatCannotBeTakenBackLeavesOneNameThatHasBothFiles) {
    for (int step = 1; step <= 4; ++step) {
        SCOPED_TRACE(step);
        {
            Refusal refuse(EACCES, names(step, 100));
            EXPECT_EQ(rename(), -1);
            EXPECT_EQ(iserrno, EACCES);
        }
        EXPECT_TRUE(whole(from_) || whole(to_));
        for (const char *extension : {".idx", ".dat"}) {
            link((to_ + extension).c_str(), (from_ + extension).c_str());
            unlink((to_ + extension).c_str());
        }
    }
}

}  // namespace
