// A record given to a call that needs its first key alone may end there.

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "isam.h"
#include "support/temp_dir.h"

namespace {

constexpr short kFirst = 4, kLong = 120;
// So many that the second index is one of those whose nodes are fetched beforehand.
constexpr long kRecords = 36000;

// Bytes at the end of memory: what comes behind them cannot be read.
class Brink {
  public:
    explicit Brink(std::size_t length) : page_(static_cast<std::size_t>(sysconf(_SC_PAGESIZE))) {
        void *pages = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(pages, MAP_FAILED);
        pages_ = static_cast<char *>(pages);
        EXPECT_EQ(mprotect(pages_ + page_, page_, PROT_NONE), 0);
        bytes_ = pages_ + page_ - length;
    }
    ~Brink() { munmap(pages_, 2 * page_); }
    Brink(const Brink &) = delete;
    Brink &operator=(const Brink &) = delete;
    char *bytes() { return bytes_; }

  private:
    std::size_t page_;
    char *pages_, *bytes_;
};

TEST(ShortRecord, IsEnoughToDeleteByTheFirstKey) {
    testing_support::TempDir dir;
    KeyDesc first = {}, second = {};
    first.nparts = second.nparts = 1;
    first.parts[0] = {0, kFirst, LONGTYPE};
    second.parts[0] = {kFirst, kLong, CHARTYPE};
    const int fd = isbuild(dir.file("file").c_str(), kFirst + kLong, &first, ISINOUT | ISLOCKEXCL | ISMAPPED);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(isaddindex(fd, &second), 0);
    for (long i = 0; i < kRecords; ++i) {
        std::string record(kFirst, '\0'), number = std::to_string(1000000 + i);
        stlong(i, record.data());
        ASSERT_EQ(iswrite(fd, (record + number + std::string(kLong - number.size(), 'x')).data()), 0);
    }
    Brink brink(kFirst);
    stlong(777, brink.bytes());
    EXPECT_EQ(isdelete(fd, brink.bytes()), 0);
    EXPECT_EQ(isdelete(fd, brink.bytes()), -1);
    EXPECT_EQ(iserrno, ISERR_NOTFOUND);
    EXPECT_EQ(isclose(fd), 0);
}

}  // namespace
