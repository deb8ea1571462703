// The file of small items with a log beside it.
#ifndef TESTS_PROCESS_TXN_PROCESS_TEST_H
#define TESTS_PROCESS_TXN_PROCESS_TEST_H

#include "process_test.h"
#include "txn_jobs.h"

#include "support/log_reader.h"

#include <string>
#include <vector>

namespace process_testing {

constexpr int kInTransactions = kShared | ISTRANS;

testing_support::Bytes fileBytes(const std::string &path);

class TxnProcessTest : public ProcessTest {
  protected:
    // Opens the log and then the file in a worker, as its descriptor 0.
    void openLogged(Worker &worker, int mode = kInTransactions) {
        ASSERT_TRUE(succeeds(worker, jobs::logOpen(log)));
        open(worker, mode);
    }

    void openInTransaction(Worker &worker) {
        openLogged(worker);
        ASSERT_TRUE(succeeds(worker, jobs::begin()));
    }

    // Numbers of the records that somebody has locked.
    std::vector<long> lockedRecords() const;

    // All records, checked to fit together; and their types, one after the other.
    std::vector<testing_support::LogRecord> logRecords() const;
    std::string logTypes() const;

    // The items of the file, in the order of their keys.
    std::vector<std::string> items();

    // Keeps copies of the file as it is when the log is begun; goes back to these and recovers.
    void keepCopies() const;
    void recoverCopies();
    // The same, and compares with the file as it was before. Nobody may have it open.
    void expectRecovered();

    const std::string log = dir.file("log");
};

}  // namespace process_testing

#endif
