// Many processes on one file set, one of them killed now and then.
//
//   stress_run [--seconds N] [--long] [--processes N] [--seed S] WORKER [WORKER]
//
// The processes take the programs in turns. Ends with status 0 when nothing was found; else it tells how to repeat the
// run, and keeps the files.
#include "crew.h"
#include "verdict.h"

#include "model/random.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <unistd.h>

namespace stress {
namespace {

struct Options {
    int seconds = 60;
    int processes = 0;  // 0: as the seed has it
    std::uint64_t seed = 1;
    std::vector<std::string> programs;
};

class Run {
  public:
    explicit Run(const Options &options) : options_(options), random_(options.seed) {}
    void run();

  private:
    std::string file(const char *name) const { return dir_ + "/" + name; }
    std::string base() const { return file("file"); }
    std::string log() const { return dir_ + "/log." + std::to_string(journal_->epoch); }
    void copyFiles(const std::string &from, const std::string &to);
    void beginLog();
    void compareRecovered(int dead);
    void judge(const char *when, bool killed = false);
    void event();
    void upkeep(Task task);
    void killOne();
    void forget(int dead);
    void print(double seconds);
    std::uint32_t sum(Counter counter) const;
    int anyone() { return random_.below(processes_); }

    const Options options_;
    model::Random random_;
    std::string dir_;
    Journal *journal_ = nullptr;
    Crew *crew_ = nullptr;
    int processes_ = 0;
    int kills_ = 0, killedInFlight_ = 0, killedInTransaction_ = 0, judged_ = 0, leakedTimes_ = 0;
    std::uint64_t logBytes_ = 0;
};

void Run::copyFiles(const std::string &from, const std::string &to) {
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::copy_file(from + kind, to + kind, std::filesystem::copy_options::overwrite_existing);
}

// From the files as they are now.
void Run::beginLog() {
    std::filesystem::remove(log());
    ++journal_->epoch;
    copyFiles(base(), file("start"));
}

// Recovery works under the name that the log has: the file itself steps aside meanwhile.
void Run::compareRecovered(int dead) {
    if (!std::filesystem::exists(log())) return;
    logBytes_ += std::filesystem::file_size(log());
    copyFiles(base(), file("aside"));
    copyFiles(file("start"), base());
    crew_->perform(anyone(), Task::Recover, dead);
    copyFiles(file("aside"), base());
}

// A kill may leave room that nothing has, until the file is written anew.
void Run::judge(const char *when, bool killed) {
    const std::string left = locksLeft(base());
    if (!left.empty()) fail(std::string(when) + ": " + left);
    std::string wrong = verdict(*journal_, base(), false);
    if (!wrong.empty() && (killed || journal_->leaks != 0)) {
        leakedTimes_ += journal_->leaks == 0;
        journal_->leaks = 1;
        wrong = verdict(*journal_, base(), true);
    } else {
        journal_->leaks = 0;
    }
    if (!wrong.empty()) fail(std::string(when) + ": " + wrong);
    ++judged_;
}

// Something that one process does alone. What the log can follow, it does while the others are still closing the file.
void Run::upkeep(Task task) {
    const int slot = anyone();
    if (task == Task::Check || task == Task::ChangeIndexes) {
        crew_->assign(slot, task);
        crew_->park();
        crew_->awaitTask();
    } else {
        crew_->park();
        compareRecovered(-1);
        crew_->perform(slot, task);
        beginLog();
    }
    judge(taskName(task));
    crew_->go();
}

// What the dead one had claimed and locked is nobody's any more.
void Run::forget(int dead) {
    const auto word = static_cast<std::uint32_t>(dead + 1);
    for (KeyEntry &entry : journal_->keys) {
        if ((entry.claim & 0xff) == word) {
            if (entry.sequence % 2 != 0) ++entry.sequence;
            entry.claim = 0;
        }
        if (entry.holder == word) entry.holder = 0;
    }
    journal_->seats[dead].flights = 0;
}

void Run::killOne() {
    const int dead = anyone();
    Crew::Moment when;
    const int drawn = random_.below(10);
    if (drawn < 5) {
        when.writes = 1 + random_.below(14);
    } else {
        when.inChange = drawn < 8;
        when.microseconds = random_.below(when.inChange ? 60 : 4000);
    }
    killedInTransaction_ += crew_->kill(dead, when);
    ++kills_;
    killedInFlight_ += journal_->seats[dead].flights != 0;
    const std::string left = locksLeft(base());
    if (!left.empty()) fail("after a kill: " + left);
    crew_->start(dead);
    crew_->park();
    // Files as they were left, for whoever looks for what went wrong.
    copyFiles(base(), file("killed"));
    compareRecovered(dead);
    crew_->perform(dead, Task::Mend, dead);
    forget(dead);
    judge("after a kill", true);
    beginLog();
    crew_->go();
}

void Run::event() {
    const int drawn = random_.below(100);
    if (drawn < 45)
        killOne();
    else if (drawn < 60)
        upkeep(Task::Check);
    else if (drawn < 82)
        upkeep(Task::ChangeIndexes);
    else if (drawn < 90)
        upkeep(Task::Rebuild);
    else
        upkeep(Task::Cluster);
}

void Run::run() {
    const char *root = std::getenv("TMPDIR");
    dir_ = std::string(root != nullptr && *root != '\0' ? root : "/tmp") + "/isamstress.XXXXXX";
    if (mkdtemp(dir_.data()) == nullptr) fail("mkdtemp " + dir_);
    journal_ = mapJournal(file("journal"), true);
    if (journal_ == nullptr) fail("the journal cannot be made");
    const int drawn = random_.between(4, kSlots);
    processes_ = options_.processes != 0 ? options_.processes : drawn;
    onFailure = [this] {
        std::fprintf(stderr, "seed %llu, %d processes; the files are in %s\n",
                     static_cast<unsigned long long>(options_.seed), processes_, dir_.c_str());
    };
    Crew crew(journal_, file("journal"), dir_, options_.programs, options_.seed);
    crew_ = &crew;
    crew.setSize(processes_);
    crew.onDeath = [this](pid_t pid) {
        const std::string left = locksLeft(base(), pid);
        if (!left.empty()) fail("after a kill: " + left);
    };
    journal_->phase = static_cast<std::uint32_t>(Phase::Park);
    for (int slot = 0; slot < processes_; ++slot)
        crew.start(slot);
    crew.perform(0, Task::Build);
    beginLog();
    const double begin = now(), end = begin + options_.seconds;
    const int longest = options_.seconds < 30 ? 900 : 1800;  // milliseconds between two events
    crew.go();
    double next = begin + 0.3;
    while (now() < end) {
        crew.watchFor(next < end ? next : end);
        if (now() >= end) break;
        event();
        next = now() + random_.between(longest / 6, longest) / 1e3;
    }
    crew.park();
    compareRecovered(-1);
    for (int slot = 0; slot < processes_; ++slot)
        crew.perform(slot, Task::Verify);
    crew.quit();
    judge("at the end");
    print(now() - begin);
    munmapJournal(journal_);
    std::filesystem::remove_all(dir_);
}

std::uint32_t Run::sum(Counter counter) const {
    std::uint32_t all = 0;
    for (const Seat &seat : journal_->seats)
        all += seat.counters[static_cast<int>(counter)];
    return all;
}

void Run::print(double seconds) {
    const auto of = [this](Counter counter) {
        return sum(counter);
    };
    int records = 0;
    for (const KeyEntry &entry : journal_->keys)
        records += entry.version != 0;
    std::printf(
        "stress: seed %llu, %.0f seconds, %d processes at a time, %d started, %d killed (%d of them within a change, "
        "%d in a transaction)\n",
        static_cast<unsigned long long>(options_.seed), seconds, processes_, crew_->started(), kills_, killedInFlight_,
        killedInTransaction_);
    std::printf(
        "calls: %u reading, %u writing, %u rewriting, %u deleting, %u locking, %u opening, %u of transactions, %u of "
        "upkeep\n",
        of(Counter::ReadCalls), of(Counter::WriteCalls), of(Counter::RewriteCalls), of(Counter::DeleteCalls),
        of(Counter::LockCalls), of(Counter::OpenCalls), of(Counter::TransactionCalls), of(Counter::MaintenanceCalls));
    std::printf(
        "%u records read and verified, %u of them against their last content; %u walks; %u waits, %u refusals for a "
        "lock, %u deadlocks told of, %u times all records locked, %u duplicates refused, %u opens, %u refused beside "
        "an exclusive one\n",
        of(Counter::RecordsVerified), of(Counter::RecordsExact), of(Counter::Walks), of(Counter::Waits),
        of(Counter::Refused), of(Counter::Deadlocks), of(Counter::WholeLocks), of(Counter::Duplicates),
        of(Counter::Opens), of(Counter::KeptOut));
    std::printf(
        "%u transactions committed, %u rolled back; %u recoveries from the log (%llu MB) agreed with the journal\n",
        of(Counter::Commits), of(Counter::Rollbacks), of(Counter::Recoveries),
        static_cast<unsigned long long>(logBytes_ >> 20));
    std::printf(
        "%u times one had the file alone: %u checks of everything, %u indexes added, %u dropped, %u rebuilt, %u "
        "clusters\n",
        of(Counter::Exclusive), of(Counter::Checks), of(Counter::IndexesAdded), of(Counter::IndexesDropped),
        of(Counter::IndexesRebuilt), of(Counter::Clusters));
    std::printf(
        "after the kills: %u times the file was sound, %u times mended by rebuilds, %u times by copying; %u records "
        "lost, all of them in flight; %d times room was lost, noticed by a check %u times; %u calls of the others "
        "stopped\n",
        of(Counter::SoundAfterKill), of(Counter::RebuiltAfterKill), of(Counter::CopiedAfterKill),
        of(Counter::LostInFlight), leakedTimes_, of(Counter::LeaksNoticed), of(Counter::StoppedCalls));
    std::printf("the files were read without the library %d times; at the end %d records; findings: %u\n", judged_,
                records, journal_->findings.load());
}

bool parseOptions(int argc, char **argv, Options *options) {
    for (int i = 1; i < argc; ++i) {
        const std::string word = argv[i];
        const auto number = [&] {
            return i + 1 < argc ? std::strtoull(argv[++i], nullptr, 10) : 0;
        };
        if (word == "--seconds")
            options->seconds = static_cast<int>(number());
        else if (word == "--long")
            options->seconds = 1800;
        else if (word == "--processes")
            options->processes = static_cast<int>(number());
        else if (word == "--seed")
            options->seed = number();
        else if (word.rfind("--", 0) == 0)
            return false;
        else
            options->programs.push_back(word);
    }
    return !options->programs.empty() && options->seconds > 0 && options->processes >= 0 && options->processes != 1 &&
           options->processes <= kSlots;
}

}  // namespace
}  // namespace stress

int main(int argc, char **argv) {
    stress::Options options;
    if (!stress::parseOptions(argc, argv, &options)) {
        std::fprintf(stderr,
                     "usage: stress_run [--seconds N] [--long] [--processes 2..8] [--seed S] WORKER [WORKER]\n");
        return 2;
    }
    stress::Run(options).run();
    return 0;
}
