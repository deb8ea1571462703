// Makes every system call of every scenario fail.
//
//   fault_run                   a sample of the faults, always the same one
//   fault_run --long            all of them, and those of the scenarios made by chance
//   fault_run --faults N        a sample of about N
//   fault_run --scenario NAME [--call N --fault KIND [--lasting]] [--verbose]
//   fault_run --list            the scenarios, with the number of calls that each makes
#include "trial.h"

#include "churn.h"
#include "residue.h"
#include "support/temp_dir.h"

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>

using namespace fault_testing;

namespace {

constexpr std::size_t kSample = 2000;
// The library's memory is counted in every run; in every so many the sanitizer searches for what nobody points to.
constexpr std::size_t kLeakEvery = 16;
constexpr std::size_t kShown = 40;

struct Options {
    bool all = false, list = false, verbose = false;
    std::size_t faults = kSample;
    std::string scenario;
    Strike strike;  // call 0: each one
};

struct Totals {
    long scenarios = 0, faults = 0, failed = 0, invisible = 0, fatal = 0, notReached = 0, mended = 0, rebuilds = 0,
         torn = 0, ends = 0;
    std::map<std::string, long> stops;  // fatal ones, by message
    std::size_t findings = 0;
};

[[noreturn]] void usage() {
    std::fprintf(stderr, "usage: fault_run [--long | --faults N] [--list] "
                         "[--scenario NAME [--call N --fault KIND [--lasting]]]\n");
    std::exit(2);
}

Fault faultNamed(const char *name) {
    for (int i = 0; i < kFaultCount; ++i)
        if (std::strcmp(name, faultName(static_cast<Fault>(i))) == 0) return static_cast<Fault>(i);
    usage();
}

Options read(int argc, char **argv) {
    Options options;
    for (int i = 1; i < argc; ++i) {
        const auto value = [&] {
            return ++i < argc ? argv[i] : (usage(), argv[0]);
        };
        const std::string name = argv[i];
        if (name == "--long")
            options.all = true;
        else if (name == "--list")
            options.list = true;
        else if (name == "--verbose")
            options.verbose = true;
        else if (name == "--faults")
            options.faults = static_cast<std::size_t>(std::atol(value()));
        else if (name == "--scenario") {
            options.scenario = value();
            options.all = true;
        } else if (name == "--call")
            options.strike.call = std::atol(value());
        else if (name == "--fault")
            options.strike.fault = faultNamed(value());
        else if (name == "--lasting")
            options.strike.lasting = true;
        else
            usage();
    }
    return options;
}

// Every fault that each call can suffer, alone and from there on. A fatal stop leaves nothing to last.
std::vector<Strike> strikesOf(const Baseline &baseline) {
    std::vector<Strike> all;
    for (std::size_t i = 0; i < baseline.trace.size(); ++i)
        for (int fault = 0; fault < kFaultCount; ++fault) {
            if ((baseline.trace[i].faults & 1U << fault) == 0) continue;
            for (const bool lasting : {false, true})
                if (!lasting || static_cast<Fault>(fault) != Fault::NoMemory)
                    all.push_back({static_cast<long>(i) + 1, static_cast<Fault>(fault), lasting});
        }
    return all;
}

void report(const Scenario &scenario, const std::string &which, const std::vector<std::string> &problems,
            Totals *totals) {
    if (++totals->findings > kShown) return;
    std::printf("fault_run --scenario %s %s\n", scenario.name, which.c_str());
    for (const std::string &problem : problems)
        std::printf("    %s\n", problem.c_str());
    std::fflush(stdout);
}

void count(const Strike &strike, const Trial &trial, Totals *totals) {
    ++totals->faults;
    if (!trial.struck) ++totals->notReached;
    if (!trial.fatal.empty()) {
        ++totals->fatal;
        ++totals->stops[trial.fatal.substr(0, trial.fatal.find(" [")) + (strike.lasting ? ", lasting fault" : "")];
    } else if (!trial.failures.empty())
        ++totals->failed;
    else
        ++totals->invisible;
    if (trial.rebuilds != 0) ++totals->mended;
    totals->rebuilds += trial.rebuilds;
    totals->torn += trial.torn;
    totals->ends += trial.ends;
}

void tell(const Scenario &scenario, const Strike &strike, const Trial &trial) {
    std::printf("%s %s: %s%s%s, %d rebuilds\n", scenario.name, strike.text().c_str(),
                trial.fatal.empty() ? (!trial.failures.empty() ? "failed" : "invisible") : trial.fatal.c_str(),
                trial.stoppedIn.empty() ? "" : " in ", trial.stoppedIn.c_str(), trial.rebuilds);
    for (const std::string &failure : trial.failures)
        std::printf("    %s\n", failure.c_str());
}

void usesMemory() {
    // Files that live for a moment need no disk.
    if (std::getenv("TMPDIR") == nullptr && access("/dev/shm", W_OK) == 0) setenv("TMPDIR", "/dev/shm", 1);
}

}  // namespace

