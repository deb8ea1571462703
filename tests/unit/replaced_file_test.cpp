// A file set that another one replaces after an open has opened its files and before it has their lock.

#include <cstdio>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

// Moves the files of one set over those of another when the first lock is asked for.
class Replacing : public shim::Observer {
  public:
    Replacing(const std::string &from, const std::string &to) : from_(from), to_(to), others_(shim::observe(this)) {}
    ~Replacing() override { shim::observe(others_); }
    shim::Answer before(const shim::Arguments &arguments) override {
        if (!done_ && arguments.lock != nullptr) {
            done_ = true;
            for (const char *extension : {".idx", ".dat"})
                EXPECT_EQ(std::rename((from_ + extension).c_str(), (to_ + extension).c_str()), 0);
        }
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

  private:
    const std::string from_, to_;
    shim::Observer *const others_;
    bool done_ = false;
};

void makeSet(const std::string &base, const char *record) {
    KeyDesc key = charKey(4);
    const int fd = isbuild(base.c_str(), 20, &key, ISINOUT | ISLOCKEXCL);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(iswrite(fd, const_cast<char *>(record)), 0);
    ASSERT_EQ(isclose(fd), 0);
}

TEST(ReplacedFile, IsOpenedAnewWithBothItsFiles) {
    testing_support::TempDir directory;
    const std::string name = directory.file("f"), other = directory.file("g");
    makeSet(name, "aaaaof the old file ");
    makeSet(other, "aaaaof the new file ");
    int fd = -1;
    {
        const Replacing replacing(other, name);
        fd = isopen(name.c_str(), ISINOUT);
    }
    ASSERT_GE(fd, 0) << iserrno;
    char record[21] = {};
    ASSERT_EQ(isread(fd, record, ISFIRST), 0) << iserrno;
    EXPECT_STREQ(record, "aaaaof the new file ");
    EXPECT_EQ(isclose(fd), 0);
}

}  // namespace
