// A process of the stress: stress_worker JOURNAL SLOT DIRECTORY SEED, started by stress_run.
#include "worker.h"

#include "base/isglobal.h"

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <sys/time.h>
#include <unistd.h>

namespace {

// A process that works on the files through memory dies where no copy is under way: half of one costs more than what
// is in flight (docs/durability.md).
void die(int) {
    if (isProcess.busWatch.base == nullptr) kill(getpid(), SIGKILL);
    const itimerval soon = {{0, 0}, {0, 20}};
    setitimer(ITIMER_REAL, &soon, nullptr);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 5) return 2;
    std::signal(SIGTERM, die);
    std::signal(SIGALRM, die);
    stress::Journal *journal = stress::mapJournal(argv[1], false);
    if (journal == nullptr) return 2;
    return stress::Worker(journal, std::atoi(argv[2]), argv[3], std::strtoull(argv[4], nullptr, 10)).run();
}
