#include "child.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/wait.h>
#include <csignal>
#include <unistd.h>

namespace bench {
namespace {

volatile std::sig_atomic_t ending = 0;

void end(int) { ending = 1; }

void become(const std::string &program, const std::vector<std::string> &words, const std::string &directory, int out) {
    std::vector<char *> arguments = {const_cast<char *>(program.c_str())};
    for (const std::string &word : words)
        arguments.push_back(const_cast<char *>(word.c_str()));
    arguments.push_back(nullptr);
    // A group of its own: what it starts ends with it.
    setpgid(0, 0);
    if (dup2(out, STDOUT_FILENO) < 0 || chdir(directory.c_str()) != 0) _exit(126);
    execv(program.c_str(), arguments.data());
    _exit(127);
}

// What the child prints until it ends; false when that takes too long.
bool collect(int in, int seconds, std::string &text) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    char bytes[4096];
    for (;;) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        pollfd wait = {in, POLLIN, 0};
        if (left <= 0 || ending != 0) return false;
        if (poll(&wait, 1, static_cast<int>(left)) <= 0) continue;
        const ssize_t count = read(in, bytes, sizeof bytes);
        if (count <= 0) return true;
        text.append(bytes, static_cast<std::size_t>(count));
    }
}

void parse(const std::string &text, ChildReport &report) {
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        std::istringstream fields(line);
        std::string kind, what, clock, processor, operations;
        std::getline(fields, kind, '\t');
        std::getline(fields, what, '\t');
        if (kind == "failed") report.failure += (report.failure.empty() ? "" : "; ") + what;
        if (kind != "result") continue;
        std::getline(fields, clock, '\t');
        std::getline(fields, processor, '\t');
        std::getline(fields, operations, '\t');
        const Cost cost = {std::strtod(clock.c_str(), nullptr), std::strtod(processor.c_str(), nullptr)};
        report.lines.push_back({what, cost, std::strtoull(operations.c_str(), nullptr, 10)});
    }
}

}  // namespace

void endOnSignals() {
    struct sigaction action = {};
    action.sa_handler = end;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        sigaction(signal, &action, nullptr);
}

ChildReport runChild(const std::string &program, const std::vector<std::string> &words, const std::string &directory,
                     int seconds) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) throw Failure("pipe");
    const pid_t child = fork();
    if (child < 0) throw Failure("fork");
    if (child == 0) become(program, words, directory, ends[1]);
    close(ends[1]);
    std::string text;
    ChildReport report;
    report.late = !collect(ends[0], seconds, text);
    if (report.late) kill(-child, SIGKILL);
    close(ends[0]);
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (ending != 0) throw Failure("ended by a signal");
    report.late = report.late || (WIFSIGNALED(status) && WTERMSIG(status) == SIGXCPU);
    parse(text, report);
    if (report.late)
        report.failure = "it took too long";
    else if (report.failure.empty() && WIFSIGNALED(status))
        report.failure = "ended by signal " + std::to_string(WTERMSIG(status));
    else if (report.failure.empty() && status != 0)
        report.failure = "ended with status " + std::to_string(WEXITSTATUS(status));
    return report;
}

}  // namespace bench
