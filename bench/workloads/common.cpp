// What the workloads share: steps by lot, warming, samples.
#include "../workload.h"

#include <algorithm>

namespace bench {
namespace {

// So many that each node of a tree of a million records has been read, for as long as
// that takes no more than a second.
constexpr std::uint64_t kWarmReads = 200000;
constexpr double kWarmSeconds = 1;
constexpr std::uint64_t kSamples = 300;

// A number below size drawn from a row of its own for each seed.
std::uint64_t drawn(std::uint64_t seed, std::uint64_t index, std::uint64_t size) {
    return mixed(mixed(seed) + index) % size;
}

template <typename Read> void readByLot(Task &task, Read &&read) {
    std::vector<char> record = task.buffer();
    const std::uint64_t count = std::min(kWarmReads, 2 * task.records);
    const std::vector<Step> steps = presentSteps(task, count, task.seed + 77);
    for (Meter meter(count, kWarmSeconds); meter.more();)
        require(read(steps[meter.done() - 1], record.data()), "a record is missing before anything was measured");
}

}  // namespace

void require(bool holding, const char *what) {
    if (!holding) throw Failure(what);
}

std::uint64_t Task::operations(std::uint64_t limit) const { return std::min({most, limit, records}); }

std::vector<Step> presentSteps(const Task &task, std::uint64_t count, std::uint64_t seed, int version) {
    std::vector<Step> steps;
    steps.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i)
        steps.push_back(stepOf(kSpacing * drawn(seed, i, task.records), task.records, version));
    return steps;
}

std::vector<Step> absentSteps(const Task &task, std::uint64_t count, std::uint64_t seed) {
    std::vector<Step> steps;
    steps.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i)
        steps.push_back(stepOf(kSpacing * drawn(seed, i, task.records) + kNever, task.records));
    return steps;
}

std::vector<Step> distinctSteps(const Task &task, std::uint64_t count, int version) {
    const Permutation permutation(task.records);
    const std::uint64_t first = drawn(task.seed, 0, task.records);
    std::vector<Step> steps;
    steps.reserve(count);
    for (std::uint64_t i = 0; i < count; ++i)
        steps.push_back(stepOf(kSpacing * permutation((first + i) % task.records), task.records, version));
    return steps;
}

std::vector<Step> newSteps(const Task &task, std::uint64_t count, bool inOrder) {
    const Permutation permutation(task.records);
    const std::uint64_t first = task.batch * std::min(task.most, task.records);
    std::vector<Step> steps;
    steps.reserve(count);
    for (std::uint64_t index = first; index < first + count; ++index) {
        // Behind all others, or between them: there is room for a few files' worth.
        const std::uint64_t between = 1 + 2 * (index / task.records);
        require(inOrder || between < kNever, "no numbers are left between the records");
        const std::uint64_t number =
            inOrder ? kSpacing * (task.records + index) : kSpacing * permutation(index % task.records) + between;
        steps.push_back(stepOf(number, task.records));
    }
    return steps;
}

void warm(Task &task) {
    readByLot(task, [&task](const Step &step, char *record) { return task.subject.find(step, record); });
}

void warmAll(Task &task) {
    if (task.shape.second) {
        task.subject.useSecond();
        readByLot(task, [&task](const Step &step, char *record) { return task.subject.findSecond(step, record); });
        task.subject.useFirst();
    }
    warm(task);
}

void sample(Task &task, const std::vector<Step> &steps, std::uint64_t count, bool there) {
    if (!task.subject.keepsRecords()) return;
    std::vector<char> record = task.buffer();
    const std::uint64_t stride = std::max<std::uint64_t>(1, count / kSamples);
    for (std::uint64_t i = count % stride; i < count; i += stride) {
        require(task.subject.find(steps[i], record.data()) == there,
                there ? "a record written is not there" : "a record deleted is there");
        if (!there) continue;
        require(holds(record.data(), task.shape.length(), steps[i]), "a record is not what was written");
        require(record[kStampOffset] == static_cast<char>(steps[i].version), "a record has not been rewritten");
    }
}

void measureFind(Task &task, const std::vector<Step> &steps, bool there, const char *role) {
    std::vector<char> record = task.buffer();
    const bool keeps = task.subject.keepsRecords();
    Meter meter(steps.size(), task.seconds);
    while (meter.more()) {
        const Step &step = steps[meter.done() - 1];
        const bool found = task.subject.find(step, record.data());
        if (!keeps) continue;
        require(found == there, there ? "a record is not found" : "a record is found that is not there");
        require(!found || holds(record.data(), task.shape.length(), step), "a record is not the one asked for");
    }
    task.report(role, meter.stop(), meter.done());
}

void measureInsert(Task &task, bool inOrder) {
    const std::vector<Step> steps = newSteps(task, task.operations(kNoLimit), inOrder);
    Draft draft(task.shape.length());
    warmAll(task);
    Meter meter(steps.size(), task.seconds);
    while (meter.more()) {
        const Step &step = steps[meter.done() - 1];
        require(task.subject.insert(step, draft.with(step)), "a new record is refused");
    }
    task.report("", meter.stop(), meter.done());
    sample(task, steps, meter.done());
}

void measureRewrite(Task &task, bool keyChanges) {
    // Versions of a key change differ from all that the record had before in this run.
    const int version = keyChanges ? static_cast<int>(2 + task.batch % 200) : 0;
    std::vector<Step> steps = distinctSteps(task, task.operations(kNoLimit), version);
    Draft draft(task.shape.length());
    warmAll(task);
    Meter meter(steps.size(), task.seconds);
    while (meter.more()) {
        Step &step = steps[meter.done() - 1];
        // Without a key change the version shows in the stamp alone.
        if (!keyChanges) step.version = 1;
        require(task.subject.rewrite(step, draft.with(step), keyChanges), "a record to be rewritten is not found");
    }
    task.report("", meter.stop(), meter.done());
    sample(task, steps, meter.done());
}

}  // namespace bench
