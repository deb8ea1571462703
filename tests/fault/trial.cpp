#include "trial.h"

#include "documented.h"
#include "judge.h"
#include "residue.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <iterator>

#if defined(__has_feature)
#if __has_feature(address_sanitizer)
#define FAULT_LEAK_CHECK
#endif
#elif defined(__SANITIZE_ADDRESS__)
#define FAULT_LEAK_CHECK
#endif
#ifdef FAULT_LEAK_CHECK
#include <sanitizer/lsan_interface.h>
#endif

namespace fault_testing {

namespace {

constexpr unsigned kSeconds = 60;  // a run that takes longer hangs
constexpr int kFatalStatus = 1;
constexpr int kIndexRead = 0x41, kDataRead = 0x42;  // iserrio

// Appends to text of a fixed size, cut off where it does not fit.
template <std::size_t Size> void add(char (&text)[Size], const std::string &line) {
    const std::size_t used = std::strlen(text);
    const std::size_t length = std::min(line.size(), Size - 1 - used);
    std::memcpy(text + used, line.data(), length);
    text[used + length] = '\0';
}

std::vector<std::string> lines(const std::string &text) {
    std::vector<std::string> all;
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t end = std::min(text.find('\n', at), text.size());
        if (end > at) all.push_back(text.substr(at, end - at));
        at = end + 1;
    }
    return all;
}

bool memoryIsLost() {
#ifdef FAULT_LEAK_CHECK
    return __lsan_do_recoverable_leak_check() != 0;
#else
    return false;
#endif
}

std::string describe(const Event &event) {
    return event.call + (event.state == Event::State::Succeeded
                             ? " succeeded"
                             : " failed with " + std::to_string(event.error) + "/" + std::to_string(event.io));
}

}  // namespace

// What the child tells, in memory shared with it.
struct Stage::Outcome {
    enum class Phase { Running, Judging, Done } phase;
    char problems[8192];
    char fatal[256];
    bool struck;
    shim::Call struckCall;
    std::size_t struckEvent;  // its place in the journal
    long blocks;
    int rebuilds, torn;

    static Outcome *current;
    static void stop(char *message) {
        add(current->fatal, message);
        _exit(kFatalStatus);
    }
    void note(const std::string &line) { add(problems, line + "\n"); }
    void judged(const Verdict &verdict) {
        for (const std::string &problem : verdict.problems)
            note("judge: " + problem);
        rebuilds = verdict.freeLists + verdict.indexes + verdict.clustered;
        torn = verdict.torn;
    }
};
Stage::Outcome *Stage::Outcome::current = nullptr;

struct Stage::Trace {
    std::size_t count;
    Injector::Possible calls[20000];
};

namespace {

template <typename T> T *shared() {
    void *const memory = mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) std::abort();
    return new (memory) T{};
}

// Runs work in a child; its wait status.
template <typename Work> int inChild(const std::string &directory, Work &&work) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        alarm(kSeconds);
        if (chdir(directory.c_str()) != 0) _exit(2);
        work();
        _exit(0);
    }
    int status = -1;
    waitpid(child, &status, 0);
    return status;
}

std::string ending(int status) {
    if (WIFSIGNALED(status))
        return WTERMSIG(status) == SIGALRM ? "it hangs" : "it died of signal " + std::to_string(WTERMSIG(status));
    return "it ended with status " + std::to_string(WEXITSTATUS(status));
}

}  // namespace

Stage::Stage(const Scenario &scenario, const std::string &directory)
    : scenario_(scenario), directory_(directory), outcome_(shared<Outcome>()), trace_(shared<Trace>()) {}

Stage::~Stage() {
    munmap(outcome_, sizeof *outcome_);
    munmap(trace_, sizeof *trace_);
}

std::vector<std::string> Stage::setUp() {
    putFiles(directory_, {});
    const int status = inChild(directory_, [&] {
        World world(journal_);
        scenario_.prepare(world);
    });
    if (status != 0) return {"prepare: " + ending(status)};
    for (const Event &event : journal_.events())
        if (event.state != Event::State::Succeeded) return {"prepare: " + describe(event)};
    journal_.markPrepared();
    start_ = readFiles(directory_);

    Trial trial = perform(std::nullopt, true);
    baseline_.events = journal_.events();
    baseline_.blocks = outcome_->blocks;
    baseline_.trace.assign(trace_->calls, trace_->calls + trace_->count);
    return trial.problems;
}

