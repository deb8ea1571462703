// A rollback keeps others from its files. Every process does so in the order of the physical files, whatever their
// descriptors: two rollbacks cannot wait for each other.

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>

#include "shim/system_calls.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;

// Notes the files whose write phase is asked for.
class Phases : public shim::Observer {
  public:
    Phases() : others_(shim::observe(this)) {}
    ~Phases() override { shim::observe(others_); }
    Phases(const Phases &) = delete;
    Phases &operator=(const Phases &) = delete;

    shim::Answer before(const shim::Arguments &arguments) override {
        const struct flock *lock = arguments.lock;
        struct stat status;
        if (lock != nullptr && lock->l_type == F_WRLCK && lock->l_start == 0 && lock->l_len > 1 &&
            fstat(arguments.descriptor, &status) == 0)
            files.push_back(status.st_ino);
        return others_ != nullptr ? others_->before(arguments) : shim::Answer{};
    }
    void after(const shim::Arguments &arguments, long result, int error) override {
        if (others_ != nullptr) others_->after(arguments, result, error);
    }

    std::vector<ino_t> files;

  private:
    shim::Observer *const others_;
};

class PinOrder : public testing::TestWithParam<bool> {};

TEST_P(PinOrder, IsThatOfTheFiles) {
    testing_support::TempDir directory;
    ASSERT_EQ(islogopen(directory.file("log").c_str()), 0);
    std::vector<std::string> bases = {directory.file("a"), directory.file("b")};
    for (const std::string &base : bases) {
        KeyDesc key = charKey(4);
        ASSERT_EQ(isclose(isbuild(base.c_str(), 8, &key, ISINOUT)), 0);
    }
    if (GetParam()) std::reverse(bases.begin(), bases.end());
    for (const std::string &base : bases)
        ASSERT_GE(isopen(base.c_str(), ISINOUT | ISTRANS), 0);
    ASSERT_EQ(isbegin(), 0);
    char record[] = "aaaabbbb";
    for (const int fd : {0, 1})
        ASSERT_EQ(iswrite(fd, record), 0) << iserrno;
    {
        Phases phases;
        EXPECT_EQ(isrollback(), 0);
        ASSERT_GE(phases.files.size(), 2U);
        EXPECT_LT(phases.files[0], phases.files[1]);
    }
    iscleanup();
    islogclose();
}

INSTANTIATE_TEST_SUITE_P(Openings, PinOrder, testing::Bool(),
                         [](const auto &info) { return info.param ? "Backwards" : "Forwards"; });

}  // namespace
