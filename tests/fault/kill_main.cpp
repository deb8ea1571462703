// Kills the scenarios at every call that changes a file, and judges what they leave.
//
//   kill_run [--every N]         a sample of the points, one in N, the same each time
//   kill_run --long              all of them
//   kill_run --scenario NAME [--point N] [--before | --inside | --copying | --after] [--verbose] [--keep DIRECTORY]
//                                one scenario; --keep: the files as the last victim left them
//   kill_run --list              the scenarios
#include "churn.h"
#include "judge.h"
#include "killing.h"

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>

namespace {

using namespace fault_testing;

struct Options {
    long every = 11;  // a prime: all calls of a scenario get their turn in it
    bool verbose = false;
    bool list = false;
    std::string scenario;
    std::string keep;
    std::size_t point = 0;
    std::vector<Moment> moments;
};

// A verdict, in memory shared with the process that gives it.
struct Shared {
    bool given;
    int numbers[11];
    char problems[4000];
};

constexpr int Verdict::*kNumbers[] = {&Verdict::files,   &Verdict::absent,    &Verdict::sound, &Verdict::freeLists,
                                      &Verdict::indexes, &Verdict::clustered, &Verdict::torn,  &Verdict::others,
                                      &Verdict::unseen,  &Verdict::worn,      &Verdict::bits};

// Runs the judge in a process of its own: it may meet a fatal stop.
template <typename Judge> Verdict ask(const std::string &directory, Judge &&judge) {
    static Shared *const shared =
        static_cast<Shared *>(mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
    shared->given = false;
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        if (chdir(directory.c_str()) != 0) _exit(3);
        const Verdict verdict = judge();
        for (std::size_t i = 0; i < std::size(kNumbers); ++i)
            shared->numbers[i] = verdict.*kNumbers[i];
        std::snprintf(shared->problems, sizeof shared->problems, "%s", verdict.text().c_str());
        shared->given = true;
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    Verdict out;
    if (!shared->given) {
        out.problems.push_back("the judge ended with status " + std::to_string(status));
        return out;
    }
    for (std::size_t i = 0; i < std::size(kNumbers); ++i)
        out.*kNumbers[i] = shared->numbers[i];
    if (shared->problems[0] != '\0') out.problems.push_back(shared->problems);
    return out;
}

bool isCut(Moment moment) { return moment == Moment::Inside || moment == Moment::Copying; }

struct Counts {
    long scenarios = 0, points = 0, inside = 0, sound = 0, index = 0, freeList = 0, clustered = 0, absent = 0, torn = 0,
         others = 0, unseen = 0, worn = 0, recovered = 0, wrong = 0;
};

class Run {
  public:
    explicit Run(const Options &options) : options_(options) {
        const char *base = std::getenv("TMPDIR");
        directory_ = std::string(base != nullptr                 ? base
                                 : access("/dev/shm", W_OK) == 0 ? "/dev/shm"
                                                                 : "/tmp") +
                     "/kill_run." + std::to_string(getpid());
    }
    ~Run() { std::filesystem::remove_all(directory_); }

    void scenario(const Scenario &scenario) {
        Victim victim(scenario, directory_ + "/" + scenario.name);
        const std::vector<WriteCall> calls = victim.rehearse();
        if (calls.empty()) return;  // it only reads
        ++counts_.scenarios;
        const long before = counts_.wrong;
        for (std::size_t point = 1; point <= calls.size(); ++point) {
            if (options_.point != 0 && options_.point != point) continue;
            for (const Moment moment : options_.moments)
                if (chosen(moment, calls[point - 1])) one(scenario, victim, point, moment, calls[point - 1]);
        }
        if (options_.verbose || counts_.wrong > before)
            std::printf("%s: %zu calls, %ld points wrong\n", scenario.name, calls.size(), counts_.wrong - before);
        std::filesystem::remove_all(directory_ + "/" + scenario.name);
    }

    bool report() const {
        const Counts &c = counts_;
        std::printf("%ld scenarios, killed at %ld points, %ld of them in the middle of a write\n", c.scenarios,
                    c.points, c.inside);
        std::printf(
            "file sets: %ld sound at once, %ld mended by rebuilding indexes, %ld the free list, %ld by clustering, "
            "%ld not there (being made or removed); recovered from the log: %ld; with a list of free nodes worn "
            "out: %ld\n",
            c.sound, c.index, c.freeList, c.clustered, c.absent, c.recovered, c.worn);
        std::printf(
            "records of the interrupted call that are neither old nor new: %ld, missing from or left in an index "
            "that is not counted: %ld; others lost with half a node: %ld\n",
            c.torn, c.unseen, c.others);
        std::printf("points where anything else was wrong: %ld\n", c.wrong);
        return c.wrong == 0;
    }

  private:
    // The sample: one point in so many.
    bool chosen(Moment moment, const WriteCall &call) {
        if (moment == Moment::Inside && call.length < 2) return false;
        // What is shorter is one store.
        if (moment == Moment::Copying && call.length <= 8) return false;
        if (options_.point != 0 || !options_.scenario.empty()) return true;
        return ++candidates_ % options_.every == 0;
    }

    void one(const Scenario &scenario, Victim &victim, std::size_t point, Moment moment, const WriteCall &call) {
        ++counts_.points;
        if (isCut(moment)) ++counts_.inside;
        if (!victim.killAt(point, moment)) {
            wrong(scenario, point, moment, call.text, "it was not killed\n");
            return;
        }
        const std::vector<Event> events = victim.journal().events();
        if (!options_.keep.empty())
            std::filesystem::copy(victim.work(), options_.keep,
                                  std::filesystem::copy_options::recursive |
                                      std::filesystem::copy_options::overwrite_existing);
        // With a log the files are judged as if there were none, too.
        const bool logged = scenario.log != nullptr && victim.bringLog();
        // Of files that were being recovered nothing is expected: recovery begins again.
        const bool recovering = events.back().call == "isrecover" && events.back().state == Event::State::UnderWay;
        if (recovering) victim.putBack();
        const Verdict verdict = ask(
            victim.work(), [&] { return recovering ? judgeRecovery(events, "log") : judge(events, isCut(moment)); });
        add(verdict);
        if (options_.verbose)
            std::printf(
                "%s %zu %s (%s): in %s, bits 0x%x, sound %d of %d, lists %d, indexes %d, clustered %d, torn %d\n",
                scenario.name, point, momentName(moment), call.text.c_str(), events.back().call.c_str(),
                static_cast<unsigned>(verdict.bits), verdict.sound, verdict.files, verdict.freeLists, verdict.indexes,
                verdict.clustered, verdict.torn);
        if (!verdict.good())
            wrong(scenario, point, moment, call.text, "in " + events.back().call + "\n" + verdict.text());
        if (!logged) return;
        const Verdict recovery = ask(victim.again(), [&] { return judgeRecovery(events, scenario.log); });
        if (recovery.good())
            ++counts_.recovered;
        else
            wrong(scenario, point, moment, call.text, "recovery, in " + events.back().call + "\n" + recovery.text());
    }

    void add(const Verdict &verdict) {
        counts_.sound += verdict.sound;
        counts_.index += verdict.indexes > 0 ? 1 : 0;
        counts_.freeList += verdict.freeLists > 0 ? 1 : 0;
        counts_.clustered += verdict.clustered > 0 ? 1 : 0;
        counts_.absent += verdict.absent;
        counts_.torn += verdict.torn;
        counts_.others += verdict.others;
        counts_.unseen += verdict.unseen;
        counts_.worn += verdict.worn;
    }

    void wrong(const Scenario &scenario, std::size_t point, Moment moment, const std::string &call,
               const std::string &text) {
        ++counts_.wrong;
        std::printf("--scenario %s --point %zu --%s (%s):\n  %s", scenario.name, point, momentName(moment),
                    call.c_str(), text.c_str());
    }

    const Options options_;
    std::string directory_;
    Counts counts_;
    long candidates_ = 0;
};

Options optionsOf(int argc, char **argv) {
    Options out;
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const bool more = i + 1 < argc;
        if (word == "--long")
            out.every = 1;
        else if (word == "--verbose")
            out.verbose = true;
        else if (word == "--list")
            out.list = true;
        else if (word == "--scenario" && more)
            out.scenario = argv[++i];
        else if (word == "--every" && more)
            out.every = std::max(1L, std::strtol(argv[++i], nullptr, 10));
        else if (word == "--keep" && more)
            out.keep = argv[++i];
        else if (word == "--point" && more)
            out.point = std::strtoul(argv[++i], nullptr, 10);
        else if (word == "--before")
            out.moments.push_back(Moment::Before);
        else if (word == "--inside")
            out.moments.push_back(Moment::Inside);
        else if (word == "--copying")
            out.moments.push_back(Moment::Copying);
        else if (word == "--after")
            out.moments.push_back(Moment::After);
        else {
            std::fprintf(stderr, "unknown: %s\n", argv[i]);
            std::exit(2);
        }
    }
    if (out.moments.empty()) out.moments = {Moment::Before, Moment::Inside, Moment::After};
    return out;
}

}  // namespace

int main(int argc, char **argv) {
    const Options options = optionsOf(argc, argv);
    Run run(options);
    std::vector<Scenario> all = scenarios();
    all.insert(all.end(), churnScenarios().begin(), churnScenarios().end());
    for (const Scenario &scenario : all) {
        if (options.list)
            std::printf("%s\n", scenario.name);
        else if (options.scenario.empty() || options.scenario == scenario.name)
            run.scenario(scenario);
    }
    return options.list || run.report() ? 0 : 1;
}