int main(int argc, char **argv) {
    const Options options = read(argc, argv);
    usesMemory();
    const testing_support::TempDir directory;
    if (!lockProbeWorks(directory.path())) {
        std::printf("locks cannot be looked at here\n");
        return 1;
    }

    Totals totals;
    std::size_t place = 0, run = 0;
    std::vector<std::pair<const Scenario *, std::unique_ptr<Stage>>> stages;
    std::size_t possible = 0;
    std::vector<Scenario> all = scenarios();
    if (options.all) all.insert(all.end(), churnScenarios().begin(), churnScenarios().end());
    for (const Scenario &scenario : all) {
        if (!options.scenario.empty() && options.scenario != scenario.name) continue;
        auto stage = std::make_unique<Stage>(scenario, directory.file(scenario.name));
        ++totals.scenarios;
        if (const auto problems = stage->setUp(); !problems.empty()) {
            report(scenario, "--call 0", problems, &totals);
            continue;
        }
        const std::size_t strikes = strikesOf(stage->baseline()).size();
        possible += strikes;
        if (options.list)
            std::printf("%-18s %5zu calls %6zu faults\n", scenario.name, stage->baseline().trace.size(), strikes);
        stages.emplace_back(&scenario, std::move(stage));
    }
    if (options.list) return 0;
    if (stages.empty() && totals.findings == 0) usage();

    // A step that no regular sequence of calls fits.
    std::size_t step = options.all ? 1 : possible / (options.faults == 0 ? 1 : options.faults);
    if (step > 1) step |= 1U;
    if (step == 0) step = 1;
    for (auto &[scenario, stage] : stages) {
        std::vector<Strike> strikes = strikesOf(stage->baseline());
        if (options.strike.call != 0) strikes = {options.strike};
        for (const Strike &strike : strikes) {
            if (place++ % step != 0) continue;
            const bool lookForLeaks = run++ % kLeakEvery == 0;
            const Trial trial = stage->strike(strike, lookForLeaks);
            count(strike, trial, &totals);
            if (options.verbose) tell(*scenario, strike, trial);
            if (!trial.problems.empty()) report(*scenario, strike.text(), trial.problems, &totals);
        }
    }

    for (const auto &[message, times] : totals.stops)
        std::printf("%6ld times: %s\n", times, message.c_str());
    std::printf("%ld scenarios, %ld faults of %zu: %ld made a call fail, %ld were invisible (%ld not reached), "
                "%ld ended the process by a fatal stop; %ld left damage that %ld rebuilds mended, %ld torn records, "
                "%ld calls met the end of a file; "
                "%zu findings\n",
                totals.scenarios, totals.faults, possible, totals.failed, totals.invisible, totals.notReached,
                totals.fatal, totals.mended, totals.rebuilds, totals.torn, totals.ends, totals.findings);
    return totals.findings == 0 ? 0 : 1;
}
