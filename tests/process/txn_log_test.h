// Transactions on a shelf of files with a log, and recovery of the files from it.
#ifndef TESTS_PROCESS_TXN_LOG_TEST_H
#define TESTS_PROCESS_TXN_LOG_TEST_H

#include "file_shelf.h"
#include "log_replay.h"
#include "txn_files.h"
#include "txn_work.h"
#include "worker.h"

#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

namespace process_testing {

using LogRecords = std::vector<testing_support::LogRecord>;
using FileContents = std::map<std::string, Contents>;

// A log as far as it has whole records, and the bytes behind these.
struct LogBytes {
    LogRecords records;
    std::size_t size = 0;
    std::size_t torn = 0;

    int count(const std::string &type) const;
};

// Where a log begins to be torn: with less than a head there is nothing to read.
constexpr std::size_t kLogHead = 18;

class TxnLogTest : public testing::Test {
  protected:
    // Builds the shared files, with some records each, and keeps them as "start".
    void SetUp() override;

    // Reads the log and checks that its records fit together. Only the last record may be torn.
    LogBytes readLog() const;
    // What the records make of the files that were kept as "start".
    FileContents replay(const LogRecords &records) const;

    // Goes back to "start" and recovers, in a process of its own. The log must not change.
    int recover(int *error);
    // Recovers, with a failure where the log ends in the middle of a record.
    void recoverFrom(const LogBytes &log);

    FileContents contents() const;
    static void expectSame(const FileContents &found, const FileContents &expected);

    testing_support::TempDir dir;
    const FileShelf shelf{dir};
    const std::vector<TxnFile> shared = {fixedFile(shelf.file("fixed")), variableFile(shelf.file("variable")),
                                         compressedFile(shelf.file("compressed"))};
    FileContents start;
};

}  // namespace process_testing

#endif
