#include "long_jobs.h"
#include "process_test.h"

#include "model/random.h"

#include <map>

namespace process_testing {
namespace {

constexpr int kWholePiece = 994;  // the longest that a node holds of a tail

// Two processes take turns with one file of variable-length records: what one knows of nodes with room, free nodes and
// tails is of no use after the other's change.
class VariableRefresh : public ProcessTest, public testing::WithParamInterface<bool> {
  protected:
    void SetUp() override {
        Worker maker;
        ASSERT_TRUE(succeeds(maker, jobs::buildLong(base, GetParam())));
        ASSERT_TRUE(succeeds(maker, jobs::close(0)));
        for (Worker *worker : {&a, &b})
            ASSERT_TRUE(succeeds(*worker, jobs::openLong(base, kShared)));
    }

    testing_support::CheckReport report() const {
        testing_support::CheckReport out = testing_support::checkFiles(base);
        EXPECT_TRUE(out.clean()) << out.text();
        return out;
    }

    std::uint32_t lastNode() const {
        std::vector<std::string> problems;
        testing_support::FileReader reader(base);
        reader.refresh(&problems);
        return reader.header().lastNode;
    }

    // Both find just these records.
    void expectRecords(const std::map<int, int> &lengths) {
        long sum = 0;
        for (const auto &[key, length] : lengths)
            sum += length;
        for (Worker *worker : {&a, &b}) {
            EXPECT_TRUE(succeeds(*worker, jobs::readAllLong(0)));
            EXPECT_EQ(worker->last().number, static_cast<long>(lengths.size()));
            EXPECT_EQ(worker->last().other, sum);
        }
        report();
    }

