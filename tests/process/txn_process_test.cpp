#include "txn_process_test.h"

#include <filesystem>
#include <fstream>
#include <iterator>

namespace process_testing {

testing_support::Bytes fileBytes(const std::string &path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::vector<long> TxnProcessTest::lockedRecords() const {
    std::vector<long> out;
    for (const HeldLock &lock : RawFile(dataPath()).held())
        for (std::int64_t i = 0; i < lock.length; ++i)
            out.push_back(static_cast<long>(lock.start + i - kRecordStart));
    return out;
}

std::vector<testing_support::LogRecord> TxnProcessTest::logRecords() const {
    std::vector<testing_support::LogRecord> out;
    EXPECT_EQ(testing_support::readLog(fileBytes(log), &out), "");
    EXPECT_EQ(testing_support::checkLog(out), "");
    return out;
}

std::string TxnProcessTest::logTypes() const {
    std::string out;
    for (const testing_support::LogRecord &record : logRecords())
        out += (out.empty() ? "" : " ") + record.content.type;
    return out;
}

std::vector<std::string> TxnProcessTest::items() {
    Worker reader;
    open(reader, ISINPUT);
    std::vector<std::string> out;
    while (reader.run(jobs::read(0, ISNEXT)).result == 0)
        out.push_back(reader.last().text(kItemLength));
    EXPECT_EQ(reader.last().error, ISERR_ENDOFFILE);
    return out;
}

void TxnProcessTest::keepCopies() const {
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::copy(base + kind, dir.file("kept") + kind);
}

void TxnProcessTest::recoverCopies() {
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::copy(dir.file("kept") + kind, base + kind, std::filesystem::copy_options::overwrite_existing);
    Worker fresh;
    ASSERT_TRUE(succeeds(fresh, jobs::logOpen(log)));
    EXPECT_TRUE(succeeds(fresh, jobs::recover()));
}

void TxnProcessTest::expectRecovered() {
    const std::vector<std::string> expected = items();
    recoverCopies();
    EXPECT_EQ(items(), expected);
    expectSound();
}

}  // namespace process_testing
