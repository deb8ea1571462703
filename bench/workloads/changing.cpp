// Rewrites, deletes and writes again, then writes of new records, by lot between those that are there or in key order
// behind them.
#include "../workload.h"

namespace bench {
namespace {

void rewrite(Task &task) { measureRewrite(task, false); }

void rewriteKey(Task &task) { measureRewrite(task, true); }

// All of them are deleted first, then written again: into the places that have become free.
void deleteAndWrite(Task &task) {
    const std::vector<Step> steps = distinctSteps(task, task.operations(task.records / 2), 0);
    Draft draft(task.shape.length());
    warmAll(task);
    Meter deleting(steps.size(), task.seconds);
    while (deleting.more()) {
        const Step &step = steps[deleting.done() - 1];
        require(task.subject.remove(step, draft.with(step)), "a record to be deleted is not found");
    }
    task.report("delete", deleting.stop(), deleting.done());
    sample(task, steps, deleting.done(), false);
    // What is deleted must come back, however long it takes: the next workload expects all records.
    Meter writing(deleting.done(), 60);
    while (writing.more()) {
        const Step &step = steps[writing.done() - 1];
        require(task.subject.insert(step, draft.with(step)), "a deleted record is refused");
    }
    task.report("write again", writing.stop(), writing.done());
    sample(task, steps, writing.done());
}

void write(Task &task) { measureInsert(task, false); }

void writeInOrder(Task &task) { measureInsert(task, true); }

}  // namespace

// Those of one shape stand together: they work on one copy of its files.
std::vector<Workload> changingWorkloads() {
    return {
        {"rewrite-one", "change", "rewrite; one index", "one", kKeyed, 1000000, true, false, false, rewrite},
        {"delete-one", "change", "one index", "one", kKeyed, 1000000, true, false, false, deleteAndWrite},
        {"write-one", "write", "write, keys by lot; one index", "one", kKeyed, 1000000, true, false, false, write},
        {"write-ordered-one", "write", "write in key order; one index", "one", kKeyed, 1000000, true, false, false,
         writeInOrder},
        {"rewrite", "change", "rewrite; two indexes", "two", kSecondIndex, kNoLimit, true, true, false, rewrite},
        {"delete", "change", "two indexes", "two", kSecondIndex, 1000000, true, false, false, deleteAndWrite},
        {"rewrite-key", "change", "rewrite that changes the second key", "two", kSecondIndex, 1000000, true, false,
         false, rewriteKey},
        {"write", "write", "write, keys by lot; two indexes", "two", kSecondIndex, kNoLimit, true, true, false, write},
        {"write-ordered", "write", "write in key order; two indexes", "two", kSecondIndex, 1000000, true, false, false,
         writeInOrder},
    };
}

}  // namespace bench
