#include "txn_log_test.h"

#include "jobs.h"

#include <algorithm>
#include <cstdio>
#include <fstream>
#include <iterator>

namespace process_testing {

namespace {

constexpr int kFirstRecords = 20;

testing_support::Bytes bytesOf(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// A file with records whose keys are even.
bool makeFile(const TxnFile &file) {
    const int fd = buildTxnFile(file);
    for (int i = 0; fd >= 0 && i < kFirstRecords; ++i) {
        char head[32];
        std::snprintf(head, sizeof head, "%08d%04dfirst", 2 * i, i % 3);
        std::string record(head);
        record.resize(static_cast<std::size_t>(file.variable() ? file.minimum + 113 * i : file.minimum), ' ');
        isreclen = static_cast<int>(record.size());
        if (iswrite(fd, record.data()) != 0) return false;
    }
    return fd >= 0 && isclose(fd) == 0;
}

}  // namespace

int LogBytes::count(const std::string &type) const {
    return static_cast<int>(
        std::count_if(records.begin(), records.end(), [&](const auto &one) { return one.content.type == type; }));
}

void TxnLogTest::SetUp() {
    for (const TxnFile &file : shared)
        ASSERT_TRUE(makeFile(file)) << file.base << ": error " << iserrno;
    shelf.save("start");
    start = contents();
}

LogBytes TxnLogTest::readLog() const {
    LogBytes out;
    const testing_support::Bytes bytes = bytesOf(shelf.log());
    out.size = bytes.size();
    const std::string wrong = testing_support::readLog(bytes, &out.records);
    const std::size_t whole =
        out.records.empty() ? 0 : out.records.back().offset + static_cast<std::size_t>(out.records.back().length);
    out.torn = bytes.size() - whole;
    EXPECT_EQ(wrong.empty(), out.torn == 0) << wrong;
    if (out.torn >= 2) EXPECT_GT(testing_support::be16(bytes.data() + whole), out.torn) << wrong;
    EXPECT_EQ(testing_support::checkLog(out.records), "");
    return out;
}

FileContents TxnLogTest::replay(const LogRecords &records) const {
    LogReplay out;
    for (const TxnFile &file : shared)
        out.start(file, start.at(file.base));
    EXPECT_EQ(out.apply(records), "");
    return out.files();
}

int TxnLogTest::recover(int *error) {
    shelf.restore("start");
    const testing_support::Bytes before = bytesOf(shelf.log());
    Worker fresh;
    const Job &job = fresh.run(
        jobs::withName(jobs::call(0, [](Job &j) { return islogopen(j.name) == 0 ? isrecover() : -2; }), shelf.log()));
    *error = job.error;
    EXPECT_TRUE(bytesOf(shelf.log()) == before);
    return job.result;
}

void TxnLogTest::recoverFrom(const LogBytes &log) {
    int error = 0;
    const int result = recover(&error);
    const bool bodyTorn = log.torn >= kLogHead;
    EXPECT_EQ(result, bodyTorn ? -1 : 0) << log.torn << " bytes of the last record";
    EXPECT_EQ(error, bodyTorn ? ISERR_LOGREAD : 0) << log.torn << " bytes of the last record";
}

FileContents TxnLogTest::contents() const {
    FileContents out;
    for (const std::string &base : shelf.bases())
        out[base] = readContents(base);
    return out;
}

void TxnLogTest::expectSame(const FileContents &found, const FileContents &expected) {
    for (const auto &[base, one] : expected)
        if (found.count(base) == 0) ADD_FAILURE() << base << " is missing";
    for (const auto &[base, one] : found) {
        const auto wanted = expected.find(base);
        if (wanted == expected.end())
            ADD_FAILURE() << base << " should not be there";
        else
            EXPECT_EQ(difference(one, wanted->second), "") << base;
    }
}

}  // namespace process_testing
