#include "process_test.h"

#include <memory>
#include <set>

namespace process_testing {
namespace {

constexpr int kProcesses = 4, kEach = 500;

inline const KeyDesc kByText = keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, {{16, 24}});
inline const KeyDesc kByKeyDown = keyDesc(ISNODUPS | ISLEADCOMP, {{0, 8, CHARTYPE | ISDESC}});

// Texts with common beginnings, some of them many times.
std::string textOf(int number) { return "name " + std::to_string(number % 37) + (number % 3 == 0 ? " and more" : ""); }

std::string recordOf(int number) { return item(number, number % 11, textOf(number)); }

// One process's share: every fourth number, up from process 0 and 2, down from 1 and 3.
int shareOf(long process, int i) {
    const int step = process % 2 == 0 ? i : kEach - 1 - i;
    return step * kProcesses + static_cast<int>(process);
}

int writeShare(Job &job) {
    for (int i = 0; i < kEach; ++i) {
        std::string record = recordOf(shareOf(job.number, i));
        if (iswrite(job.fd, record.data()) != 0) return -1;
    }
    return 0;
}

// Writes, and takes back or changes some of what it wrote.
int churnShare(Job &job) {
    for (int i = 0; i < kEach; ++i) {
        const int number = shareOf(job.number, i);
        std::string record = recordOf(number);
        if (iswrite(job.fd, record.data()) != 0) return -1;
        if (i % 3 == 1) {
            std::string before = recordOf(shareOf(job.number, i - 1));
            if (isdelete(job.fd, before.data()) != 0) return -1;
        }
        if (i % 5 == 2) {
            record = item(number, 99, "changed by " + std::to_string(job.number));
            if (isrewrite(job.fd, record.data()) != 0) return -1;
        }
    }
    return 0;
}

class Writers : public ProcessTest {
  protected:
    void SetUp() override {
        Worker maker;
        ASSERT_TRUE(succeeds(maker, jobs::build(base, kItemLength, kByKey, kExclusive)));
        for (const KeyDesc &key : {kByGroup, kByText, kByKeyDown})
            ASSERT_TRUE(succeeds(maker, jobs::addIndex(0, key)));
        ASSERT_TRUE(succeeds(maker, jobs::close(0)));
    }

    // All processes at once.
    void runAll(int (*share)(Job &)) {
        std::vector<std::unique_ptr<Worker>> workers;
        for (int i = 0; i < kProcesses; ++i) {
            workers.push_back(std::make_unique<Worker>());
            open(*workers.back());
        }
        for (int i = 0; i < kProcesses; ++i)
            workers[static_cast<std::size_t>(i)]->start(jobs::quiet(jobs::withNumber(jobs::call(0, share), i)));
        for (const auto &worker : workers) {
            const Job &job = worker->finish();
            EXPECT_EQ(job.result, 0) << "error " << job.error << ", io " << job.io;
        }
        for (const auto &worker : workers)
            EXPECT_TRUE(succeeds(*worker, jobs::close(0)));
    }

    // The records in the order of an index.
    std::vector<std::string> scan(const KeyDesc &key) {
        Worker reader;
        open(reader, ISINPUT);
        EXPECT_TRUE(succeeds(reader, jobs::start(0, key, ISFIRST)));
        std::vector<std::string> out;
        for (reader.run(jobs::read(0, ISNEXT)); reader.last().result == 0; reader.run(jobs::read(0, ISNEXT)))
            out.push_back(reader.last().text(kItemLength));
        EXPECT_EQ(reader.last().error, ISERR_ENDOFFILE);
        return out;
    }

