// Standard streams, exhausted memory, full disks and broken locks: each in a process of its own.

#include "api_test.h"

#include "../support/file_check.h"

#include <fcntl.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstddef>
#include <functional>

namespace api {
namespace {

#if defined(__SANITIZE_ADDRESS__)
constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
constexpr bool kSanitized = true;
#else
constexpr bool kSanitized = false;
#endif
#else
constexpr bool kSanitized = false;
#endif

struct Outcome {
    int status = -1;  // exit status, or 1000 + signal
    std::string output;
};

// Runs body in a child with its standard output caught; what body returns is the exit status.
Outcome inChild(const std::function<int()> &body) {
    int link[2];
    EXPECT_EQ(pipe(link), 0);
    fflush(nullptr);
    const pid_t pid = fork();
    if (pid == 0) {
        dup2(link[1], STDOUT_FILENO);
        close(link[0]);
        close(link[1]);
        const int status = body();
        fflush(nullptr);
        _exit(status);
    }
    close(link[1]);
    Outcome outcome;
    char piece[512];
    for (ssize_t got; (got = read(link[0], piece, sizeof piece)) > 0;)
        outcome.output.append(piece, static_cast<std::size_t>(got));
    close(link[0]);
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : 1000 + WTERMSIG(status);
    return outcome;
}

// From now on the waiting lock requests of this process are refused as if held by somebody for ever.
bool refuseWaitingLocks() {
#ifdef SYS_fcntl64
    constexpr unsigned kCall = SYS_fcntl64, kWait = F_SETLKW64;
#else
    constexpr unsigned kCall = SYS_fcntl, kWait = F_SETLKW;
#endif
    sock_filter code[] = {
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kCall, 0, 3),
        BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, args[1])),
        BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, kWait, 0, 1),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EACCES),
        BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
    };
    sock_fprog program = {static_cast<unsigned short>(std::size(code)), code};
    return prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) == 0 && prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &program) == 0;
}

constexpr int kNoFilters = 77;

using System = ApiTest;

TEST_F(System, ClosedStandardStreamsAreNeverUsedForFiles) {
    EXPECT_OK(isclose(fill({1})));
    const std::string name = base(), other = path("other");
    const Outcome outcome = inChild([&] {
        close(0);
        close(1);
        close(2);
        const int fd = isopen(name.c_str(), ISINOUT);
        if (fd != 0 || isqv_idxfd(fd) < 3 || isqv_datfd(fd) < 3) return 2;
        KeyDesc key = idKey();
        const int built = isbuild(other.c_str(), kRowLen, &key, ISINOUT);
        if (built < 0 || isqv_idxfd(built) < 3 || isqv_datfd(built) < 3) return 3;
        for (int stream = 0; stream < 3; ++stream)
            if (fcntl(stream, F_GETFD) != -1) return 4;
        if ((fcntl(isqv_idxfd(built), F_GETFD) & FD_CLOEXEC) == 0) return 5;
        if (iswrite(fd, row(2)) != 0 || iswrite(built, row(1)) != 0) return 6;
        return isclose(fd) == 0 && isclose(built) == 0 ? 0 : 7;
    });
    EXPECT_EQ(outcome.status, 0);
    EXPECT_EQ(idsOf(open()), (Ids{1, 2}));
}

TEST_F(System, RefusedPhaseLockStopsTheProcessWithAMessage) {
    EXPECT_OK(isclose(fill({1})));
    const std::string name = base();
    for (const bool writing : {false, true}) {
        const Outcome outcome = inChild([&] {
            const int fd = isopen(name.c_str(), ISINOUT);
            if (!refuseWaitingLocks()) return kNoFilters;
            Row got;
            if (writing)
                iswrite(fd, row(2));
            else
                isread(fd, got, ISFIRST);
            return 9;
        });
        if (outcome.status == kNoFilters) return;  // no system call filters here
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.output, writing ? "fatal isam error islock.c(113)\n" : "fatal isam error islock.c(97)\n");
    }
}

TEST_F(System, CallbackIsShownTheMessageAndTheProcessEndsAllTheSame) {
    EXPECT_OK(isclose(fill({1})));
    const std::string name = base();
    const Outcome outcome = inChild([&] {
        const int fd = isopen(name.c_str(), ISINOUT);
        isfatal([](char *message) { printf("told: %s", message); });
        if (!refuseWaitingLocks()) return kNoFilters;
        Row got;
        isread(fd, got, ISFIRST);
        return 9;
    });
    if (outcome.status == kNoFilters) return;  // no system call filters here
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "told: fatal isam error islock.c(97)");
}

TEST_F(System, NullCallbackRestoresTheMessage) {
    EXPECT_OK(isclose(fill({1})));
    const std::string name = base();
    const Outcome outcome = inChild([&] {
        const int fd = isopen(name.c_str(), ISINOUT);
        isfatal([](char *) { printf("told"); });
        isfatal(nullptr);
        if (!refuseWaitingLocks()) return kNoFilters;
        Row got;
        isread(fd, got, ISFIRST);
        return 9;
    });
    if (outcome.status == kNoFilters) return;  // no system call filters here
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output, "fatal isam error islock.c(97)\n");
}

