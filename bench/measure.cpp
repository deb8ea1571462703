// bench_measure: one measurement, or one preparation, in a process of its own. The driver starts it in the directory of
// the files and reads what it prints:
//
//     result <tab> role <tab> nanoseconds an operation by the clock <tab> and of the processor <tab> operations
//     failed <tab> what
//
//   bench_measure list
//   bench_measure prepare SUBJECT SHAPE RECORDS SECONDS
//   bench_measure measure SUBJECT WORKLOAD RECORDS MOST SECONDS BATCH SEED
//   bench_measure worker ...    started by a workload of several processes
#include "processes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/resource.h>

namespace bench {
namespace {

// One write each: several processes may print at once.
void report(const char *role, Cost cost, std::uint64_t operations) {
    std::printf("result\t%s\t%.2f\t%.2f\t%llu\n", role, cost.clock, cost.processor,
                static_cast<unsigned long long>(operations));
    std::fflush(stdout);
}

std::uint64_t number(const std::string &word) { return std::strtoull(word.c_str(), nullptr, 10); }

// The records come by lot; what is in key order afterwards is not so in the files. With a limit the process ends when
// it has used the processor for so many seconds.
void prepare(const SubjectEntry &entry, const Shape &shape, std::uint64_t records, std::uint64_t seconds) {
    if (seconds != 0) {
        const rlimit limit = {seconds, seconds + 1};
        require(setrlimit(RLIMIT_CPU, &limit) == 0, "setrlimit");
    }
    const std::unique_ptr<Subject> subject = entry.make();
    subject->expect(records);
    // A clustered file is made of one that is not.
    if (shape.clustered) {
        subject->open(shape);
        subject->cluster();
        subject->close();
        return;
    }
    subject->beginLoading(shape);
    const Permutation order(records);
    Draft draft(shape.length());
    for (std::uint64_t i = 0; i < records; ++i) {
        const Step step = stepOf(kSpacing * (subject->loadsInOrder() ? i : order(i)), records);
        subject->load(step, draft.with(step));
    }
    subject->endLoading();
}

void measure(const std::vector<std::string> &words) {
    const SubjectEntry &entry = subjectNamed(words.at(2));
    const Workload &workload = workloadNamed(words.at(3));
    const std::unique_ptr<Subject> subject = entry.make();
    Task task = {entry,
                 *subject,
                 shapeNamed(workload.shape),
                 number(words.at(4)),
                 number(words.at(5)),
                 std::strtod(words.at(6).c_str(), nullptr),
                 number(words.at(7)),
                 number(words.at(8)),
                 report};
    subject->expect(task.records);
    if (!workload.opensFiles) subject->open(task.shape);
    workload.run(task);
    if (!workload.opensFiles) subject->close();
}

void list() {
    for (const Workload &workload : workloads())
        std::printf("%-20s %-14s %s\n", workload.name, workload.group, workload.title);
    for (const SubjectEntry &entry : subjects())
        std::printf("%-20s %-14s %s\n", entry.name, "(subject)", entry.title);
}

}  // namespace
}  // namespace bench

int main(int argc, char **argv) {
    const std::vector<std::string> words(argv, argv + argc);
    const std::string what = words.size() > 1 ? words[1] : "list";
    try {
        if (what == "list")
            bench::list();
        else if (what == "prepare")
            bench::prepare(bench::subjectNamed(words.at(2)), bench::shapeNamed(words.at(3)), bench::number(words.at(4)),
                           bench::number(words.at(5)));
        else if (what == "measure")
            bench::measure(words);
        else if (what == "worker")
            bench::runWorker(words, bench::report);
        else
            throw bench::Failure("no such work: " + what);
    } catch (const std::exception &failure) {
        std::printf("failed\t%s\n", failure.what());
        return 1;
    }
    return 0;
}
