// Writes in transactions of 1, 10 and 1,000; the time is that of one write, with its part of begin and commit.
#include "../workload.h"

namespace bench {
namespace {

void inTransactions(Task &task, std::uint64_t size) {
    const std::uint64_t count = task.operations(kNoLimit) / size * size;
    const std::vector<Step> steps = newSteps(task, count, false);
    Draft draft(task.shape.length());
    task.subject.open(task.shape, true);
    warm(task);
    const Stopwatch watch;
    std::uint64_t done = 0;
    for (Meter meter(count / size, task.seconds, 1); meter.more();) {
        task.subject.begin();
        for (std::uint64_t i = 0; i < size; ++i, ++done)
            require(task.subject.insert(steps[done], draft.with(steps[done])), "a new record is refused");
        task.subject.commit();
    }
    task.report("", watch.each(done), done);
    sample(task, steps, done);
    task.subject.close();
}

void single(Task &task) { inTransactions(task, 1); }

void ten(Task &task) { inTransactions(task, 10); }

void thousand(Task &task) { inTransactions(task, 1000); }

Workload workload(const char *name, const char *title, void (*run)(Task &)) {
    return {name, "transactions", title, "one", kTransactions, 1000000, true, false, true, run};
}

}  // namespace

std::vector<Workload> transactionWorkloads() {
    return {
        workload("transaction-1", "a write in a transaction of 1", single),
        workload("transaction-10", "a write in a transaction of 10", ten),
        workload("transaction-1000", "a write in a transaction of 1,000", thousand),
    };
}

}  // namespace bench
