// Two processes on one file at once: keyed operations by lot, for a while that begins for both together.
#include "../processes.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <sys/wait.h>
#include <unistd.h>

namespace bench {
namespace {

constexpr std::uint64_t kSteps = 20000;

// A worker tells through one pipe that it is ready and waits for the end of the other one, which comes for all workers
// when this process closes it.
struct Barrier {
    int ready[2], go[2];
};

pid_t startWorker(const Task &task, const Barrier &barrier, const char *role, int part) {
    const std::vector<std::string> words = {"bench_measure",
                                            "worker",
                                            task.entry.name,
                                            task.shape.name,
                                            std::to_string(task.records),
                                            std::to_string(task.seconds),
                                            std::to_string(task.seed),
                                            role,
                                            std::to_string(part),
                                            std::to_string(barrier.ready[1]),
                                            std::to_string(barrier.go[0])};
    const pid_t child = fork();
    if (child < 0) throw Failure("fork");
    if (child > 0) return child;
    close(barrier.go[1]);
    close(barrier.ready[0]);
    std::vector<char *> arguments;
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    execv("/proc/self/exe", arguments.data());
    _exit(127);
}

void together(Task &task, const char *one, const char *other) {
    // What the first opening makes is there before two come for it at once.
    task.subject.open(task.shape);
    task.subject.close();
    Barrier barrier;
    if (pipe(barrier.ready) != 0 || pipe(barrier.go) != 0) throw Failure("pipe");
    const pid_t workers[] = {startWorker(task, barrier, one, 0), startWorker(task, barrier, other, 1)};
    close(barrier.ready[1]);
    close(barrier.go[0]);
    char byte;
    int ready = 0;
    while (ready < 2 && read(barrier.ready[0], &byte, 1) == 1)
        ++ready;
    close(barrier.go[1]);
    close(barrier.ready[0]);
    bool well = ready == 2;
    for (const pid_t worker : workers) {
        int status = 0;
        well = waitpid(worker, &status, 0) == worker && status == 0 && well;
    }
    require(well, "one of two processes has failed");
}

void readerAndWriter(Task &task) { together(task, "reader", "writer"); }

void twoReaders(Task &task) { together(task, "reader", "reader"); }

void twoWriters(Task &task) { together(task, "writer", "writer"); }

// Each writer has records of its own, so that it knows what stands in them.
std::vector<Step> stepsOf(const Task &task, bool writer, int part) {
    const int version = writer ? 1 + part : 0;
    std::vector<Step> steps = presentSteps(task, kSteps, task.seed + static_cast<std::uint64_t>(part));
    for (Step &step : steps) {
        std::uint64_t index = step.number / kSpacing;
        if (writer) index = std::min(index / 2 * 2, task.records - 2) + static_cast<std::uint64_t>(part);
        step = stepOf(index * kSpacing, task.records);
        step.version = version;
    }
    return steps;
}

void work(Task &task, bool writer, int part, const std::function<void()> &barrier) {
    const std::vector<Step> steps = stepsOf(task, writer, part);
    std::vector<char> record = task.buffer();
    Draft draft(task.shape.length());
    const bool keeps = task.subject.keepsRecords();
    task.most = kSteps;
    warm(task);
    barrier();
    Meter meter(kNoLimit, task.seconds);
    while (meter.more()) {
        const Step &step = steps[(meter.done() - 1) % kSteps];
        if (writer) {
            require(task.subject.rewrite(step, draft.with(step), false), "a record to be rewritten is not found");
            continue;
        }
        require(task.subject.find(step, record.data()), "a record is not found beside another process");
        require(!keeps || holds(record.data(), task.shape.length(), step), "a record is torn beside another process");
    }
    task.report(writer ? "writer" : "reader", meter.stop(), meter.done());
    if (writer) sample(task, steps, std::min(meter.done(), kSteps));
}

Workload workload(const char *name, const char *title, void (*run)(Task &)) {
    return {name, "processes", title, "one", kProcesses, 1000000, true, false, true, run};
}

}  // namespace

std::vector<Workload> processWorkloads() {
    return {
        workload("two-readers", "two readers", twoReaders),
        workload("reader-writer", "a reader beside a writer", readerAndWriter),
        workload("two-writers", "two writers", twoWriters),
    };
}

void runWorker(const std::vector<std::string> &words, const Report &report) {
    const SubjectEntry &entry = subjectNamed(words.at(2));
    const std::unique_ptr<Subject> subject = entry.make();
    Task task = {entry,
                 *subject,
                 shapeNamed(words.at(3)),
                 std::strtoull(words.at(4).c_str(), nullptr, 10),
                 0,
                 std::strtod(words.at(5).c_str(), nullptr),
                 0,
                 std::strtoull(words.at(6).c_str(), nullptr, 10),
                 report};
    subject->expect(task.records);
    subject->open(task.shape);
    work(task, words.at(7) == "writer", std::atoi(words.at(8).c_str()), [&] {
        const int ready = std::atoi(words.at(9).c_str()), go = std::atoi(words.at(10).c_str());
        char byte = 0;
        require(write(ready, &byte, 1) == 1, "the pipe is gone");
        close(ready);
        require(read(go, &byte, 1) == 0, "no beginning");
    });
    subject->close();
}

}  // namespace bench
