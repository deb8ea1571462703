#include "victim.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace process_testing {

Victim::Victim(const FileShelf &shelf, const std::vector<TxnFile> &shared, std::uint64_t seed) {
    int ends[2];
    if (pipe(ends) != 0) std::abort();
    pid_ = fork();
    if (pid_ < 0) std::abort();
    if (pid_ == 0) {
        close(ends[0]);
        TxnWork random(shared, shelf.path(), {0, 1, seed});
        work(&random, shelf.log(), ends[1]);
    }
    close(ends[1]);
    heard_ = ends[0];
    char start = 0;
    EXPECT_EQ(read(heard_, &start, 1), 1);
}

Victim::~Victim() {
    killAfter(0);
    close(heard_);
}

void Victim::work(TxnWork *work, const std::string &log, int tell) {
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    bool good = write(tell, "s", 1) == 1 && work->prepare(log);
    while (good)
        good = work->step();
    good = write(tell, work->failure().data(), work->failure().size()) > 0;
    _exit(good ? 0 : 1);
}

std::string Victim::killAfter(int microseconds) {
    if (pid_ < 0) return "";
    // Nothing comes from a process that works well.
    pollfd heard{heard_, POLLIN, 0};
    const timespec moment{0, microseconds * 1000L};
    while (ppoll(&heard, 1, &moment, nullptr) < 0 && errno == EINTR) {
    }
    kill(pid_, SIGKILL);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    char failure[256];
    const ssize_t length = read(heard_, failure, sizeof failure);
    return length > 0 ? std::string(failure, static_cast<std::size_t>(length)) : "";
}

}  // namespace process_testing
