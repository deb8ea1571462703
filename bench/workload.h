// What is done to a subject and measured.
#pragma once

#include "subject.h"

#include <chrono>
#include <ctime>
#include <functional>
#include <string>
#include <vector>

namespace bench {

using Clock = std::chrono::steady_clock;

// What an operation took, in nanoseconds: by the clock, and of the processor. They differ when somebody is waited for,
// another process that wants the processor or the device.
struct Cost {
    double clock = 0, processor = 0;
};

// Begins to measure when it is made.
class Stopwatch {
  public:
    Cost each(std::uint64_t operations) const {
        const double count = static_cast<double>(operations == 0 ? 1 : operations);
        const std::chrono::duration<double, std::nano> spent = Clock::now() - start_;
        return {spent.count() / count, (processorTime() - processor_) / count};
    }

  private:
    static double processorTime() {
        timespec time;
        clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &time);
        return static_cast<double>(time.tv_sec) * 1e9 + static_cast<double>(time.tv_nsec);
    }
    double processor_ = processorTime();
    Clock::time_point start_ = Clock::now();
};

using Report = std::function<void(const char *role, Cost cost, std::uint64_t operations)>;

// What a workload is given, and where it puts its results.
struct Task {
    const SubjectEntry &entry;
    Subject &subject;
    const Shape &shape;
    std::uint64_t records;  // in the file
    std::uint64_t most;     // operations at the most
    double seconds;         // time at the most
    std::uint64_t batch;    // insertions of so many batches are in the file already
    std::uint64_t seed;     // another one in each round
    Report report;

    std::uint64_t operations(std::uint64_t limit) const;
    // Room for a record.
    std::vector<char> buffer() const { return std::vector<char>(static_cast<std::size_t>(shape.length())); }
};

// Counts the operations of a loop and ends it when there are enough or time is up.
class Meter {
  public:
    // The time is looked at every so many operations.
    Meter(std::uint64_t planned, double seconds, std::uint64_t stride = 32)
        : planned_(planned), stride_(stride),
          end_(Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds))) {}
    bool more() {
        if (done_ == planned_ || (done_ % stride_ == stride_ - 1 && Clock::now() > end_)) return false;
        ++done_;
        return true;
    }
    Cost stop() const { return watch_.each(done_); }
    std::uint64_t done() const { return done_; }

  private:
    std::uint64_t planned_, stride_, done_ = 0;
    Clock::time_point end_;
    Stopwatch watch_;
};

struct Workload {
    const char *name;
    const char *group;
    const char *title;
    const char *shape;
    unsigned needs;       // abilities
    std::uint64_t limit;  // records in the file at the most
    bool changes;         // works on files of its own
    bool large;           // runs above a million records, too
    bool opensFiles;      // the subject is not opened before
    void (*run)(Task &);
};

const std::vector<Workload> &workloads();
const Workload &workloadNamed(const std::string &name);

// A table for each file of workloads.
std::vector<Workload> readingWorkloads();
std::vector<Workload> scanningWorkloads();
std::vector<Workload> changingWorkloads();
std::vector<Workload> compressionWorkloads();
std::vector<Workload> tailWorkloads();
std::vector<Workload> transactionWorkloads();
std::vector<Workload> maintenanceWorkloads();
std::vector<Workload> processWorkloads();

inline constexpr std::uint64_t kNoLimit = ~std::uint64_t{0};

void require(bool holding, const char *what);

// Steps by lot: records that the file was prepared with, or numbers between them.
std::vector<Step> presentSteps(const Task &task, std::uint64_t count, std::uint64_t seed, int version = 0);
std::vector<Step> absentSteps(const Task &task, std::uint64_t count, std::uint64_t seed);
// Different records, in no order.
std::vector<Step> distinctSteps(const Task &task, std::uint64_t count, int version);
// Records that are not there yet, the batch's own.
std::vector<Step> newSteps(const Task &task, std::uint64_t count, bool inOrder);

// Reads some records by lot, so that what can be cached is.
void warm(Task &task);
// By the second field as well: for who changes records.
void warmAll(Task &task);
// Are some of the first so many steps there, or gone?
void sample(Task &task, const std::vector<Step> &steps, std::uint64_t count, bool there = true);

// What two groups share.
void measureFind(Task &task, const std::vector<Step> &steps, bool there, const char *role = "");
void measureInsert(Task &task, bool inOrder);
void measureRewrite(Task &task, bool keyChanges);

}  // namespace bench