void Stage::child(const std::optional<Strike> &strike, bool lookForLeaks) {
    Outcome &outcome = *outcome_;
    Outcome::current = outcome_;
    isfatal(&Outcome::stop);
    const int descriptors = openDescriptors();

    Injector injector;
    std::vector<Injector::Possible> calls;
    if (strike)
        injector.arm(*strike);
    else
        injector.trace = &calls;
    injector.struck = [&](shim::Call call) {
        outcome.struck = true;
        outcome.struckCall = call;
        outcome.struckEvent = journal_.count() - 1;
    };
    LockProbe probe;
    World world(journal_);
    world.afterCall = [&] {
        // What could not be unlocked stays locked until it is closed.
        if (injector.unlocksFailed()) return;
        if (const std::string left = probe.betweenCalls(scenario_.locks || scenario_.log != nullptr); !left.empty())
            outcome.note("after " + journal_.events().back().call + ": " + left);
    };
    shim::observe(&injector);
    scenario_.run(world);
    injector.disarm();
    injector.trace = nullptr;
    trace_->count = std::min(calls.size(), std::size(trace_->calls));
    std::copy_n(calls.begin(), trace_->count, trace_->calls);
    outcome.phase = Outcome::Phase::Judging;

    if (const int open = openHandles(); open != 0) outcome.note(std::to_string(open) + " handles are left open");
    iscleanup();
    islogclose();
    outcome.blocks = injector.blocks();
    shim::observe(nullptr);
    if (strike && outcome.blocks > baseline_.blocks)
        outcome.note(std::to_string(outcome.blocks - baseline_.blocks) + " pieces of memory are lost");
    if (lookForLeaks && memoryIsLost()) outcome.note("memory is lost");
    if (const std::string left = probe.anywhere(); !left.empty()) outcome.note("at the end: " + left);
    if (const int more = openDescriptors() - descriptors; more != 0)
        outcome.note(std::to_string(more) + " descriptors are left open");

    outcome.judged(judge(journal_.events()));
    outcome.phase = Outcome::Phase::Done;
}

Trial Stage::perform(const std::optional<Strike> &strike, bool lookForLeaks) {
    putFiles(directory_, start_);
    journal_.restart();
    *outcome_ = Outcome{};
    int status = inChild(directory_, [&] { child(strike, lookForLeaks); });

    Trial trial;
    trial.fatal = outcome_->fatal;
    if (!trial.fatal.empty() && outcome_->phase == Outcome::Phase::Running) {
        trial.stoppedIn = journal_.events().back().call;
        // Whoever comes next finds the files as this process left them.
        status = inChild(directory_, [&] {
            outcome_->judged(judge(journal_.events()));
            outcome_->phase = Outcome::Phase::Done;
        });
    }
    if (status != 0 || outcome_->phase != Outcome::Phase::Done)
        outcome_->note(ending(status) +
                       (outcome_->phase == Outcome::Phase::Running ? " in " + journal_.events().back().call
                                                                   : " while it was judged") +
                       (outcome_->fatal[0] != '\0' ? std::string(": ") + outcome_->fatal : ""));
    trial.struck = outcome_->struck;
    trial.rebuilds = outcome_->rebuilds;
    trial.torn = outcome_->torn;
    if (strike)
        for (const std::string &problem : judgeEvents(*outcome_, *strike, &trial))
            outcome_->note(problem);
    trial.problems = lines(outcome_->problems);
    return trial;
}

Trial Stage::strike(const Strike &strike, bool lookForLeaks) { return perform(strike, lookForLeaks); }

// Every call must have gone as it does without the fault, or have failed in a way that its description knows.
std::vector<std::string> Stage::judgeEvents(const Outcome &outcome, const Strike &strike, Trial *trial) const {
    std::vector<std::string> problems;
    const std::vector<Event> events = journal_.events();
    const std::string fatal = outcome.fatal;
    if (!fatal.empty()) {
        const bool expected = strike.fault == Fault::NoMemory ? fatal.find("ismemory") != std::string::npos
                                                              : fatal.find("isam crash") != std::string::npos;
        if (!expected) problems.push_back("fatal stop: " + fatal + " in " + events.back().call);
    }
    for (std::size_t i = 0; i < events.size(); ++i) {
        const Event &event = events[i];
        const bool before = !outcome.struck || i < outcome.struckEvent;
        if (event.state != Event::State::Failed) continue;
        const bool usual = i < baseline_.events.size() && baseline_.events[i].call == event.call &&
                           baseline_.events[i].state == event.state && baseline_.events[i].error == event.error;
        if (usual) continue;
        trial->failures.push_back(describe(event));
        if (isInvisible(strike.fault) || before) {
            problems.push_back(describe(event) + (before ? " before the fault" : " though nothing was refused"));
            continue;
        }
        if (isCheck(event.call)) continue;
        const bool under = i == outcome.struckEvent || strike.lasting;
        if (under && event.error == faultError(strike.fault)) {
            if (i == outcome.struckEvent && !strike.lasting && event.call != "isrollback" &&
                event.call != "isrecover" && !namesCall(event, outcome.struckCall))
                problems.push_back(describe(event) + ", but the fault was in " + shim::callName(outcome.struckCall));
            continue;
        }
        if (i > outcome.struckEvent && event.error == EIO && (event.io == kIndexRead || event.io == kDataRead)) {
            ++trial->ends;
            continue;
        }
        if (!isDocumented(event)) problems.push_back(describe(event) + ", which is not documented");
    }
    return problems;
}

}  // namespace fault_testing
