#include "locktest/message_file.h"

#include "base/failure.h"

#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <ctime>
#include <fcntl.h>
#include <sstream>
#include <unistd.h>

namespace tool {

namespace {

// Most answers come at once.
constexpr timespec kFirstLooks = {0, 1'000'000};
constexpr timespec kLaterLooks = {0, 20'000'000};
constexpr int kFirst = 50;
constexpr std::size_t kLongest = 256 * 1024;

// Tells a message that is there from one of which only a part has come yet.
std::uint32_t checksum(const std::string &text) {
    std::uint32_t sum = 2166136261U;
    for (const char c : text)
        sum = (sum ^ static_cast<std::uint8_t>(c)) * 16777619U;
    return sum;
}

// Sleeps for a moment; true when the user wants to end.
bool interrupted(const timespec &moment) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    return sigtimedwait(&ends, nullptr, &moment) > 0;
}

}  // namespace

void MessageFile::make(bool fresh) const {
    const int fd = open(path_.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | (fresh ? O_EXCL : O_TRUNC), 0666);
    if (fd < 0 && errno == EEXIST)
        throw Failure(path_ + ": is there: another test is under way, or remove what one has left that was broken off");
    if (fd < 0) failSystem(path_, "cannot be made");
    close(fd);
}

void MessageFile::remove() const { unlink(path_.c_str()); }

// Opened and closed each time: that is when network file systems hand over what was written.
void MessageFile::write(const std::string &message) {
    std::ostringstream text;
    text << purpose_ << ' ' << ++number_ << ' ' << message.size() << ' ' << checksum(message) << '\n' << message;
    const std::string bytes = text.str();
    const int fd = open(path_.c_str(), O_RDWR | O_CLOEXEC);
    if (fd < 0) failSystem(path_, "cannot be written");
    const bool written = pwrite(fd, bytes.data(), bytes.size(), 0) == static_cast<ssize_t>(bytes.size());
    if (close(fd) != 0 || !written) failSystem(path_, "cannot be written");
}

bool MessageFile::tryRead(std::string &message) const {
    const int fd = open(path_.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    std::string bytes(kLongest, ' ');
    const ssize_t got = pread(fd, bytes.data(), bytes.size(), 0);
    close(fd);
    if (got <= 0) return false;
    bytes.resize(static_cast<std::size_t>(got));
    std::istringstream head(bytes);
    std::string purpose;
    std::uint64_t number = 0;
    std::size_t length = 0;
    std::uint32_t sum = 0;
    head >> purpose >> number >> length >> sum;
    const std::size_t line = bytes.find('\n');
    if (!head || purpose != purpose_ || number != number_ + 1 || line == std::string::npos) return false;
    if (length > bytes.size() - line - 1) return false;
    message = bytes.substr(line + 1, length);
    return checksum(message) == sum;
}

std::string MessageFile::read(int seconds) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::string message;
    for (int looks = 0; !tryRead(message); ++looks) {
        if (interrupted(looks < kFirst ? kFirstLooks : kLaterLooks)) throw Failure("ended by a signal");
        if (std::chrono::steady_clock::now() > end)
            throw Failure("the other side has not answered for " + std::to_string(seconds) + " seconds");
    }
    ++number_;
    return message;
}

}  // namespace tool
