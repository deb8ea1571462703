// A process of its own that runs library calls on demand: commands go down a pipe, answers come back.
#ifndef TESTS_PROCESS_WORKER_H
#define TESTS_PROCESS_WORKER_H

#include "isam.h"
#include "lock_spy.h"

#include <gtest/gtest.h>

#include <string>
#include <sys/types.h>
#include <vector>

namespace process_testing {

constexpr int kRecordRoom = 256;
constexpr int kTraceRoom = 24;

// One call: what to run and its arguments on the way down, its results on the way back. The function must
// not capture anything; it exists at the same address in both processes.
struct Job {
    int (*run)(Job &job) = nullptr;
    int fd = 0;
    int mode = 0;
    long number = 0;
    long other = 0;
    char name[256] = {};
    KeyDesc key{};
    char record[kRecordRoom] = {};
    bool quiet = false;         // tell no waits: nobody listens until the result
    bool pauseInPhase = false;  // stop once, when the next phase lock was granted

    char kind = 0;  // of a message: result, waiting, paused
    int result = 0;
    int error = 0;
    int io = 0;
    long recnum = 0;
    int reclen = 0;
    LockCall lock;  // of a waiting or paused message
    int lockCount = 0;
    LockCall locks[kTraceRoom];  // the first lock calls of the job

    std::string text(int length) const { return std::string(record, static_cast<std::size_t>(length)); }
};

class Worker {
  public:
    Worker();
    ~Worker();
    Worker(const Worker &) = delete;
    Worker &operator=(const Worker &) = delete;

    // Starts a job and leaves it running.
    void start(const Job &job);
    // Next message of the running job: 'r' result, 'w' it waits for a lock, 'p' it is paused, 0 the process ended.
    char next();
    // Lets a paused job go on.
    void resume();
    // Waits for the running job's result, past any messages before it.
    const Job &finish();
    const Job &run(const Job &job);

    // Of two workers with running jobs the one that has a message first.
    static Worker *firstToAnswer(Worker &one, Worker &other);

    // The last message received.
    const Job &last() const { return last_; }
    pid_t pid() const { return pid_; }
    // Ends the process as the system would, without a chance to tidy up.
    void kill();

  private:
    [[noreturn]] static void serve(int in, int out);
    void end(bool forced);

    pid_t pid_ = -1;
    int in_ = -1;   // answers
    int out_ = -1;  // commands
    bool busy_ = false;
    Job last_;
};

testing::AssertionResult succeeds(Worker &worker, const Job &job);
testing::AssertionResult fails(Worker &worker, const Job &job, int error, int io = 0);
// Starts the job and sees it wait for a lock.
testing::AssertionResult waits(Worker &worker, const Job &job);
// Sees the running job wait for a record (once more).
testing::AssertionResult keepsWaiting(Worker &worker);
// Starts the job and stops it inside its phase lock.
testing::AssertionResult pauses(Worker &worker, Job job);
// The running job ends, without waiting for another record.
testing::AssertionResult finishes(Worker &worker);
testing::AssertionResult finishesWith(Worker &worker, int error, int io = 0);

}  // namespace process_testing

#endif
