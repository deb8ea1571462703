#include "txn_process_test.h"

#include <filesystem>

namespace process_testing {
namespace {

// A log does not tell of every closing: the process died, or what it had open was not logged any more. What others did
// afterwards is recovered all the same.
class LeftOpen : public TxnProcessTest {
  protected:
    void SetUp() override {
        build(3);
        keepCopies();
        openInTransaction(a);
        ASSERT_TRUE(succeeds(a, jobs::rewrite(0, item(20, 8))));
        ASSERT_TRUE(succeeds(a, jobs::write(0, item(40))));
        ASSERT_TRUE(succeeds(b, jobs::logOpen(log)));
    }

    void buildAnew() {
        EXPECT_TRUE(succeeds(b, jobs::build(base, kItemLength, kByKey, kExclusive)));
        EXPECT_TRUE(succeeds(b, jobs::write(0, item(5))));
        EXPECT_TRUE(succeeds(b, jobs::close(0)));
    }

    Job erase() const {
        return jobs::withName(jobs::call(0, [](Job &j) { return iserase(j.name); }), base);
    }
    Job rename(const std::string &from, const std::string &to) const {
        const Job job = jobs::call(0, [](Job &j) { return isrename(j.name, j.record); });
        return jobs::withRecord(jobs::withName(job, from), to);
    }

    Worker a, b;
    const std::string other = dir.file("other");
};

TEST_F(LeftOpen, FileErasedAndBuiltAnew) {
    a.kill();
    EXPECT_TRUE(succeeds(b, erase()));
    buildAnew();
    EXPECT_EQ(logTypes(), "FO BW UP IN ER BU FO IN FC");
    expectRecovered();
}

TEST_F(LeftOpen, FileRenamedAndBuiltAnew) {
    a.kill();
    EXPECT_TRUE(succeeds(b, rename(base, other)));
    buildAnew();
    const std::vector<std::string> fresh = items();
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::remove(other + kind);
    recoverCopies();
    EXPECT_EQ(items(), fresh);
    EXPECT_TRUE(succeeds(b, jobs::open(other, ISINPUT)));
    EXPECT_EQ(read(b, ISNEXT), item(10, 1));
    EXPECT_EQ(read(b, ISNEXT), item(20, 8));
    EXPECT_EQ(read(b, ISLAST), item(40));
}

TEST_F(LeftOpen, FileThatGetsAnIndex) {
    a.kill();
    open(b, kExclusive);
    EXPECT_TRUE(succeeds(b, jobs::addIndex(0, kByGroup)));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(50))));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectRecovered();
    open(b, ISINPUT);
    EXPECT_TRUE(succeeds(b, jobs::info(0)));
    EXPECT_EQ(b.last().other, 2);
}

TEST_F(LeftOpen, FileThatLosesAnIndexAgain) {
    a.kill();
    open(b, kExclusive);
    EXPECT_TRUE(succeeds(b, jobs::addIndex(0, kByGroup)));
    EXPECT_TRUE(succeeds(b, jobs::dropIndex(0, kByGroup)));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectRecovered();
}

// After a rollback a closing is not logged; the descriptor is used for another file.
TEST_F(LeftOpen, DescriptorTakenAnewAfterARollback) {
    ASSERT_TRUE(succeeds(b, jobs::build(other, kItemLength, kByKey, kExclusive)));
    ASSERT_TRUE(succeeds(b, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::rollback()));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_TRUE(succeeds(a, jobs::open(other, kInTransactions)));
    EXPECT_EQ(a.last().result, 0);
    EXPECT_TRUE(succeeds(a, jobs::write(0, item(1))));
    open(a, kInTransactions, 1);
    EXPECT_TRUE(succeeds(a, jobs::write(1, item(60))));
    EXPECT_TRUE(succeeds(a, jobs::close(1)));
    EXPECT_TRUE(succeeds(a, jobs::close(0)));
    EXPECT_EQ(logTypes(), "FO BW UP IN BU FO FC RW FO IN FO IN FC FC");

    for (const char *kind : {".idx", ".dat"})
        std::filesystem::remove(other + kind);
    expectRecovered();
    EXPECT_TRUE(succeeds(b, jobs::open(other, ISINPUT)));
    EXPECT_EQ(read(b, ISNEXT), item(1));
}

// The one that recovers is nobody special: it may have worked in the log before.
TEST_F(LeftOpen, RecoveredByAWriterOfTheLog) {
    open(b, kInTransactions);
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(50))));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    a.kill();
    const std::vector<std::string> expected = items();
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::copy(dir.file("kept") + kind, base + kind, std::filesystem::copy_options::overwrite_existing);
    EXPECT_TRUE(succeeds(b, jobs::recover()));
    EXPECT_EQ(items(), expected);
    expectSound();
    open(b, kInTransactions);  // and goes on logging
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(60))));
    EXPECT_EQ(logTypes(), "FO BW UP IN FO IN FC FO IN");
}

}  // namespace
}  // namespace process_testing
