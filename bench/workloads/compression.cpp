// Each way of compressing keys, on both indexes: write and keyed read.
#include "../workload.h"

namespace bench {
namespace {

constexpr std::uint64_t kOperations = 20000;
constexpr std::uint64_t kRecords = 100000;

void readThenWrite(Task &task) {
    const std::vector<Step> steps = presentSteps(task, task.operations(kOperations), task.seed);
    warm(task);
    measureFind(task, steps, true, "read");
    const std::vector<Step> added = newSteps(task, task.operations(kOperations), false);
    Draft draft(task.shape.length());
    Meter meter(added.size(), task.seconds);
    while (meter.more()) {
        const Step &step = added[meter.done() - 1];
        require(task.subject.insert(step, draft.with(step)), "a new record is refused");
    }
    task.report("write", meter.stop(), meter.done());
    sample(task, added, meter.done());
}

Workload workload(const char *name, const char *title, const char *shape) {
    return {name, "compression", title, shape, kCompression, kRecords, true, false, false, readThenWrite};
}

}  // namespace

std::vector<Workload> compressionWorkloads() {
    return {
        workload("compress-none", "keys not compressed", "two"),
        workload("compress-dup", "ISDUPCOMP", "dup"),
        workload("compress-lead", "ISLEADCOMP", "lead"),
        workload("compress-trail", "ISTRAILCOMP", "trail"),
        workload("compress-all", "all three", "all"),
    };
}

}  // namespace bench
