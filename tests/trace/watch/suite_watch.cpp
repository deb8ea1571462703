// Every test runs under the watch, and so do the processes that it forks: a test fails when a rule was broken in any of
// them. Linked into each program as an object: nothing refers to it.
#include "trace/watch/file_watch.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace trace {

// Another definition, in a program that tests single modules, switches the rules about reads and writes off.
[[gnu::weak]] bool modulesAlone() { return false; }

namespace {

// What has been seen, shared with the children. Children that are killed leave it whole: the counter goes up when a
// text is complete.
struct Findings {
    static constexpr unsigned kRoom = 8, kTextSize = 1000;
    std::atomic<unsigned> count;
    char texts[kRoom][kTextSize];
};

Findings *findings() {
    static Findings *const shared = [] {
        void *const memory = mmap(nullptr, sizeof(Findings), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED) std::abort();
        return static_cast<Findings *>(memory);
    }();
    return shared;
}

const pid_t firstProcess = getpid();

void note(const std::string &text) {
    const unsigned number = findings()->count.fetch_add(1);
    if (number < Findings::kRoom)
        std::snprintf(findings()->texts[number], Findings::kTextSize, "%s%s", text.c_str(),
                      getpid() == firstProcess ? "" : " [in a child]");
    // A child that outlives its test is not asked any more.
    if (getpid() != firstProcess) std::fprintf(stderr, "%s\n", text.c_str());
}

FileWatch *watch() {
    static FileWatch *const made = new FileWatch(note);
    return made;
}

class Listener : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override { findings()->count = 0; }

    void OnTestEnd(const testing::TestInfo &) override {
        if (getpid() != firstProcess) return;
        watch()->expectNoPhaseLock();
        const unsigned count = findings()->count;
        for (unsigned i = 0; i < count && i < Findings::kRoom; ++i)
            ADD_FAILURE() << findings()->texts[i];
        if (count > Findings::kRoom) ADD_FAILURE() << "and " << count - Findings::kRoom << " more of these";
    }
};

const bool installed = [] {
    findings();
    if (modulesAlone()) watch()->allowUnlocked();
    shim::observe(watch());
    pthread_atfork(nullptr, nullptr, [] { watch()->forgetLocks(); });
    testing::UnitTest::GetInstance()->listeners().Append(new Listener);
    return true;
}();

}  // namespace
}  // namespace trace
