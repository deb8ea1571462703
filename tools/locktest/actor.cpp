#include "locktest/actor.h"

#include "base/failure.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sstream>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr char kGranted = 'g';
constexpr char kRefused = 'r';
constexpr char kDeadlock = 'd';
constexpr char kError = 'e';
constexpr std::size_t kMapped = 64 * 1024;

std::string errorText() { return std::string("error ") + std::strerror(errno); }

std::string doneOrError(int result) { return result == 0 ? "done" : errorText(); }

bool isRefusal(int code) { return code == EAGAIN || code == EACCES; }

long long number(const std::vector<std::string> &words, std::size_t at) {
    return at < words.size() ? std::strtoll(words[at].c_str(), nullptr, 10) : 0;
}

const std::string &word(const std::vector<std::string> &words, std::size_t at) {
    static const std::string none;
    return at < words.size() ? words[at] : none;
}

struct flock request(int type, long long start, long long length) {
    struct flock asked {};
    asked.l_type = static_cast<short>(type);
    asked.l_whence = SEEK_SET;
    asked.l_start = static_cast<off_t>(start);
    asked.l_len = static_cast<off_t>(length);
    return asked;
}

std::string answer(char from_helper) {
    switch (from_helper) {
    case kGranted: return "granted";
    case kRefused: return "refused";
    case kDeadlock: return "deadlock";
    default: return "error the child could not lock";
    }
}

char resultOf(int result) {
    if (result == 0) return kGranted;
    if (errno == EDEADLK) return kDeadlock;
    return isRefusal(errno) ? kRefused : kError;
}

// One letter each, so that neither of them can be half there.
void say(int fd, char letter) {
    while (write(fd, &letter, 1) < 0 && errno == EINTR) {
    }
}

}  // namespace

int systemLock(int fd, int command, struct flock *asked) { return fcntl(fd, command, asked); }

Actor::Actor(const std::string &directory, const std::string &scratch, LockCall lock)
    : directory_(directory), path_(directory + "/" + scratch),
      fd_(open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666)), lock_(std::move(lock)) {
    if (fd_ < 0) failSystem(path_, "cannot be made");
}

Actor::~Actor() {
    endHelper();
    if (memory_ != nullptr) munmap(memory_, kMapped);
    close(fd_);
}

std::string Actor::perform(const std::string &command) {
    std::istringstream line(command);
    std::vector<std::string> words;
    for (std::string next; line >> next;)
        words.push_back(next);
    const std::string verb = word(words, 0);
    if (verb == "helper") return helper(words);
    if (verb == "process") return std::to_string(getpid());
    for (const auto perform : {&Actor::performLock, &Actor::performData, &Actor::performMapped, &Actor::performName}) {
        if (std::string done = (this->*perform)(verb, words); !done.empty()) return done;
    }
    return "error no such command: " + verb;
}

int Actor::place(int type, long long start, long long length, bool waits) const {
    struct flock asked = request(type, start, length);
    int result;
    do
        result = lock_(fd_, waits ? F_SETLKW : F_SETLK, &asked);
    while (result != 0 && errno == EINTR);
    return result;
}

std::string Actor::performLock(const std::string &verb, const std::vector<std::string> &words) {
    if (verb == "lock") {
        const int type = word(words, 1) == "read" ? F_RDLCK : F_WRLCK;
        if (place(type, number(words, 2), number(words, 3), false) == 0) return "granted";
        return isRefusal(errno) ? "refused" : errorText();
    }
    if (verb == "unlock") return doneOrError(place(F_UNLCK, number(words, 1), number(words, 2), false));
    if (verb == "many") return many(number(words, 1), number(words, 2));
    if (verb == "reopen") {
        const int other = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
        return other < 0 ? errorText() : doneOrError(close(other));
    }
    if (verb != "ask") return "";
    struct flock asked = request(F_WRLCK, number(words, 1), number(words, 2));
    if (lock_(fd_, F_GETLK, &asked) != 0) return errorText();
    if (asked.l_type == F_UNLCK) return "free";
    return std::string(asked.l_type == F_RDLCK ? "read " : "write ") + std::to_string(asked.l_pid);
}

std::string Actor::many(long long start, long long count) const {
    for (long long i = 0; i < count; ++i) {
        if (place(F_WRLCK, start + 2 * i, 1, false) == 0) continue;
        const std::string what = isRefusal(errno) ? "refused" : errorText();
        return what + " (lock number " + std::to_string(i + 1) + ")";
    }
    return "granted";
}

std::string Actor::helper(const std::vector<std::string> &words) {
    const std::string verb = word(words, 1);
    if (verb == "lock" || verb == "wait") return startHelper(verb == "wait", number(words, 2), number(words, 3));
    if (verb == "result") return helperResult(static_cast<int>(number(words, 2)));
    if (verb == "kill") {
        endHelper();
        return "done";
    }
    if (verb != "go" || helper_ < 0) return "error no such command for a helper";
    const std::string order = word(words, 2) + " " + word(words, 3) + "\n";
    const ssize_t moved = write(orders_, order.data(), order.size());
    return moved == static_cast<ssize_t>(order.size()) ? "started" : errorText();
}

