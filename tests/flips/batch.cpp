#include "flips/batch.h"

#include <sys/mman.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace flips {
namespace {

constexpr int kTickSeconds = 2;  // of processor time; no call takes as much
constexpr int kStoppedStatus = 1, kEndlessStatus = 3;

Progress *watched = nullptr;
long callsAtTick = -1;

void noteStop(char *message) {
    watched->stopped = true;
    std::strncpy(watched->message, message, sizeof watched->message - 1);
}

// A call that is still the same one a tick later has no end.
void tick(int) {
    if (watched->calls == callsAtTick) _exit(kEndlessStatus);
    callsAtTick = watched->calls;
}

void startClock() {
    callsAtTick = -1;
    std::signal(SIGPROF, tick);
    const itimerval every = {{kTickSeconds, 0}, {kTickSeconds, 0}};
    setitimer(ITIMER_PROF, &every, nullptr);
}

bool isNamedStop(const std::string &message) {
    return message.rfind("fatal isam error ", 0) == 0 || message.rfind("isam crash [", 0) == 0;
}

[[noreturn]] void playFrom(Progress *progress, long items, int scenes, int mostStops, std::set<int> skipped,
                           const Play &play, const Place &place) {
    isfatal(noteStop);
    startClock();
    for (; progress->item < items; ++progress->item, progress->scene = 0) {
        for (; progress->scene < scenes; ++progress->scene, skipped.clear()) {
            if (static_cast<int>(skipped.size()) >= mostStops) continue;
            Session session(progress, skipped, place(progress->item, progress->scene));
            play(progress->item, progress->scene, session);
        }
    }
    std::fflush(nullptr);
    _exit(0);
}

}  // namespace

void *sharedMemory(std::size_t size) {
    void *const memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) std::abort();
    return memory;
}

BatchResult playBatch(Progress *progress, long items, int scenes, int mostStops, const Play &play, const Place &place) {
    BatchResult result;
    watched = progress;
    // Reads the list of errors here, not in each process.
    isDocumented("", 0);
    progress->item = progress->scene = 0;
    std::set<int> skipped;
    long skippedItem = -1;
    int skippedScene = -1;
    const long problems = progress->problems;
    while (progress->item < items) {
        if (progress->item != skippedItem || progress->scene != skippedScene) skipped.clear();
        progress->stopped = false;
        std::fflush(nullptr);
        const pid_t child = fork();
        if (child == 0) playFrom(progress, items, scenes, mostStops, skipped, play, place);
        int status = -1;
        waitpid(child, &status, 0);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 0) break;
        const bool stop = WIFEXITED(status) && WEXITSTATUS(status) == kStoppedStatus && progress->stopped &&
                          isNamedStop(progress->message);
        if (progress->item != skippedItem || progress->scene != skippedScene) skipped.clear();
        skippedItem = progress->item;
        skippedScene = progress->scene;
        skipped.insert(progress->step);
        if (static_cast<int>(skipped.size()) == mostStops) ++result.givenUp;
        if (stop) {
            ++result.stops[progress->message];
            continue;
        }
        result.sound = false;
        std::printf("%s step %d, %s: %s, status 0x%x %s\n", place(progress->item, progress->scene).c_str(),
                    progress->step, progress->call,
                    WIFEXITED(status) && WEXITSTATUS(status) == kEndlessStatus ? "has no end" : "ends the process",
                    static_cast<unsigned>(status), progress->stopped ? progress->message : "");
    }
    result.sound = result.sound && progress->problems == problems;
    return result;
}

}  // namespace flips
