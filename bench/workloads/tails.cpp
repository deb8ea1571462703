// Records with tails of three lengths: read, rewrite, write.
#include "../workload.h"

namespace bench {
namespace {

constexpr std::uint64_t kOperations = 5000;

void readRewriteWrite(Task &task) {
    const std::uint64_t count = task.operations(kOperations);
    const std::vector<Step> present = presentSteps(task, count, task.seed);
    warm(task);
    measureFind(task, present, true, "read");

    std::vector<Step> steps = distinctSteps(task, count, 0);
    Draft draft(task.shape.length());
    Meter rewriting(count, task.seconds);
    while (rewriting.more()) {
        Step &step = steps[rewriting.done() - 1];
        step.version = 1;
        require(task.subject.rewrite(step, draft.with(step), false), "a record to be rewritten is not found");
    }
    task.report("rewrite", rewriting.stop(), rewriting.done());
    sample(task, steps, rewriting.done());

    const std::vector<Step> added = newSteps(task, count, false);
    Meter writing(count, task.seconds);
    while (writing.more()) {
        const Step &step = added[writing.done() - 1];
        require(task.subject.insert(step, draft.with(step)), "a new record is refused");
    }
    task.report("write", writing.stop(), writing.done());
    sample(task, added, writing.done());
}

Workload workload(const char *name, const char *title, const char *shape, std::uint64_t limit) {
    return {name, "tails", title, shape, kTails, limit, true, false, false, readRewriteWrite};
}

}  // namespace

// Fewer of the long ones: it is not the disk that is to be measured.
std::vector<Workload> tailWorkloads() {
    return {
        workload("tail-50", "tail of 50 bytes", "tail50", 100000),
        workload("tail-500", "tail of 500 bytes", "tail500", 100000),
        workload("tail-5000", "tail of 5,000 bytes", "tail5000", 4000),
    };
}

}  // namespace bench
