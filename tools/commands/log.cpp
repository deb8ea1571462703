// isam log: a transaction log as it can be read.
#include "base/change_watch.h"
#include "base/failure.h"
#include "base/json_line.h"
#include "base/progress.h"
#include "commands/commands.h"
#include "log/log_file.h"
#include "log/log_filter.h"
#include "log/log_summary.h"
#include "log/log_text.h"

#include <cstdio>
#include <optional>
#include <unistd.h>

namespace tool {

namespace {

struct Options {
    std::string log;
    std::string file;
    std::vector<std::string> types;
    std::optional<std::uint64_t> transaction;
    std::optional<unsigned> process;
    std::string since;
    std::string until;
    bool follow = false;
    bool contents = false;
    bool open = false;
    bool summary = false;
    bool json = false;

    bool lists() const { return !open && !summary; }
};

LogFilter filterOf(const Options &options) {
    LogFilter filter;
    if (!options.file.empty()) filter.onlyFile(options.file);
    filter.onlyTypes(options.types);
    if (options.transaction) filter.onlyTransaction(*options.transaction);
    if (options.process) filter.onlyProcess(*options.process);
    if (!options.since.empty()) filter.since(options.since);
    if (!options.until.empty()) filter.until(options.until);
    return filter;
}

class Listing {
  public:
    explicit Listing(const Options &options) : options_(options), filter_(filterOf(options)), log_(options.log) {}

    int run() {
        if (options_.lists() && !options_.json) print(logHeading());
        readAll();
        if (options_.follow) follow();
        if (options_.open) options_.json ? tool::print(openJson(story_)) : print(openText(story_));
        if (options_.summary) options_.json ? tool::print(summary_.json()) : print(summary_.text());
        return unsound_ || unreadable_ ? kDamage : kClean;
    }

  private:
    static void print(const std::string &text) { std::fwrite(text.data(), 1, text.size(), stdout); }

    void show(const LogRecord &record) {
        const LogStory::Place place = story_.take(record);
        unsound_ = unsound_ || !record.sound;
        if (!filter_.takes(record, place)) return;
        if (options_.summary) summary_.count(record, place);
        if (!options_.lists()) return;
        if (options_.json) {
            printLine(logJson(record, place, options_.contents));
        } else {
            print(logLine(record, place) + (options_.contents ? logContents(record) : ""));
        }
    }

    // As far as the log goes now.
    LogFile::Found read(Progress *progress) {
        LogRecord record;
        LogFile::Found found;
        while ((found = log_.next(record)) == LogFile::Found::kRecord) {
            show(record);
            if (progress != nullptr) progress->step(record.length);
        }
        return found;
    }

    void complain(const std::string &what) {
        std::fflush(stdout);
        std::fprintf(stderr, "isam log: %s: %s\n", options_.log.c_str(), what.c_str());
        unreadable_ = true;
    }

    void readAll() {
        std::optional<Progress> progress;
        // Where the records themselves run over the terminal, nobody needs a bar.
        if (!options_.lists() || isatty(STDOUT_FILENO) == 0) {
            progress.emplace("reading " + options_.log, static_cast<std::uint64_t>(log_.size()));
        }
        const LogFile::Found found = read(progress ? &*progress : nullptr);
        progress.reset();
        // Who follows a log waits for the rest of its last record.
        if (found == LogFile::Found::kDamaged || (found == LogFile::Found::kCutOff && !options_.follow))
            complain(log_.problem());
    }

    void takeBack() {
        for (const LogRecord &record : log_.stepBack()) {
            story_.takeBack(record);
            if (options_.json) {
                printLine({{"offset", record.offset}, {"takenBack", true}});
            } else {
                print("            taken back: the record at " + std::to_string(record.offset) + "\n");
            }
        }
    }

    void follow() {
        ChangeWatch watch(options_.log);
        while (!unreadable_) {
            std::fflush(stdout);
            if (std::ferror(stdout) != 0 || !watch.wait()) return;
            const bool replaced = log_.replaced();
            takeBack();
            if (read(nullptr) == LogFile::Found::kDamaged) complain(log_.problem());
            if (replaced) throw Failure(options_.log + ": is another log by now");
        }
    }

    const Options &options_;
    LogFilter filter_;
    LogFile log_;
    LogStory story_;
    LogSummary summary_;
    bool unsound_ = false;     // a record is not what its type demands
    bool unreadable_ = false;  // the log cannot be read to its end
};

void addOptions(CLI::App *command, Options &options) {
    command->add_option("LOG", options.log, "the log")->required()->type_name("");
    command->add_flag("-f,--follow", options.follow, "wait for more records until Ctrl-C");
    command->add_flag("-l,--long", options.contents, "show the records' bytes; of a rewrite the old and the new ones");
    command->add_option("--file", options.file, "records of this file alone, by its path or the end of it")
        ->type_name("NAME");
    command
        ->add_option("--type", options.types,
                     "records of these types alone: build, open, close, erase, rename, addindex, delindex, setunique, "
                     "uniqueid, write, rewrite, delete, begin, commit, rollback")
        ->delimiter(',')
        ->type_name("TYPE,...")
        ->allow_extra_args(false);
    command
        ->add_option("--transaction", options.transaction, "records of this transaction, by its number in the listing")
        ->type_name("NUMBER");
    command->add_option("--process", options.process, "records that this process wrote")->type_name("PID");
    command
        ->add_option("--since", options.since, "records from this time on: '2026-05-01 12:00', or 2h for two hours ago")
        ->type_name("TIME");
    command->add_option("--until", options.until, "records up to this time")->type_name("TIME");
    CLI::Option *open = command->add_flag("--open", options.open, "list the transactions that have no end instead");
    CLI::Option *summary = command->add_flag("--summary", options.summary, "count the records instead");
    open->excludes("--follow")->excludes(summary);
    summary->excludes("--follow");
}

}  // namespace

void addLog(Program &program) {
    auto options = std::make_shared<Options>();
    CLI::App *command = program.add(
        "log", "Show a transaction log",
        "Prints a line for each record of the log that islogopen began: its offset, the time, the process and the user "
        "that wrote it, the number of its transaction, what was done, and to which file. Transactions are numbered in "
        "the order in which they begin in the log. The log has the low 16 bits of process and user; where a program "
        "numbers its transactions itself (isTxnInit), that number stands for the user.\n\n"
        "The log may be in use meanwhile. A log that is cut off within its last record is shown up to there, one that "
        "is damaged up to the damage; the offset is said, and the exit status is 1. Following ends, with status 2, "
        "when "
        "another log has its name.",
        {{"isam log sales.log", "Every record of the log."},
         {"isam log sales.log --file orders --type write,rewrite,delete --long",
          "What became of the records of orders, with their bytes."},
         {"isam log sales.log --follow --since 0s", "What is being done from now on."},
         {"isam log sales.log --open", "The transactions that were neither committed nor rolled back."},
         {"isam log sales.log --json | jq -r 'select(.type == \"erase\").file'", "The files that were erased."}});
    addOptions(command, *options);
    Program::addJson(command, options->json);
    program.onRun(command, [options] { return Listing(*options).run(); });
}

}  // namespace tool
