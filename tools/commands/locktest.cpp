// isam locktest: do locks work on a file system, between two processes or two machines?
#include "base/failure.h"
#include "base/json.h"
#include "base/progress.h"
#include "commands/commands.h"
#include "locks/file_system.h"
#include "locktest/exam.h"

#include <csignal>
#include <cstdio>
#include <filesystem>
#include <ctime>
#include <unistd.h>

namespace tool {

namespace {

struct Options {
    std::string directory;
    bool wait = false;
    bool join = false;
    int seconds = 300;
    bool json = false;
};

constexpr const char *kStem = "isam-locktest";
constexpr const char *kOrders = "orders";
constexpr const char *kEnd = "end ";
constexpr int kPatience = 60;  // seconds between two orders

const char *weightWord(LockFinding::Weight weight) {
    switch (weight) {
    case LockFinding::Weight::kNeeded: return "needed";
    case LockFinding::Weight::kLimit: return "limit";
    default: return "fact";
    }
}

Json jsonOf(const std::vector<LockFinding> &findings) {
    Json tests = Json::array();
    for (const LockFinding &finding : findings) {
        tests.push_back({{"test", finding.what},
                         {"weight", weightWord(finding.weight)},
                         {"passed", finding.passed},
                         {"detail", finding.detail}});
    }
    return tests;
}

std::vector<LockFinding> findingsOf(const Json &tests) {
    std::vector<LockFinding> findings;
    for (const Json &test : tests) {
        LockFinding finding;
        finding.what = test.at("test").get<std::string>();
        const std::string weight = test.at("weight").get<std::string>();
        finding.weight = weight == "needed"  ? LockFinding::Weight::kNeeded
                         : weight == "limit" ? LockFinding::Weight::kLimit
                                             : LockFinding::Weight::kFact;
        finding.passed = test.at("passed").get<bool>();
        finding.detail = test.at("detail").get<std::string>();
        findings.push_back(finding);
    }
    return findings;
}

const char *mark(const LockFinding &finding) {
    switch (finding.weight) {
    case LockFinding::Weight::kNeeded: return finding.passed ? "ok" : "FAILED";
    case LockFinding::Weight::kLimit: return finding.passed ? "ok" : "limit";
    default: return "note";
    }
}

void printText(const Options &options, const FileSystem &system, const std::vector<LockFinding> &findings) {
    const bool machines = options.wait || options.join;
    std::printf("%s: %s%s, %s\n", options.directory.c_str(), system.name.c_str(), system.network ? " (network)" : "",
                machines ? "two machines" : "two processes of this machine");
    for (const LockFinding &finding : findings) {
        std::printf("  %-6s  %s%s%s\n", mark(finding), finding.what.c_str(), finding.detail.empty() ? "" : ": ",
                    finding.detail.c_str());
    }
    if (!system.remark.empty()) std::printf("  note    %s: %s\n", system.name.c_str(), system.remark.c_str());
    if (!isFit(findings)) {
        std::printf("unfit: files in %s will be damaged by several %s that change them\n", options.directory.c_str(),
                    machines ? "machines" : "processes");
    } else if (machines) {
        std::printf("fit: programs on both machines can share files in %s\n", options.directory.c_str());
    } else {
        std::printf("fit: programs of this machine can share files in %s%s\n", options.directory.c_str(),
                    system.network ? "; of other machines --wait and --join tell" : "");
    }
}

int report(const Options &options, const std::vector<LockFinding> &findings) {
    const FileSystem system = fileSystemOf(options.directory);
    if (options.json) {
        print({{"directory", options.directory},
               {"fileSystem", system.name},
               {"network", system.network},
               {"machines", options.wait || options.join ? 2 : 1},
               {"tests", jsonOf(findings)},
               {"fit", isFit(findings)}});
    } else {
        printText(options, system, findings);
    }
    return isFit(findings) ? kClean : kDamage;
}

// A file that is removed in the end, whatever the end is.
class Scratch {
  public:
    explicit Scratch(std::string path) : path_(std::move(path)) {}
    ~Scratch() { unlink(path_.c_str()); }
    Scratch(const Scratch &) = delete;
    Scratch &operator=(const Scratch &) = delete;