    // Each index delivers just these records, in its order.
    void expectRecords(std::vector<std::string> expected) {
        std::sort(expected.begin(), expected.end());
        EXPECT_EQ(scan(kByKey), expected);
        EXPECT_EQ(scan(kByKeyDown), std::vector<std::string>(expected.rbegin(), expected.rend()));
        for (const KeyDesc &key : {kByGroup, kByText}) {
            const auto keyOf = [&](const std::string &record) {
                return record.substr(static_cast<std::size_t>(key.parts[0].start),
                                     static_cast<std::size_t>(key.parts[0].length));
            };
            std::vector<std::string> found = scan(key);
            EXPECT_TRUE(std::is_sorted(found.begin(), found.end(),
                                       [&](const auto &one, const auto &other) { return keyOf(one) < keyOf(other); }));
            std::sort(found.begin(), found.end());
            EXPECT_EQ(found, expected);
        }
        expectSound();
    }
};

TEST_F(Writers, LoseNothingAtOnce) {
    runAll(writeShare);
    std::vector<std::string> expected;
    for (int number = 0; number < kProcesses * kEach; ++number)
        expected.push_back(recordOf(number));
    expectRecords(expected);
    const testing_support::CheckReport report = testing_support::checkFiles(base);
    EXPECT_GE(report.levels, 2);
}

TEST_F(Writers, DeleteAndRewriteAtOnce) {
    runAll(churnShare);
    std::vector<std::string> expected;
    for (int process = 0; process < kProcesses; ++process)
        for (int i = 0; i < kEach; ++i) {
            const int number = shareOf(process, i);
            if (i % 3 == 0 && i + 1 < kEach) continue;  // taken back with the next one
            expected.push_back(i % 5 == 2 ? item(number, 99, "changed by " + std::to_string(process))
                                          : recordOf(number));
        }
    expectRecords(expected);
}

int drawIds(Job &job) {
    long last = 0;
    for (int i = 0; i < kEach; ++i) {
        long id = 0;
        if (isuniqueid(job.fd, &id) != 0 || id <= last) return -1;
        last = id;
        std::string record = item(static_cast<int>(id));
        if (iswrite(job.fd, record.data()) != 0) return -1;
    }
    return 0;
}

// Ids drawn at once are all different: they serve as keys of a unique index.
TEST_F(Writers, DrawDifferentUniqueIds) {
    runAll(drawIds);
    std::vector<std::string> expected;
    const int first = std::stoi(scan(kByKey).at(0).substr(0, 8));
    for (int i = 0; i < kProcesses * kEach; ++i)
        expected.push_back(item(first + i));
    expectRecords(expected);
}

// Each process takes whichever record it can lock, adds to its counter and lets go; no addition is lost.
int addToCounters(Job &job) {
    for (int i = 0; i < kEach; ++i) {
        std::string key = item(1 + i % 3);
        char record[kItemLength];
        std::memcpy(record, key.data(), kItemLength);
        if (isread(job.fd, record, ISEQUAL | ISLOCK | ISWAIT) != 0) return -1;
        const long counter = std::stol(std::string(record + 16, 8)) + 1;
        char digits[32];
        std::snprintf(digits, sizeof digits, "%08ld", counter);
        std::memcpy(record + 16, digits, 8);
        if (isrewcurr(job.fd, record) != 0 || isrelease(job.fd) != 0) return -1;
    }
    return 0;
}

TEST_F(Writers, RecordLocksMakeReadAndRewriteOneStep) {
    {
        Worker maker;
        open(maker);
        for (int key = 1; key <= 3; ++key)
            ASSERT_TRUE(succeeds(maker, jobs::write(0, item(key, 0, "00000000"))));
    }
    runAll(addToCounters);
    const std::vector<std::string> found = scan(kByKey);
    ASSERT_EQ(found.size(), 3U);
    int sum = 0;
    for (const std::string &record : found)
        sum += std::stoi(record.substr(16, 8));
    EXPECT_EQ(sum, kProcesses * kEach);
    EXPECT_EQ(found[0].substr(16, 8), "00000668");  // 167 turns of each process
    expectSound();
}

}  // namespace
}  // namespace process_testing