std::string Actor::startHelper(bool waits, long long start, long long length) {
    endHelper();
    std::array<int, 2> orders;
    std::array<int, 2> answers;
    if (pipe2(orders.data(), O_CLOEXEC) != 0) return errorText();
    if (pipe2(answers.data(), O_CLOEXEC) != 0) {
        close(orders[0]);
        close(orders[1]);
        return errorText();
    }
    std::fflush(nullptr);
    helper_ = fork();
    if (helper_ == 0) beHelper(orders[0], answers[1], waits, start, length);
    close(orders[0]);
    close(answers[1]);
    orders_ = orders[1];
    answers_ = answers[0];
    if (helper_ < 0) return errorText();
    constexpr int kLongEnough = 10'000;
    return waits ? "started" : helperResult(kLongEnough);
}

void Actor::beHelper(int orders, int answers, bool waits, long long start, long long length) const {
    say(answers, resultOf(place(F_WRLCK, start, length, waits)));
    // Its one further order, or the end of its parent.
    std::array<char, 64> order{};
    if (read(orders, order.data(), order.size() - 1) > 0) {
        char *rest = nullptr;
        const long long next = std::strtoll(order.data(), &rest, 10);
        say(answers, resultOf(place(F_WRLCK, next, std::strtoll(rest, nullptr, 10), true)));
        while (read(orders, order.data(), order.size()) > 0) {
        }
    }
    _exit(0);
}

std::string Actor::helperResult(int milliseconds) const {
    pollfd ready = {answers_, POLLIN, 0};
    if (helper_ < 0) return "error there is no helper";
    if (poll(&ready, 1, milliseconds) == 0) return "waiting";
    char letter = kError;
    return read(answers_, &letter, 1) == 1 ? answer(letter) : "error the child has ended";
}

void Actor::endHelper() {
    if (orders_ >= 0) close(orders_);
    if (answers_ >= 0) close(answers_);
    orders_ = -1;
    answers_ = -1;
    if (helper_ < 0) return;
    kill(helper_, SIGKILL);
    while (waitpid(helper_, nullptr, 0) < 0 && errno == EINTR) {
    }
    helper_ = -1;
}

std::string Actor::performData(const std::string &verb, const std::vector<std::string> &words) {
    if (verb == "write") {
        const std::string &text = word(words, 2);
        const ssize_t moved = pwrite(fd_, text.data(), text.size(), static_cast<off_t>(number(words, 1)));
        return moved == static_cast<ssize_t>(text.size()) ? "done" : errorText();
    }
    if (verb == "read") {
        std::string text(static_cast<std::size_t>(number(words, 2)) & (kMapped - 1), ' ');
        const ssize_t moved = pread(fd_, text.data(), text.size(), static_cast<off_t>(number(words, 1)));
        if (moved < 0) return errorText();
        return "'" + text.substr(0, static_cast<std::size_t>(moved)) + "'";
    }
    if (verb == "append") {
        const std::string &text = word(words, 1);
        const int flags = fcntl(fd_, F_GETFL);
        fcntl(fd_, F_SETFL, flags | O_APPEND);
        const ssize_t moved = write(fd_, text.data(), text.size());
        fcntl(fd_, F_SETFL, flags);
        return moved == static_cast<ssize_t>(text.size()) ? "done" : errorText();
    }
    if (verb == "size") {
        struct stat status;
        return fstat(fd_, &status) == 0 ? std::to_string(status.st_size) : errorText();
    }
    if (verb == "cut") return doneOrError(ftruncate(fd_, static_cast<off_t>(number(words, 1))));
    if (verb == "sync") return doneOrError(fsync(fd_));
    return "";
}

// The mapping stays from one command to the next: what others write meanwhile must show in it.
std::string Actor::performMapped(const std::string &verb, const std::vector<std::string> &words) {
    if (verb != "mapread" && verb != "mapwrite") return "";
    struct stat status;
    if (fstat(fd_, &status) != 0) return errorText();
    const auto offset = static_cast<std::size_t>(number(words, 1));
    const std::string &text = word(words, 2);
    const std::size_t length = verb == "mapread" ? static_cast<std::size_t>(number(words, 2)) : text.size();
    if (offset > kMapped || length > kMapped || offset + length > kMapped ||
        static_cast<off_t>(offset + length) > status.st_size)
        return "error the file is shorter";
    if (memory_ == nullptr) {
        void *memory = mmap(nullptr, kMapped, PROT_READ | PROT_WRITE, MAP_SHARED, fd_, 0);
        if (memory == MAP_FAILED) return errorText();
        memory_ = static_cast<char *>(memory);
    }
    if (verb == "mapread") return "'" + std::string(memory_ + offset, length) + "'";
    std::memcpy(memory_ + offset, text.data(), length);
    return "done";
}

std::string Actor::performName(const std::string &verb, const std::vector<std::string> &words) {
    const std::string name = directory_ + "/" + word(words, 1);
    const std::string other = directory_ + "/" + word(words, 2);
    if (verb == "create") {
        const int made = open(name.c_str(), O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (made < 0) return errno == EEXIST ? "exists" : errorText();
        close(made);
        return "made";
    }
    if (verb == "there") {
        const int found = open(name.c_str(), O_RDONLY | O_CLOEXEC);
        if (found < 0) return errno == ENOENT ? "no" : errorText();
        close(found);
        return "yes";
    }
    if (verb == "link") {
        if (link(name.c_str(), other.c_str()) == 0) return "done";
        return errno == EEXIST ? "exists" : errorText();
    }
    if (verb == "rename") return doneOrError(std::rename(name.c_str(), other.c_str()));
    if (verb == "remove") return doneOrError(unlink(name.c_str()));
    return "";
}

}  // namespace tool
