// A process that works in transactions until it is killed.
#ifndef TESTS_PROCESS_VICTIM_H
#define TESTS_PROCESS_VICTIM_H

#include "file_shelf.h"
#include "txn_work.h"

#include <string>
#include <sys/types.h>
#include <vector>

namespace process_testing {

class Victim {
  public:
    // Starts the process and waits until it is about to open the log.
    Victim(const FileShelf &shelf, const std::vector<TxnFile> &shared, std::uint64_t seed);
    ~Victim();
    Victim(const Victim &) = delete;
    Victim &operator=(const Victim &) = delete;

    // Kills it after so many microseconds, as the system would. Returns what failed before that, if anything did.
    std::string killAfter(int microseconds);

  private:
    [[noreturn]] static void work(TxnWork *work, const std::string &log, int tell);

    pid_t pid_ = -1;
    int heard_ = -1;
};

}  // namespace process_testing

#endif
