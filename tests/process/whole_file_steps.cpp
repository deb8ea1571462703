#include "whole_file_steps.h"

#include "lock_spy.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdarg>
#include <cstdlib>
#include <cstring>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace process_testing {

namespace {

struct Message {
    bool over;
    int result;
    char at[300];
};

// The side of the stepped process: the ends of its pipes, and whether it is stepping.
int tell = -1, listen = -1;
bool stepping = false;

template <typename Function> Function system(const char *name, const char *other = nullptr) {
    void *symbol = dlsym(RTLD_NEXT, name);
    if (symbol == nullptr && other != nullptr) symbol = dlsym(RTLD_NEXT, other);
    return reinterpret_cast<Function>(symbol);
}

void say(const Message &message) {
    if (write(tell, &message, sizeof message) != sizeof message) _exit(3);
}

// Returns false when the call is to fail, errno set.
bool stop(const char *what, const char *name = nullptr) {
    if (!stepping) return true;
    const int error = errno;
    stepping = false;
    Message message = {};
    std::snprintf(message.at, sizeof message.at, name != nullptr ? "%s %s" : "%s", what, name);
    say(message);
    int failure;
    if (read(listen, &failure, sizeof failure) != sizeof failure) _exit(3);
    stepping = true;
    errno = failure != 0 ? failure : error;
    return failure == 0;
}

[[noreturn]] void work(const std::function<int(const SteppedProcess::Begin &)> &steps) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    Message last = {true, 0, {}};
    last.result = steps([] {
        lockSpy.done = [](const LockCall &) {
            stop("lock");
        };
        stepping = true;
        stop("begin");
    });
    stepping = false;
    say(last);
    _exit(0);
}

}  // namespace

SteppedProcess::SteppedProcess(const std::function<int(const Begin &)> &steps) {
    int up[2], down[2];
    if (pipe2(up, O_CLOEXEC) != 0 || pipe2(down, O_CLOEXEC) != 0) std::abort();
    pid_ = fork();
    if (pid_ < 0) std::abort();
    if (pid_ == 0) {
        close(up[0]);
        close(down[1]);
        tell = up[1];
        listen = down[0];
        work(steps);
    }
    close(up[1]);
    close(down[0]);
    heard_ = up[0];
    told_ = down[1];
    // The stop where the work begins.
    step();
}

SteppedProcess::~SteppedProcess() {
    kill();
    close(heard_);
    close(told_);
}

bool SteppedProcess::step(int failure) {
    if (over_) return false;
    if (!at_.empty() && write(told_, &failure, sizeof failure) != sizeof failure)
        ADD_FAILURE() << "the stepped process is gone";
    Message message;
    ssize_t got;
    do
        got = read(heard_, &message, sizeof message);
    while (got < 0 && errno == EINTR);
    if (got != sizeof message) {
        ADD_FAILURE() << "the stepped process ended at: " << at_;
        over_ = true;
        return false;
    }
    over_ = message.over;
    result_ = message.result;
    at_ = message.at;
    return !over_;
}

bool SteppedProcess::stepTo(const std::string &beginning) {
    while (step())
        if (at_.compare(0, beginning.size(), beginning) == 0) return true;
    return false;
}

int SteppedProcess::finish() {
    while (step()) {
    }
    return result_;
}

void SteppedProcess::kill() {
    if (pid_ < 0) return;
    ::kill(pid_, SIGKILL);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    over_ = true;
}

}  // namespace process_testing

// Between the library and the system, as for lock calls.
extern "C" {

int open(const char *path, int flags, ...) {
    using namespace process_testing;
    va_list arguments;
    va_start(arguments, flags);
    const auto mode = (flags & O_CREAT) != 0 ? va_arg(arguments, mode_t) : mode_t{0};
    va_end(arguments);
    static const auto real = system<int (*)(const char *, int, ...)>("open64", "open");
    if (!stop("open", path)) return -1;
    return real(path, flags, mode);
}

int link(const char *from, const char *to) noexcept {
    using namespace process_testing;
    static const auto real = system<int (*)(const char *, const char *)>("link");
    if (!stop("link", to)) return -1;
    return real(from, to);
}

int unlink(const char *path) noexcept {
    using namespace process_testing;
    static const auto real = system<int (*)(const char *)>("unlink");
    if (!stop("unlink", path)) return -1;
    return real(path);
}

int rename(const char *from, const char *to) noexcept {
    using namespace process_testing;
    static const auto real = system<int (*)(const char *, const char *)>("rename");
    if (!stop("rename", to)) return -1;
    return real(from, to);
}

ssize_t pwrite(int fd, const void *buffer, size_t size, off_t offset) {
    using namespace process_testing;
    static const auto real = system<ssize_t (*)(int, const void *, size_t, off_t)>("pwrite64", "pwrite");
    if (!stop("write")) return -1;
    return real(fd, buffer, size, offset);
}

ssize_t pread(int fd, void *buffer, size_t size, off_t offset) {
    using namespace process_testing;
    static const auto real = system<ssize_t (*)(int, void *, size_t, off_t)>("pread64", "pread");
    if (!stop("read")) return -1;
    return real(fd, buffer, size, offset);
}
}
