// A process of the stress: stress_worker JOURNAL SLOT DIRECTORY SEED, started by stress_run.
#include "worker.h"

#include <cstdio>
#include <cstdlib>

int main(int argc, char **argv) {
    if (argc != 5) return 2;
    stress::Journal *journal = stress::mapJournal(argv[1], false);
    if (journal == nullptr) return 2;
    return stress::Worker(journal, std::atoi(argv[2]), argv[3], std::strtoull(argv[4], nullptr, 10)).run();
}
