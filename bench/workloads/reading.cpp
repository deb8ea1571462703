// Reads by key: records that are there, records that are not, the second field, the beginning of a key.
#include "../workload.h"

#include <cstring>

namespace bench {
namespace {

constexpr std::uint64_t kReads = 50000;
constexpr int kPartial = 14;  // leading bytes of the key: about six records share them
constexpr int kFollowing = 10;

void hit(Task &task) {
    const std::vector<Step> steps = presentSteps(task, task.operations(kReads), task.seed);
    warm(task);
    measureFind(task, steps, true);
}

void miss(Task &task) {
    const std::vector<Step> steps = absentSteps(task, task.operations(kReads), task.seed);
    warm(task);
    measureFind(task, steps, false);
}

void second(Task &task) {
    const std::uint64_t count = task.operations(kReads);
    const std::vector<Step> steps = presentSteps(task, 2 * count, task.seed);
    std::vector<char> record = task.buffer();
    const bool keeps = task.subject.keepsRecords();
    task.subject.useSecond();
    const auto read = [&](const Step &step) {
        require(task.subject.findSecond(step, record.data()), "a second field is not found");
        if (!keeps) return;
        require(std::memcmp(record.data() + kSecondOffset, step.second, kSecond) == 0, "another second field is found");
        require(whole(record.data(), task.shape.length()), "a record found by its second field is torn");
    };
    for (Meter warming(count, task.seconds); warming.more();)
        read(steps[count + warming.done() - 1]);
    Meter meter(count, task.seconds);
    while (meter.more())
        read(steps[meter.done() - 1]);
    task.report("", meter.stop(), meter.done());
}

// Where records were inserted meanwhile there are others between those that the file began with.
void startAndRead(Task &task) {
    std::vector<Step> steps = presentSteps(task, task.operations(kReads / 5), task.seed);
    // Ten records behind the beginning there must be.
    for (Step &step : steps)
        if (step.number + 2 * kFollowing * kSpacing > kSpacing * task.records) step = stepOf(0, task.records);
    std::vector<char> record = task.buffer();
    const bool keeps = task.subject.keepsRecords();
    warm(task);
    Meter meter(steps.size(), task.seconds);
    while (meter.more()) {
        const Step &step = steps[meter.done() - 1];
        require(task.subject.start(step, kPartial), "the beginning of a key is not found");
        for (int i = 0; i < kFollowing; ++i) {
            require(task.subject.next(record.data()), "a record behind the beginning of a key is missing");
            if (!keeps) continue;
            require(whole(record.data(), task.shape.length()), "a record is torn");
            require(i != 0 || std::memcmp(record.data(), step.key, kPartial) == 0, "another beginning is found");
        }
        require(!keeps || genuine(record.data(), task.shape.length()), "a record is not what was written");
    }
    task.report("", meter.stop(), meter.done());
}

void bareLock(Task &task) {
    Meter meter(task.operations(kReads), task.seconds);
    while (meter.more())
        task.subject.bareLock();
    task.report("", meter.stop(), meter.done());
}

}  // namespace

std::vector<Workload> readingWorkloads() {
    return {
        {"bare-lock", "keyed", "shared lock and unlock alone", "one", kBareLock, 1000000, false, false, false,
         bareLock},
        {"hit-one", "keyed", "keyed read, hit; one index", "one", kKeyed, 1000000, false, false, false, hit},
        {"miss-one", "keyed", "keyed read, miss; one index", "one", kKeyed, 1000000, false, false, false, miss},
        {"hit", "keyed", "keyed read, hit; two indexes", "two", kSecondIndex, kNoLimit, false, true, false, hit},
        {"miss", "keyed", "keyed read, miss; two indexes", "two", kSecondIndex, kNoLimit, false, true, false, miss},
        {"second", "keyed", "read by the second field", "two", kSecondIndex, 1000000, false, false, false, second},
        {"start", "keyed", "partial-key start and 10 reads", "two", kSecondIndex | kOrdered, 1000000, false, false,
         false, startAndRead},
    };
}

}  // namespace bench
