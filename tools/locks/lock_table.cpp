#include "locks/lock_table.h"

#include "base/failure.h"
#include "locks/file_system.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <iterator>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <unistd.h>

namespace tool {

namespace {

// Far behind every byte that the library locks: a lock of ours there is in nobody's way.
constexpr off_t kOurByte = off_t{1} << (sizeof(off_t) > 4 ? 61 : 30);

class Descriptor {
  public:
    explicit Descriptor(const std::string &path) : fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)) {
        if (fd_ < 0) failSystem(path, "cannot be opened");
    }
    ~Descriptor() { close(fd_); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;
    int fd() const { return fd_; }

  private:
    int fd_;
};

struct flock request(int type, off_t start, off_t length) {
    struct flock asked {};
    asked.l_type = static_cast<short>(type);
    asked.l_whence = SEEK_SET;
    asked.l_start = start;
    asked.l_len = length;
    return asked;
}

std::string tableText() {
    std::ifstream file("/proc/locks");
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

// One line of the table:
//   3: POSIX  ADVISORY  WRITE 14179 00:1b:8980407 0 1073741822
//   3: -> POSIX  ADVISORY  WRITE 12487 00:1b:8980407 0 1073741822
// The second waits for the first; the table indents it the more, the more others it waits behind.
struct TableLine {
    std::string id;
    LockedFile file;
    FileLock lock;
    bool posix = false;
};

bool parseLine(const std::string &text, TableLine &line) {
    std::istringstream words(text);
    std::string kind, advisory, access, start, end;
    words >> line.id >> kind;
    if (kind == "->") {
        line.lock.waiting = true;
        words >> kind;
    }
    words >> advisory >> access >> line.lock.process >> line.file >> start >> end;
    if (!words) return false;
    line.posix = kind == "POSIX";
    line.lock.exclusive = access == "WRITE";
    line.lock.process = std::max(line.lock.process, 0L);
    line.lock.start = std::strtoll(start.c_str(), nullptr, 10);
    line.lock.end = end == "EOF" ? kToTheEnd : std::strtoll(end.c_str(), nullptr, 10);
    return true;
}

// Devices in the table are those of file systems, and some file systems show their files with another one: a lock of
// our own tells what the table calls the file.
LockedFile nameInTable(int fd) {
    struct flock asked = request(F_RDLCK, kOurByte, 1);
    LockedFile name;
    if (fcntl(fd, F_SETLK, &asked) == 0) {
        std::istringstream lines(tableText());
        std::string text;
        while (name.empty() && std::getline(lines, text)) {
            TableLine line;
            const bool ours = parseLine(text, line) && line.posix && line.lock.process == getpid() &&
                              line.lock.start == kOurByte && line.lock.end == kOurByte;
            if (ours) name = line.file;
        }
        asked.l_type = F_UNLCK;
        fcntl(fd, F_SETLK, &asked);
    }
    struct stat status;
    if (!name.empty() || fstat(fd, &status) != 0) return name;
    std::array<char, 64> text;
    std::snprintf(text.data(), text.size(), "%02x:%02x:%ju", major(status.st_dev), minor(status.st_dev),
                  static_cast<std::uintmax_t>(status.st_ino));
    return text.data();
}

// Asks who would be in the way of an exclusive lock, from the beginning on, again and again behind what was found.
std::vector<FileLock> askForLocks(int fd) {
    std::vector<FileLock> locks;
    off_t from = 0;
    constexpr std::size_t kMost = 100'000;
    while (locks.size() < kMost) {
        struct flock asked = request(F_WRLCK, from, 0);
        if (fcntl(fd, F_GETLK, &asked) != 0 || asked.l_type == F_UNLCK) break;
        FileLock lock;
        lock.exclusive = asked.l_type == F_WRLCK;
        lock.process = std::max<long>(asked.l_pid, 0);
        lock.start = asked.l_start;
        lock.end = asked.l_len == 0 ? kToTheEnd : asked.l_start + asked.l_len - 1;
        locks.push_back(lock);
        if (asked.l_len == 0 || lock.end < from) break;
        from = static_cast<off_t>(lock.end + 1);
    }
    return locks;
}

bool isListed(const std::vector<FileLock> &locks, const FileLock &lock) {
    return std::any_of(locks.begin(), locks.end(), [&lock](const FileLock &other) {
        return !other.waiting && other.start <= lock.end && lock.start <= other.end;
    });
}

}  // namespace

std::vector<FileLock> parseLockTable(const std::string &table, const LockedFile &file) {
    std::vector<FileLock> locks;
    std::map<std::string, long> holders;  // by the number of the line
    std::istringstream lines(table);
    std::string text;
    while (std::getline(lines, text)) {
        TableLine line;
        if (!parseLine(text, line) || !line.posix || line.file != file) continue;
        if (line.lock.waiting) {
            const auto holder = holders.find(line.id);
            if (holder != holders.end()) line.lock.blocker = holder->second;
        } else {
            holders[line.id] = line.lock.process;
        }
        locks.push_back(line.lock);
    }
    return locks;
}

std::vector<FileLock> locksOf(const std::string &path) {
    const Descriptor file(path);
    const LockedFile name = nameInTable(file.fd());
    const std::string table = tableText();
    std::vector<FileLock> locks = parseLockTable(table, name);
    // What was granted between the two looks is a process of this machine, and comes next time.
    if (table.empty() || fileSystemOf(path).network) {
        for (const FileLock &lock : askForLocks(file.fd())) {
            if (!isListed(locks, lock)) locks.push_back(lock);
        }
    }
    std::stable_sort(locks.begin(), locks.end(), [](const FileLock &a, const FileLock &b) {
        return std::pair(a.start, a.waiting) < std::pair(b.start, b.waiting);
    });
    return locks;
}

}  // namespace tool