    Worker a, b;
};

TEST_P(VariableRefresh, TailIsReadAsTheOtherLeftIt) {
    EXPECT_TRUE(succeeds(a, jobs::writeLong(0, 1, 3000)));
    EXPECT_TRUE(succeeds(b, jobs::readLong(0, 1, 3000)));
    EXPECT_TRUE(succeeds(a, jobs::rewriteLong(0, 1, 200)));
    EXPECT_TRUE(succeeds(b, jobs::readLong(0, 1, 200)));
    EXPECT_TRUE(succeeds(b, jobs::rewriteLong(0, 1, kLongMinimum)));
    EXPECT_TRUE(succeeds(a, jobs::readLong(0, 1, kLongMinimum)));
    EXPECT_TRUE(succeeds(a, jobs::rewriteLong(0, 1, kLongMaximum)));
    EXPECT_TRUE(succeeds(b, jobs::readLong(0, 1, kLongMaximum)));
    EXPECT_TRUE(succeeds(b, jobs::removeLong(0, 1)));
    EXPECT_TRUE(fails(a, jobs::readLong(0, 1, kLongMaximum), ISERR_NOTFOUND));
    report();
}

TEST_P(VariableRefresh, TailsOfBothShareANode) {
    for (int key = 0; key < 8; ++key)
        ASSERT_TRUE(succeeds(key % 2 == 0 ? a : b, jobs::writeLong(0, key, kLongMinimum + 80)));
    EXPECT_EQ(report().remnantNodes, 1);
    for (int key = 0; key < 8; ++key)
        EXPECT_TRUE(succeeds(key % 2 == 0 ? b : a, jobs::readLong(0, key, kLongMinimum + 80)));
}

// The node that one process fills or empties is the one that the other has in mind for its next tail.
TEST_P(VariableRefresh, RoomThatTheOtherTookIsNotGivenTwice) {
    EXPECT_TRUE(succeeds(a, jobs::writeLong(0, 1, kLongMinimum + 300)));
    EXPECT_TRUE(succeeds(b, jobs::writeLong(0, 2, kLongMinimum + 300)));
    EXPECT_TRUE(succeeds(a, jobs::writeLong(0, 3, kLongMinimum + 300)));
    EXPECT_TRUE(succeeds(b, jobs::writeLong(0, 4, kLongMinimum + 300)));
    EXPECT_TRUE(succeeds(b, jobs::removeLong(0, 1)));
    EXPECT_TRUE(succeeds(b, jobs::removeLong(0, 2)));
    EXPECT_TRUE(succeeds(a, jobs::writeLong(0, 5, kLongMinimum + 500)));
    EXPECT_TRUE(succeeds(b, jobs::writeLong(0, 6, kLongMinimum + 60)));
    expectRecords({{3, 316}, {4, 316}, {5, 516}, {6, 76}});
}

TEST_P(VariableRefresh, NodesFreedByOneAreTakenByTheOther) {
    for (int key = 0; key < 6; ++key)
        ASSERT_TRUE(succeeds(a, jobs::writeLong(0, key, kLongMinimum + 2 * kWholePiece)));
    const std::uint32_t most = lastNode();
    for (int round = 0; round < 4; ++round) {
        Worker &remover = round % 2 == 0 ? a : b, &writer = round % 2 == 0 ? b : a;
        for (int key = 0; key < 6; ++key)
            ASSERT_TRUE(succeeds(remover, jobs::removeLong(0, key)));
        for (int key = 0; key < 6; ++key)
            ASSERT_TRUE(succeeds(writer, jobs::writeLong(0, key, kLongMinimum + 2 * kWholePiece)));
    }
    EXPECT_LE(lastNode(), most + 1);  // one for the list of free nodes
    report();
}

TEST_P(VariableRefresh, RandomChangesInTurns) {
    model::Random random(GetParam() ? 11 : 12);
    std::map<int, int> lengths;
    for (int i = 0; i < 600; ++i) {
        Worker &writer = random.percent(50) ? a : b, &reader = &writer == &a ? b : a;
        const int key = random.below(40);
        const int tail = random.percent(60)   ? random.below(400)
                         : random.percent(50) ? random.between(1, 4) * kWholePiece + random.between(-1, 1)
                                              : random.below(kLongMaximum - kLongMinimum + 1);
        const int length = kLongMinimum + tail;
        const bool there = lengths.count(key) != 0;
        if (there && random.percent(40)) {
            ASSERT_TRUE(succeeds(writer, jobs::removeLong(0, key)));
            lengths.erase(key);
            ASSERT_TRUE(fails(reader, jobs::readLong(0, key, 0), ISERR_NOTFOUND));
            continue;
        }
        ASSERT_TRUE(succeeds(writer, there ? jobs::rewriteLong(0, key, length) : jobs::writeLong(0, key, length)));
        lengths[key] = length;
        ASSERT_TRUE(succeeds(reader, jobs::readLong(0, key, length)));
        if (i % 20 == 0) report();
    }
    expectRecords(lengths);
}

// Both at once, without a word between them.
int churnLong(Job &job) {
    model::Random random(static_cast<std::uint64_t>(job.number));
    std::map<int, int> lengths;
    for (int i = 0; i < 400; ++i) {
        const int key = 2 * random.below(40) + static_cast<int>(job.number);
        std::string record = longRecord(key, kLongMinimum + random.below(random.percent(70) ? 300 : 3500));
        isreclen = static_cast<int>(record.size());
        int result = 0;
        if (lengths.count(key) == 0)
            result = iswrite(job.fd, record.data());
        else if (random.percent(50))
            result = isrewrite(job.fd, record.data());
        else {
            if (isdelete(job.fd, record.data()) != 0) return -1;
            lengths.erase(key);
            continue;
        }
        if (result != 0) return -1;
        lengths[key] = static_cast<int>(record.size());
    }
    job.number = static_cast<long>(lengths.size());
    job.other = 0;
    for (const auto &[key, length] : lengths)
        job.other += length;
    return 0;
}

TEST_P(VariableRefresh, ChangesAtOnce) {
    a.start(jobs::quiet(jobs::withNumber(jobs::call(0, churnLong), 0)));
    b.start(jobs::quiet(jobs::withNumber(jobs::call(0, churnLong), 1)));
    long records = 0, bytes = 0;
    for (Worker *worker : {&a, &b}) {
        const Job &job = worker->finish();
        ASSERT_EQ(job.result, 0) << "error " << job.error << ", io " << job.io;
        records += job.number;
        bytes += job.other;
    }
    EXPECT_TRUE(succeeds(a, jobs::readAllLong(0)));
    EXPECT_EQ(a.last().number, records);
    EXPECT_EQ(a.last().other, bytes);
    report();
}

INSTANTIATE_TEST_SUITE_P(PlainAndCompressed, VariableRefresh, testing::Bool());

}  // namespace
}  // namespace process_testing
