// The log at its edges: a chain that comes round, closings of files that are gone, names that have changed hands.

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "base/issystem.h"
#include "unit/raw_file.h"
#include "unit/scratch_file.h"

namespace {

using unit::be;
using unit::bytesOf;
using unit::charKey;
using unit::patch;
using unit::ScratchFile;

class LogEdge : public testing::Test {
  protected:
    void TearDown() override {
        iscleanup();
        islogclose();
    }
    testing_support::TempDir dir_;
    std::string log_ = dir_.file("log");
    std::string name_ = dir_.file("f");
};

// A chain that comes round to itself would be walked for ever.
TEST_F(LogEdge, ChainThatLeadsToItselfIsDamage) {
    ASSERT_EQ(islogopen(log_.c_str()), 0);
    ScratchFile file(8, charKey(4), ISINOUT | ISTRANS);
    ASSERT_EQ(isbegin(), 0);
    ASSERT_GT(file.write("aaaa"), 0);
    const std::string log = bytesOf(log_);
    const auto length = static_cast<std::uint8_t>(log.back());
    const auto last = static_cast<std::uint32_t>(log.size() - length);
    patch(log_, static_cast<long>(last) + 12, be(last, 4));
    EXPECT_EQ(isrollback(), -1);
    EXPECT_EQ(iserrno, 119);
}

// Somebody who reads without any lock does not keep the file from being erased; his closing comes after.
TEST_F(LogEdge, ClosingOfAFileThatIsGoneIsPassedOver) {
    KeyDesc key = charKey(4);
    ASSERT_EQ(islogopen(log_.c_str()), 0);
    ASSERT_EQ(isclose(isbuild(name_.c_str(), 8, &key, ISINOUT)), 0);
    int opened[2], erased[2];
    ASSERT_EQ(pipe(opened), 0);
    ASSERT_EQ(pipe(erased), 0);
    const pid_t child = fork();
    ASSERT_GE(child, 0);
    char byte = 0;
    if (child == 0) {
        const int fd = isopen(name_.c_str(), ISINPUT | ISLOCKNONE);
        bool good = fd >= 0 && write(opened[1], &byte, 1) == 1 && read(erased[0], &byte, 1) == 1;
        good = good && isclose(fd) == 0;
        _exit(good ? 0 : 1);
    }
    ASSERT_EQ(read(opened[0], &byte, 1), 1);
    EXPECT_EQ(iserase(name_.c_str()), 0);
    ASSERT_EQ(write(erased[1], &byte, 1), 1);
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(isrecover(), 0) << iserrno;
    for (int fd : {opened[0], opened[1], erased[0], erased[1]})
        close(fd);
}

TEST_F(LogEdge, OpenFileIsToldFromALaterOneOfItsName) {
    ScratchFile file(8, charKey(4));
    IsamFile *const h = file.handle();
    const std::string index = file.base() + ".idx", aside = file.base() + ".aside";
    EXPECT_TRUE(is_current(h, ISKIND_INDEX, h->name));
    ASSERT_EQ(std::rename(index.c_str(), aside.c_str()), 0);
    EXPECT_FALSE(is_current(h, ISKIND_INDEX, h->name));
    std::ofstream(index) << "another file";
    EXPECT_FALSE(is_current(h, ISKIND_INDEX, h->name));
    ASSERT_EQ(std::rename(aside.c_str(), index.c_str()), 0);
    EXPECT_TRUE(is_current(h, ISKIND_INDEX, h->name));
}

}  // namespace