  private:
    std::string path_;
};

std::vector<LockFinding> examineWithProgress(Side &here, Side &there, const std::string &names) {
    Progress progress("testing locks", examinationSteps());
    return examine(here, there, names, [&progress] { progress.step(); });
}

int examineHere(const Options &options) {
    const std::string scratch = std::string(kStem) + "." + std::to_string(getpid());
    const Scratch removed(options.directory + "/" + scratch);
    std::vector<LockFinding> findings;
    {
        Actor actor(options.directory, scratch, systemLock);
        HereSide here(actor);
        ChildSide there(options.directory, scratch, systemLock);
        findings = examineWithProgress(here, there, scratch);
    }
    return report(options, findings);
}

std::string pathOf(const Options &options, const char *extension) {
    return options.directory + "/" + kStem + "." + extension;
}

// The machine that waits leads; it says in its first message what answers must begin with.
int lead(const Options &options) {
    MessageFile orders(pathOf(options, "wait"), kOrders);
    orders.make(true);
    const Scratch no_orders(orders.path());
    const Scratch no_answers(pathOf(options, "join"));
    const Scratch no_data(pathOf(options, "data"));
    const std::string purpose = "answers-" + std::to_string(getpid()) + "-" + std::to_string(std::time(nullptr));
    MessageFile answers(pathOf(options, "join"), purpose);
    orders.write(purpose);
    if (!options.json) {
        std::fprintf(stderr, "waiting for 'isam locktest --join' on the other machine\n");
    }
    answers.read(options.seconds);
    Actor actor(options.directory, std::string(kStem) + ".data", systemLock);
    HereSide here(actor);
    FarSide there(orders, answers);
    try {
        const std::vector<LockFinding> findings = examineWithProgress(here, there, std::string(kStem) + ".name");
        there.perform(kEnd + jsonOf(findings).dump());
        return report(options, findings);
    } catch (const NoRoom &failure) {
        there.perform(kEnd + std::string(failure.what()));
        throw;
    }
}

int follow(const Options &options) {
    MessageFile orders(pathOf(options, "wait"), kOrders);
    MessageFile answers(pathOf(options, "join"), orders.read(options.seconds));
    answers.make(false);
    answers.write("here");
    std::vector<LockFinding> findings;
    std::string order = orders.read(kPatience);
    Actor actor(options.directory, std::string(kStem) + ".data", systemLock);
    for (; !order.starts_with(kEnd); order = orders.read(kPatience))
        answers.write(actor.perform(order));
    answers.write("bye");
    try {
        findings = findingsOf(Json::parse(order.substr(std::string(kEnd).size())));
    } catch (const Json::exception &) {
        throw Failure(options.directory + ": the other side has broken off: " + order.substr(std::string(kEnd).size()));
    }
    return report(options, findings);
}

int run(Options &options) {
    std::error_code ignored;
    if (!std::filesystem::is_directory(options.directory, ignored))
        throw Failure(options.directory + ": is no directory");
    if (!options.wait && !options.join) return examineHere(options);
    // They end the waiting, and what was made is removed.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    sigprocmask(SIG_BLOCK, &ends, nullptr);
    return options.wait ? lead(options) : follow(options);
}

}  // namespace

void addLocktest(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "locktest", "Tell whether locks work on a file system",
        "Makes a small file in DIR and tries with two processes what the library counts on: that locks on its ranges "
        "are "
        "granted and refused rightly, awaited, and released by processes that die; that under a lock each process sees "
        "what the other has written; that a file is made and renamed by one of both. Says of each whether it works, "
        "and in "
        "the end whether files in DIR can be shared: fit (exit status 0) or unfit (1); 2: it could not be tried.\n\n"
        "For two machines that share DIR over a network, start it with --wait on the one and with --join on the other: "
        "they go through the same steps by turns, and both print what came of it.",
        {{"isam locktest /srv/data", "Can processes of this machine share files there?"},
         {"isam locktest /net/data --wait", "Can two machines? Start this on the one .."},
         {"isam locktest /net/data --join", ".. and this on the other."}});
    command->add_option("DIR", options->directory, "a directory on the file system")->required()->type_name("");
    CLI::Option *wait = command->add_flag("--wait", options->wait, "wait for another machine, and lead the test");
    command->add_flag("--join", options->join, "take part in the test of the machine that waits")->excludes(wait);
    command->add_option("--seconds", options->seconds, "how long to wait for the other machine (300)")
        ->check(CLI::Range(1, 86'400))
        ->type_name("NUMBER");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
