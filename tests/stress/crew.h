// The processes of a run, as the driver sees them.
#ifndef TESTS_STRESS_CREW_H
#define TESTS_STRESS_CREW_H

#include "journal.h"

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace stress {

class Crew {
  public:
    // programs: the workers' paths, used in turns.
    Crew(Journal *journal, const std::string &journalPath, const std::string &dir,
         const std::vector<std::string> &programs, std::uint64_t seed);
    ~Crew();

    void start(int slot);
    // All of them close the file and wait.
    void park();
    void go();
    // One of them does something alone.
    void perform(int slot, Task task, int doubtful = -1);
    void assign(int slot, Task task, int doubtful = -1);
    void awaitTask();
    // When one is killed: before so many writes to files (0: whatever it does), in a change, so much later.
    struct Moment {
        int writes = 0;
        bool inChange = false;
        int microseconds = 0;
    };
    // Kills one, and lets the others wait. True when it was in a transaction.
    bool kill(int slot, const Moment &when);
    void quit();

    // Called when one has been killed, while the others still have the file open.
    std::function<void(pid_t)> onDeath;

    void setSize(int size) { size_ = size; }
    int started() const { return started_; }
    // Ends the run with a finding when a process has ended, or does nothing any more.
    void watch();
    void watchFor(double end);
    // Waits until something is so, and watches meanwhile.
    void until(const char *what, const std::function<bool()> &so);

  private:
    Seat &seat(int slot) { return journal_->seats[slot]; }

    Journal *journal_;
    const std::string journalPath_, dir_;
    const std::vector<std::string> programs_;
    std::uint64_t seed_;
    int size_ = 0;
    int started_ = 0;
    std::vector<pid_t> pids_;
    std::vector<std::uint32_t> beats_;
    std::vector<double> beatTimes_;
};

double now();  // seconds
// Ends the run: prints what was found, keeps the files.
[[noreturn]] void fail(const std::string &what);
// What to do before the run ends so.
extern std::function<void()> onFailure;

}  // namespace stress

#endif
