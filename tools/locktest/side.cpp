#include "locktest/side.h"

#include "base/failure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr int kPatienceMs = 30'000;
constexpr int kPatienceSeconds = kPatienceMs / 1000;
constexpr std::size_t kLongest = 64 * 1024;

// One message a packet.
bool receive(int line, std::string &message, int milliseconds) {
    pollfd ready = {line, POLLIN, 0};
    if (poll(&ready, 1, milliseconds) <= 0) return false;
    message.resize(kLongest);
    const ssize_t got = recv(line, message.data(), message.size(), 0);
    message.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    return got > 0;
}

[[noreturn]] void serve(int line, const std::string &directory, const std::string &scratch, const LockCall &lock) {
    try {
        Actor actor(directory, scratch, lock);
        std::string command;
        while (receive(line, command, -1)) {
            const std::string answer = actor.perform(command);
            send(line, answer.data(), answer.size(), MSG_NOSIGNAL);
        }
    } catch (const Failure &) {
        // Whoever waits for an answer learns that there is none.
    }
    _exit(0);
}

}  // namespace

ChildSide::ChildSide(const std::string &directory, const std::string &scratch, const LockCall &lock) {
    std::array<int, 2> ends;
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0)
        failSystem(directory, "another process cannot be reached");
    std::fflush(nullptr);
    child_ = fork();
    if (child_ == 0) {
        close(ends[0]);
        serve(ends[1], directory, scratch, lock);
    }
    close(ends[1]);
    line_ = ends[0];
    if (child_ >= 0) return;
    close(line_);
    failSystem(directory, "no other process can be made");
}

ChildSide::~ChildSide() {
    close(line_);
    while (waitpid(child_, nullptr, 0) < 0 && errno == EINTR) {
    }
}

std::string ChildSide::perform(const std::string &command) {
    std::string answer;
    send(line_, command.data(), command.size(), MSG_NOSIGNAL);
    if (!receive(line_, answer, kPatienceMs)) throw Failure("the other process does not answer to '" + command + "'");
    return answer;
}

std::string FarSide::perform(const std::string &command) {
    orders_.write(command);
    return answers_.read(kPatienceSeconds);
}

}  // namespace tool
