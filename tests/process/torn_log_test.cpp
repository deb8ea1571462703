#include "txn_log_test.h"

#include <cstdio>
#include <filesystem>

namespace process_testing {
namespace {

constexpr int kTornSteps = 40;
constexpr int kCuts = 12;  // of each kind

// A log whose writer died in the middle of a record.
class TornLog : public TxnLogTest {
  protected:
    void SetUp() override {
        TxnLogTest::SetUp();
        TxnWork work(shared, shelf.path(), {0, 1, 7});
        bool good = work.prepare(shelf.log());
        for (int i = 0; good && i < kTornSteps; ++i)
            good = work.step();
        ASSERT_TRUE(good && work.finish()) << work.failure();
        whole = readLog();
        ASSERT_EQ(whole.torn, 0U);
        std::filesystem::copy(shelf.log(), kept);
    }

    // What is left of the log ends after so many bytes of a record; recovery does what stands before it.
    void cutAndRecover(const testing_support::LogRecord &record, std::size_t bytes) {
        SCOPED_TRACE(std::to_string(bytes) + " bytes of " + record.content.text());
        std::filesystem::copy(kept, shelf.log(), std::filesystem::copy_options::overwrite_existing);
        std::filesystem::resize_file(shelf.log(), record.offset + bytes);
        const LogBytes log = readLog();
        ASSERT_EQ(log.torn, bytes);
        recoverFrom(log);
        expectSame(contents(), replay(log.records));
    }

    // Some records that have more bytes than given.
    LogRecords someLongerThan(std::size_t bytes, std::uint64_t seed) const {
        model::Random random(seed);
        LogRecords out;
        while (out.size() < kCuts) {
            const auto &one =
                whole.records[static_cast<std::size_t>(random.below(static_cast<int>(whole.records.size())))];
            if (static_cast<std::size_t>(one.length) > bytes) out.push_back(one);
        }
        return out;
    }

    LogBytes whole;
    const std::string kept = dir.file("kept");
};

TEST_F(TornLog, EndsBetweenRecords) {
    for (const auto &record : someLongerThan(0, 1))
        cutAndRecover(record, 0);
}

TEST_F(TornLog, CutHeadIsTheEnd) {
    for (const std::size_t bytes : {1U, 2U, 17U})
        for (const auto &record : someLongerThan(bytes, bytes))
            cutAndRecover(record, bytes);
}

TEST_F(TornLog, CutBodyIsAnError) {
    for (const std::size_t bytes : {18U, 19U, 30U})
        for (const auto &record : someLongerThan(bytes, bytes))
            cutAndRecover(record, bytes);
    for (const auto &record : someLongerThan(kLogHead, 2))
        cutAndRecover(record, static_cast<std::size_t>(record.length) - 1);
}

}  // namespace
}  // namespace process_testing
