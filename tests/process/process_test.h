// A file of small items in a directory of its own, for tests with several processes.
#ifndef TESTS_PROCESS_PROCESS_TEST_H
#define TESTS_PROCESS_PROCESS_TEST_H

#include "jobs.h"
#include "raw_file.h"
#include "support/file_check.h"
#include "support/key_desc.h"
#include "support/temp_dir.h"
#include "worker.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <fcntl.h>
#include <string>

namespace process_testing {

using testing_support::keyDesc;

// An item: 8 digits of key, 8 digits of group, 24 bytes of text.
constexpr int kItemLength = 40;

inline std::string item(int key, int group = 0, const std::string &text = "") {
    char digits[32];
    std::snprintf(digits, sizeof digits, "%08d%08d", key, group);
    std::string record(digits, 16);
    record += text;
    record.resize(kItemLength, ' ');
    return record;
}

inline const KeyDesc kByKey = keyDesc(ISNODUPS, {{0, 8}});
inline const KeyDesc kByGroup = keyDesc(ISDUPS, {{8, 8}});

constexpr int kShared = ISINOUT | ISLOCKMANUAL;
constexpr int kExclusive = ISINOUT | ISLOCKEXCL;
constexpr int kAutomatic = ISINOUT | ISLOCKAUTO;

class ProcessTest : public testing::Test {
  protected:
    // Builds the file with items 10, 20, .. count * 10 as records 1 to count.
    void build(int count) {
        Worker worker;
        ASSERT_TRUE(succeeds(worker, jobs::build(base, kItemLength, kByKey, kExclusive)));
        for (int i = 1; i <= count; ++i)
            ASSERT_TRUE(succeeds(worker, jobs::write(0, item(10 * i, i))));
        ASSERT_TRUE(succeeds(worker, jobs::close(0)));
    }

    // Opens the file in a worker as its descriptor 0 (or the given one).
    void open(Worker &worker, int mode = kShared, int descriptor = 0) {
        ASSERT_TRUE(succeeds(worker, jobs::open(base, mode)));
        ASSERT_EQ(worker.last().result, descriptor);
    }

    std::string read(Worker &worker, int mode, const std::string &record = "") {
        EXPECT_TRUE(succeeds(worker, jobs::read(0, mode, record)));
        return worker.last().text(kItemLength);
    }

    void expectSound() const {
        const testing_support::CheckReport report = testing_support::checkFiles(base);
        EXPECT_TRUE(report.clean()) << report.text();
    }

    std::string indexPath() const { return base + ".idx"; }
    std::string dataPath() const { return base + ".dat"; }

    testing_support::TempDir dir;
    const std::string base = dir.file("items");
};

}  // namespace process_testing

#endif
