// Work on whole files, and opening and closing them. What goes over all records is told per record.
#include "../workload.h"

#include <unistd.h>

namespace bench {
namespace {

constexpr std::uint64_t kOpenings = 2000;

// Whole files are gone through once; the files' pages are in memory: they have just been copied or made.
template <typename Work> void perRecord(Task &task, Work work) {
    const Stopwatch watch;
    work();
    task.report("", watch.each(task.records), task.records);
}

void sampleAll(Task &task) {
    const std::uint64_t count = std::min<std::uint64_t>(task.records, 1000);
    sample(task, distinctSteps(task, count, 0), count);
}

void openAndClose(Task &task) {
    const std::uint64_t count = std::min(task.most, kOpenings);
    const Step step = presentSteps(task, 1, task.seed).front();
    std::vector<char> record = task.buffer();
    // One handle of another kind would share what the opening is to do anew; the first opening is not measured.
    task.subject.open(task.shape);
    require(task.subject.find(step, record.data()), "a record is not found");
    task.subject.close();
    Meter meter(count, task.seconds, 1);
    while (meter.more()) {
        task.subject.open(task.shape);
        task.subject.close();
    }
    task.report("", meter.stop(), meter.done());
}

void addIndex(Task &task) {
    warm(task);
    perRecord(task, [&] { task.subject.addIndex(); });
    sampleAll(task);
}

void check(Task &task) {
    warm(task);
    perRecord(task, [&] { task.subject.check(); });
}

void cluster(Task &task) {
    warm(task);
    perRecord(task, [&] { task.subject.cluster(); });
    sampleAll(task);
}

void recover(Task &task) {
    task.subject.prepareRecovery(task.shape);
    perRecord(task, [&] { task.subject.recover(); });
    task.subject.open(task.shape);
    sampleAll(task);
    task.subject.close();
}

}  // namespace

std::vector<Workload> maintenanceWorkloads() {
    return {
        {"open", "whole", "open and close", "two", kSecondIndex, 1000000, false, false, true, openAndClose},
        {"open-one", "whole", "open and close; one index", "one", kKeyed, 1000000, false, false, true, openAndClose},
        {"check", "whole", "check of both indexes, per record", "two", kMaintenance, 1000000, false, false, false,
         check},
        {"recover", "whole", "recovery from a log of the load, per record", "empty", kMaintenance, 50000, true, false,
         true, recover},
        {"add-index", "whole", "index added, unique, per record", "two", kAddsIndex, 100000, true, false, false,
         addIndex},
        {"cluster", "whole", "clustering, per record", "two", kMaintenance, 100000, true, false, false, cluster},
    };
}

}  // namespace bench
