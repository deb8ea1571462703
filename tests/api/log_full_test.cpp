// Logs that take no more records: a full disk, or more bytes than an offset has.
#include "logs.h"

#include <csignal>
#include <cstdint>
#include <filesystem>
#include <sys/resource.h>

namespace api {
namespace {

// No file grows beyond a size while this lives.
class SizeLimit {
  public:
    explicit SizeLimit(std::uintmax_t size) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &before_);
        struct rlimit now = before_;
        now.rlim_cur = static_cast<rlim_t>(size);
        setrlimit(RLIMIT_FSIZE, &now);
    }
    ~SizeLimit() { setrlimit(RLIMIT_FSIZE, &before_); }
    SizeLimit(const SizeLimit &) = delete;
    SizeLimit &operator=(const SizeLimit &) = delete;

  private:
    struct rlimit before_ {};
};

class LogFull : public LogTest {
  protected:
    int fd = -1, other = -1;
    // The log is longer than the files, so that a limit concerns it alone.
    void SetUp() override {
        startLog();
        fd = buildTrans();
        for (long id = 1; id <= 200; ++id)
            put(fd, row(id, "n" + std::to_string(id)));
        EXPECT_OK(isrelease(fd));
        other = isopen(base(), ISINOUT | ISNOLOG);
    }
    std::uintmax_t size() const { return std::filesystem::file_size(log()); }
};

TEST_F(LogFull, CommitFailsAndHasEndedAllTheSame) {
    for (const unsigned more : {0U, 1U, 19U}) {
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(1000 + static_cast<long>(more))));
        const std::string before = contents(log());
        {
            const SizeLimit limit(size() + more);
            EXPECT_FAILS(ISERR_LOGWRITE, iscommit());
        }
        EXPECT_EQ(contents(log()), before) << "a torn record is left";
        EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
        EXPECT_TRUE(lockable(other, isrecnum));
    }
    EXPECT_EQ(recordCount(fd), 203);
}

TEST_F(LogFull, RollbackUndoesAllTheSame) {
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1000)));
    EXPECT_OK(isdelete(fd, row(7)));
    {
        const SizeLimit limit(size() + 5);
        EXPECT_FAILS(ISERR_LOGWRITE, isrollback());
    }
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
    EXPECT_EQ(lastType(log()), "DE");
    EXPECT_EQ(recordCount(fd), 200);
    EXPECT_EQ(readId(fd, ISEQUAL, row(7)), 7);
}

TEST_F(LogFull, FilesClosedInItAreClosedAllTheSame) {
    EXPECT_OK(isclose(other));
    EXPECT_OK(isbegin());
    EXPECT_OK(isclose(fd));
    const int before = openDescriptors();
    {
        const SizeLimit limit(size());
        EXPECT_FAILS(ISERR_LOGWRITE, iscommit());
    }
    EXPECT_EQ(openDescriptors(), before - 2);
}

TEST_F(LogFull, TransactionDoesNotBegin) {
    {
        const SizeLimit limit(size() + 19);
        EXPECT_FAILS(ISERR_LOGWRITE, isbegin());
        EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
    }
    EXPECT_EQ(lastType(log()), "IN");
    EXPECT_OK(isbegin());
    EXPECT_OK(iscommit());
    EXPECT_EQ(lastType(log()), "CW");
}

TEST_F(LogFull, ReplacedAndRemovedRecordsStay) {
    const Image before = imageOf(base());
    {
        const SizeLimit limit(size() + 5);
        EXPECT_FAILS(ISERR_LOGWRITE, isrewrite(fd, row(1, "new")));
        EXPECT_FAILS(ISERR_LOGWRITE, isrewrec(fd, 2, row(2000, "new")));
        EXPECT_FAILS(ISERR_LOGWRITE, isdelete(fd, row(3)));
        EXPECT_TRUE(imageOf(base()) == before);
    }
    for (long number = 1; number <= 3; ++number)
        EXPECT_TRUE(lockable(other, number)) << number;
    EXPECT_OK(isrewrite(fd, row(1, "new")));
    EXPECT_EQ(lastType(log()), "UP");
}

TEST_F(LogFull, AddedRecordIsReportedAndTheFileIsSound) {
    {
        const SizeLimit limit(size() + 5);
        EXPECT_FAILS(ISERR_LOGWRITE, iswrite(fd, row(1000)));
    }
    EXPECT_OK(iswrite(fd, row(1001)));
    EXPECT_EQ(readId(fd, ISEQUAL, row(1001)), 1001);
}

TEST_F(LogFull, CloseLetsGoOfTheFiles) {
    EXPECT_OK(isclose(other));
    const int before = openDescriptors();
    {
        const SizeLimit limit(size());
        isclose(fd);
    }
    EXPECT_EQ(openDescriptors(), before - 2);
    EXPECT_FAILS(ISERR_NOTOPEN, isclose(fd));
}

TEST_F(LogFull, LogBeyondFourGigabytesRefusesBeforeAnythingChanges) {
    EXPECT_OK(islogclose());
    // The file is sparse.
    std::error_code failed;
    std::filesystem::resize_file(log(), std::uintmax_t{1} << 32, failed);
    if (failed) return;  // no files of this size here
    startLog();
    expectRefused(base(), ISERR_LOGWRITE, [this] { return iswrite(fd, row(1000)); });
    expectRefused(base(), ISERR_LOGWRITE, [this] { return isrewrite(fd, row(1, "new")); });
    expectRefused(base(), ISERR_LOGWRITE, [this] { return isrewrec(fd, 2, row(2000)); });
    expectRefused(base(), ISERR_LOGWRITE, [this] { return isdelete(fd, row(3)); });
    EXPECT_FAILS(ISERR_LOGWRITE, open());
    EXPECT_FAILS(ISERR_LOGWRITE, isbegin());
    EXPECT_EQ(size(), std::uintmax_t{1} << 32);
    EXPECT_OK(islogclose());
    EXPECT_OK(iswrite(fd, row(1000)));
    EXPECT_EQ(isrecnum, 201);
}

}  // namespace
}  // namespace api
