#include "tools/other_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <isam.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool_tests {

namespace {

constexpr int kPatienceMs = 10'000;

std::array<int, 2> makePipe() {
    std::array<int, 2> ends;
    if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
    return ends;
}

int waitFor(pid_t &pid) {
    int status = 0;
    while (waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    pid = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Holder::Holder(const std::function<void()> &work, const std::function<void()> &more) {
    const auto orders = makePipe();
    const auto answers = makePipe();
    pid_ = fork();
    if (pid_ == 0) {
        close(orders[1]);
        close(answers[0]);
        work();
        char letter = 0;
        if (write(answers[1], &letter, 1) != 1) _exit(1);
        while (read(orders[0], &letter, 1) == 1) {
            if (more) more();
        }
        iscleanup();
        _exit(0);
    }
    close(orders[0]);
    close(answers[1]);
    orders_ = orders[1];
    answers_ = answers[0];
    char letter;
    while (read(answers_, &letter, 1) < 0 && errno == EINTR) {
    }
}

Holder::~Holder() {
    close(orders_);
    close(answers_);
    kill(pid_, SIGKILL);
    waitFor(pid_);
}

void Holder::goOn() {
    const char letter = 0;
    if (write(orders_, &letter, 1) != 1) std::abort();
}

Running::Running(const std::vector<std::string> &arguments) {
    const auto output = makePipe();
    pid_ = fork();
    if (pid_ == 0) {
        dup2(output[1], STDOUT_FILENO);
        std::vector<char *> argv;
        for (const std::string &argument : arguments)
            argv.push_back(const_cast<char *>(argument.c_str()));
        argv.push_back(nullptr);
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(output[1]);
    output_ = output[0];
}

Running::~Running() {
    close(output_);
    if (pid_ < 0) return;
    kill(pid_, SIGKILL);
    waitFor(pid_);
}

std::string Running::line() {
    for (;;) {
        const std::size_t end = read_.find('\n');
        if (end != std::string::npos) {
            const std::string line = read_.substr(0, end);
            read_.erase(0, end + 1);
            return line;
        }
        pollfd ready = {output_, POLLIN, 0};
        if (poll(&ready, 1, kPatienceMs) == 0) return "(nothing)";
        std::array<char, 4096> bytes;
        const ssize_t got = ::read(output_, bytes.data(), bytes.size());
        if (got <= 0) return "(end)";
        read_.append(bytes.data(), static_cast<std::size_t>(got));
    }
}

void Running::interrupt(int signal) const { kill(pid_, signal); }

int Running::wait() { return waitFor(pid_); }

}  // namespace tool_tests