TEST_F(System, ExhaustedMemoryStopsTheProcess) {
    if (kSanitized) return;  // the sanitizer has its own idea of exhausted memory
    EXPECT_OK(isclose(build(ISINOUT, idKey(), 65535)));
    const std::string name = base();
    const Outcome outcome = inChild([&] {
        const rlimit none = {1, 1};
        if (setrlimit(RLIMIT_AS, &none) != 0) return 3;
        for (int i = 0; i < 10000; ++i)
            if (isopen(name.c_str(), ISINPUT) < 0) return 4;
        return 9;
    });
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.output.rfind("fatal isam error ismemory(", 0), 0U) << outcome.output;
    EXPECT_EQ(outcome.output.substr(outcome.output.size() - 2), ")\n");
}

// Runs body with files limited to their present size or a little more.
int onFullDisk(rlim_t limit, const std::function<int()> &body) {
    signal(SIGXFSZ, SIG_IGN);
    const rlimit full = {limit, RLIM_INFINITY};
    if (setrlimit(RLIMIT_FSIZE, &full) != 0) return 60;
    const int status = body();
    const rlimit unlimited = {RLIM_INFINITY, RLIM_INFINITY};
    setrlimit(RLIMIT_FSIZE, &unlimited);
    return status;
}

TEST_F(System, FailedWriteIsTheSystemsErrorAndLeavesTheRecordOut) {
    EXPECT_OK(isclose(fill({1, 2})));
    const std::string name = base();
    const Outcome outcome = inChild([&] {
        const int fd = isopen(name.c_str(), ISINOUT);
        const int status = onFullDisk(2 * (kRowLen + 1), [&] {
            if (iswrite(fd, row(3)) != -1) return 2;
            return iserrno == EFBIG && iserrio == 0x52 ? 0 : 3;
        });
        if (status != 0) return status;
        if (idsOf(fd) != Ids{1, 2}) return 4;
        if (iswrite(fd, row(4)) != 0 || isrecnum != 3) return 5;
        return 0;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.output;
    EXPECT_EQ(idsOf(open()), (Ids{1, 2, 4}));
}

TEST_F(System, IndexThatFindsTheDiskFullIsTakenBack) {
    int fd = build();
    for (int id = 1; id <= 400; ++id)
        ASSERT_OK(iswrite(fd, row(id, std::to_string(id), id % 7)));
    EXPECT_OK(isclose(fd));
    const rlim_t size = contents(path("file.idx")).size();
    const std::string name = base();
    for (const rlim_t room : {rlim_t{0}, rlim_t{1}, rlim_t{2}, rlim_t{5}}) {
        SCOPED_TRACE(room);
        const Outcome outcome = inChild([&] {
            const int child = isopen(name.c_str(), ISINOUT);
            const int status = onFullDisk(size + room * 1024, [&] {
                KeyDesc key = nameKey();
                if (isaddindex(child, &key) != -1) return 2;
                return iserrno == EFBIG && iserrio == 0x51 ? 0 : 3;
            });
            if (status != 0) return status;
            DictInfo info;
            if (isisaminfo(child, &info) != 0 || info.keyCount != 1) return 4;
            KeyDesc key = nameKey();
            Row unused;
            if (isstart(child, &key, 0, unused, ISFIRST) != -1 || iserrno != ISERR_KEYDESC) return 5;
            return idsOf(child).size() == 400 ? 0 : 6;
        });
        EXPECT_EQ(outcome.status, 0) << outcome.output;
        // Bytes behind the last node may stay; the nodes to come overwrite them.
        const testing_support::CheckReport report = testing_support::checkFiles(base());
        for (const std::string &problem : report.problems)
            EXPECT_EQ(problem.rfind("index file: ", 0), 0U) << problem;
    }
    fd = open();
    KeyDesc key = nameKey();
    EXPECT_OK(isaddindex(fd, &key));
    EXPECT_EQ(idsBy(fd, nameKey()).size(), 400U);
}

TEST_F(System, TooManyDescriptorsAreTheSystemsErrorAndNothingIsLost) {
    EXPECT_OK(isclose(fill({1})));
    const std::string name = base();
    const Outcome outcome = inChild([&] {
        const int used = openDescriptors();
        // Room for one more descriptor, then for none.
        int next = dup(1);
        close(next);
        for (const int room : {1, 0}) {
            const rlimit few = {static_cast<rlim_t>(next + room), static_cast<rlim_t>(4096)};
            setrlimit(RLIMIT_NOFILE, &few);
            if (isopen(name.c_str(), ISINOUT) != -1 || iserrno != EMFILE || iserrio != (room == 1 ? 0x12 : 0x11))
                return 2 + room;
        }
        const rlimit many = {1024, 4096};
        setrlimit(RLIMIT_NOFILE, &many);
        if (openDescriptors() != used) return 4;
        return isopen(name.c_str(), ISINOUT) == 0 ? 0 : 5;
    });
    EXPECT_EQ(outcome.status, 0) << outcome.output;
}

}  // namespace
}  // namespace api
