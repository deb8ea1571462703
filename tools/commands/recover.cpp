// isam recover: what a log tells, done again.
#include "base/elapsed.h"
#include "base/failure.h"
#include "base/hex_text.h"
#include "commands/commands.h"
#include "log/recovery_plan.h"

#include <cstdio>

namespace tool {

namespace {

struct Options {
    std::string log;
    bool dry = false;
    bool force = false;
    bool json = false;
};

void tell(const std::string &log, const RecoveryPlan::Problem &problem) {
    const std::string file = problem.file.empty() ? "" : printable(problem.file) + ": ";
    std::fprintf(stderr, "isam recover: %s: at offset %jd: %s%s\n", log.c_str(),
                 static_cast<std::intmax_t>(problem.offset), file.c_str(), printable(problem.what).c_str());
}

int showPlan(const Options &options, const RecoveryPlan &plan) {
    if (options.json) {
        print(plan.json());
    } else {
        std::fputs(plan.text().c_str(), stdout);
        std::fflush(stdout);
        for (const RecoveryPlan::Problem &problem : plan.problems())
            tell(options.log, problem);
    }
    return plan.problems().empty() && plan.cutOff().empty() ? kClean : kDamage;
}

// Failed or not, the log is closed.
void recover(const Options &options, const RecoveryPlan &plan) {
    if (islogopen(options.log.c_str()) != 0) failCall(options.log, "cannot be opened");
    int result;
    {
        const Elapsed elapsed("doing " + std::to_string(plan.changes()) + " changes again");
        result = isrecover();
    }
    const int code = iserrno;
    const std::string why = lastError();
    islogclose();
    if (result == 0) return;
    // Everything before the place where the log is cut off has been done then.
    if (code == ISERR_LOGREAD && !plan.cutOff().empty()) return;
    throw Failure(options.log + ": recovery has stopped half-way: " + why +
                  "; put the files back as they were when the log was begun before you try again");
}

int run(const Options &options) {
    RecoveryPlan plan(options.log);
    plan.letGo();
    if (options.dry) return showPlan(options, plan);
    if (!plan.problems().empty() && !options.force) {
        for (const RecoveryPlan::Problem &problem : plan.problems())
            tell(options.log, problem);
        throw Failure(options.log +
                      ": nothing has been done: the files are not as they were when the log was begun, or "
                      "the log is damaged");
    }
    recover(options, plan);
    if (options.json) {
        Json json = plan.json();
        json["recovered"] = true;
        print(json);
    } else {
        std::printf("%srecovered\n", plan.text().c_str());
    }
    if (plan.cutOff().empty()) return kClean;
    std::fflush(stdout);
    std::fprintf(stderr, "isam recover: %s: %s\n", options.log.c_str(), plan.cutOff().c_str());
    return kDamage;
}

}  // namespace

void addRecover(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "recover", "Do again what a transaction log tells",
        "Does everything in the log again, from its beginning, and undoes the transactions that were rolled back; "
        "those "
        "without an end are kept. Put copies of the files in place first that were made when the log was begun, under "
        "the names that the log has, and go to the directory from which the program opened them: the log has the names "
        "as they were given. Nobody may be working on the files.\n\n"
        "Before anything is changed the log is read and compared with the files. Where they do not fit each other, "
        "nothing is done, the reasons are told with their places in the log, and the exit status is 2. A log that is "
        "cut off within its last record is done up to there; the exit status is 1 then.",
        {{"isam recover sales.log --dry-run", "What would be done, and what speaks against it; changes nothing."},
         {"isam recover sales.log", "Bring the files from their copies to what the log tells."}});
    command->add_option("LOG", options->log, "the log")->required()->type_name("");
    command->add_flag("-n,--dry-run", options->dry, "show what would be done and change nothing");
    command->add_flag("--force", options->force, "go ahead although the files and the log do not fit each other");
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return run(*options); });
}

}  // namespace tool
