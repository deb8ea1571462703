#include "crew.h"

#include <csignal>
#include <ctime>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>

namespace stress {
namespace {

constexpr double kSilence = 120;  // seconds without a call: the process hangs

void moment() {
    const timespec time{0, 300000};
    nanosleep(&time, nullptr);
}

}  // namespace

std::function<void()> onFailure;

double now() {
    timespec time{};
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void fail(const std::string &what) {
    std::fprintf(stderr, "stress_run: %s\n", what.c_str());
    if (onFailure) onFailure();
    std::exit(1);
}

Crew::Crew(Journal *journal, const std::string &journalPath, const std::string &dir,
           const std::vector<std::string> &programs, std::uint64_t seed)
    : journal_(journal), journalPath_(journalPath), dir_(dir), programs_(programs), seed_(seed), pids_(kSlots, 0),
      beats_(kSlots, 0), beatTimes_(kSlots, 0) {}

Crew::~Crew() {
    for (const pid_t pid : pids_)
        if (pid > 0) {
            ::kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
        }
}

void Crew::start(int slot) {
    const std::string &program = programs_[static_cast<std::size_t>(started_ + slot) % programs_.size()];
    const std::string place = std::to_string(slot), seed = std::to_string(seed_ * 1000003 + ++started_);
    Seat &own = seat(slot);
    own.parked = 0;
    own.holds = 0;
    own.inTransaction = 0;
    own.mapped = 0;
    const pid_t driver = getpid();
    const pid_t pid = fork();
    if (pid < 0) fail("fork");
    if (pid == 0) {
        // Nothing is left behind when the driver itself is ended.
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        if (getppid() != driver) _exit(127);
        execl(program.c_str(), program.c_str(), journalPath_.c_str(), place.c_str(), dir_.c_str(), seed.c_str(),
              static_cast<char *>(nullptr));
        std::perror(program.c_str());
        _exit(127);
    }
    // The log tells processes apart by 16 bits of their ids.
    for (const pid_t other : pids_)
        if (other > 0 && (other - pid) % 0x10000 == 0) {
            ::kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            return start(slot);
        }
    pids_[static_cast<std::size_t>(slot)] = pid;
    own.pid = static_cast<std::uint32_t>(pid);
    beatTimes_[static_cast<std::size_t>(slot)] = now();
}

void Crew::watch() {
    for (int slot = 0; slot < size_; ++slot) {
        const auto at = static_cast<std::size_t>(slot);
        if (pids_[at] <= 0) continue;
        int status = 0;
        if (waitpid(pids_[at], &status, WNOHANG) == pids_[at]) {
            pids_[at] = 0;
            fail("process " + std::to_string(slot) + " has ended with status " + std::to_string(status));
        }
        const std::uint32_t beat = seat(slot).heartbeat;
        if (beat != beats_[at]) {
            beats_[at] = beat;
            beatTimes_[at] = now();
        } else if (now() - beatTimes_[at] > kSilence) {
            const std::uint32_t doing = seat(slot).doing;
            fail("process " + std::to_string(slot) + " hangs: it does " + std::to_string(doing >> 16) + " with key " +
                 std::to_string(doing & 0xffff) + "\n" + extract(*journal_, -1, 60));
        }
    }
}

void Crew::until(const char *what, const std::function<bool()> &so) {
    const double begin = now();
    while (!so()) {
        watch();
        if (now() - begin > 5 * kSilence) fail(std::string("waited too long for ") + what);
        moment();
    }
}

void Crew::watchFor(double end) {
    while (now() < end) {
        watch();
        const timespec time{0, 2000000};
        nanosleep(&time, nullptr);
    }
}

void Crew::park() {
    journal_->phase = static_cast<std::uint32_t>(Phase::Park);
    until("a pause", [this] {
        for (int slot = 0; slot < size_; ++slot)
            if (pids_[static_cast<std::size_t>(slot)] > 0 && seat(slot).parked != 1) return false;
        return true;
    });
}

void Crew::go() { journal_->phase = static_cast<std::uint32_t>(Phase::Run); }

void Crew::assign(int slot, Task task, int doubtful) {
    journal_->taskArgument = static_cast<std::uint32_t>(doubtful + 1);
    journal_->taskSeat = static_cast<std::uint32_t>(slot + 1);
    journal_->task = static_cast<std::uint32_t>(task);
}

void Crew::awaitTask() {
    until("a task", [this] { return journal_->task == 0; });
}

void Crew::perform(int slot, Task task, int doubtful) {
    assign(slot, task, doubtful);
    awaitTask();
}

// The others finish their transactions first: a rollback must not be kept from the file half way. From then on nobody
// but the victim starts on the file.
bool Crew::kill(int slot, const Moment &when) {
    constexpr double kPatience = 0.3;  // seconds
    const auto at = static_cast<std::size_t>(slot);
    const auto word = static_cast<std::uint32_t>(slot + 1);
    journal_->draining = word;
    until("transactions to end", [this, slot] {
        for (int other = 0; other < size_; ++other)
            if (other != slot && seat(other).inTransaction != 0) return false;
        return true;
    });
    journal_->writesLeft = static_cast<std::uint32_t>(when.writes);
    journal_->quarantine = word;
    const double latest = now() + kPatience;
    int status = 0;
    pid_t ended = 0;
    while (when.writes != 0 && ended == 0 && now() < latest)
        ended = waitpid(pids_[at], &status, WNOHANG);
    while (when.inChange && seat(slot).flights == 0 && now() < latest) {
    }
    const double end = now() + when.microseconds / 1e6;
    while (now() < end) {
    }
    if (ended == 0) {
        // One that copies into the files may be killed between two copies only.
        ::kill(pids_[at], seat(slot).mapped != 0 ? SIGTERM : SIGKILL);
        waitpid(pids_[at], &status, 0);
    }
    journal_->writesLeft = 0;
    if (!WIFSIGNALED(status)) fail("process " + std::to_string(slot) + " ended by itself: " + std::to_string(status));
    onDeath(pids_[at]);
    pids_[at] = 0;
    seat(slot).pid = 0;
    seat(slot).holds = 0;
    const bool inTransaction = seat(slot).inTransaction != 0;
    seat(slot).inTransaction = 0;
    park();
    if (journal_->exclusive == word) journal_->exclusive = 0;
    if (journal_->whole == word) {
        journal_->wholeHas = 0;
        journal_->whole = 0;
    }
    journal_->quarantine = 0;
    journal_->draining = 0;
    return inTransaction;
}

void Crew::quit() {
    journal_->phase = static_cast<std::uint32_t>(Phase::Quit);
    for (int slot = 0; slot < size_; ++slot) {
        const auto at = static_cast<std::size_t>(slot);
        if (pids_[at] <= 0) continue;
        int status = 0;
        waitpid(pids_[at], &status, 0);
        pids_[at] = 0;
        if (status != 0) fail("process " + std::to_string(slot) + " ended with status " + std::to_string(status));
    }
}

}  // namespace stress
