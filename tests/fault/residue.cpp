#include "residue.h"

#include "isam.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <map>
#include <set>

namespace fault_testing {

namespace {

// By device and inode: a file may get another name.
std::map<std::pair<dev_t, ino_t>, int> probes;

int probeOf(const std::string &name) {
    struct stat status;
    if (stat(name.c_str(), &status) != 0) return -1;
    const auto key = std::make_pair(status.st_dev, status.st_ino);
    if (const auto found = probes.find(key); found != probes.end()) return found->second;
    const int low = open(name.c_str(), O_RDWR | O_CLOEXEC);
    if (low < 0) return -1;
    probes[key] = low;
    return low;
}

bool endsWith(const std::string &name, const char *end) {
    const std::size_t length = std::strlen(end);
    return name.size() >= length && name.compare(name.size() - length, length, end) == 0;
}

constexpr long long kHighArea = 0x40000000, kAreaLength = 0x3fffffff;

}  // namespace

std::string LockProbe::look(const std::string &name, long long start, long long length) {
    const int fd = probeOf(name);
    if (fd < 0) return "";
    struct flock lock;
    std::memset(&lock, 0, sizeof lock);
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = static_cast<off_t>(start);
    lock.l_len = static_cast<off_t>(length);
    if (fcntl(fd, F_OFD_GETLK, &lock) != 0) return name + ": the probe fails\n";
    if (lock.l_type == F_UNLCK) return "";
    return name + ": a lock is left at " + std::to_string(lock.l_start) + "\n";
}

std::string LockProbe::betweenCalls(bool records) {
    std::string found;
    for (const auto &entry : std::filesystem::directory_iterator(".")) {
        const std::string name = entry.path().filename().string();
        if (endsWith(name, ".idx")) found += look(name, 0, kAreaLength);
        if (endsWith(name, ".dat") && !records) found += look(name, kHighArea, kAreaLength);
    }
    return found;
}

std::string LockProbe::anywhere() {
    std::string found;
    for (const auto &entry : std::filesystem::directory_iterator("."))
        found += look(entry.path().filename().string(), 0, 0);
    return found;
}

bool lockProbeWorks(const std::string &directory) {
    const std::string name = directory + "/probe.idx";
    const int fd = open(name.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
    const auto before = std::filesystem::current_path();
    std::filesystem::current_path(directory);
    struct flock lock;
    std::memset(&lock, 0, sizeof lock);
    lock.l_whence = SEEK_SET;
    lock.l_len = 10;
    bool works = true;
    LockProbe probe;
    for (short type : {F_UNLCK, F_RDLCK, F_WRLCK}) {
        lock.l_type = type;
        works = works && fcntl(fd, F_SETLK, &lock) == 0;
        works = works && probe.betweenCalls(false).empty() == (type == F_UNLCK);
        works = works && probe.anywhere().empty() == (type == F_UNLCK);
    }
    std::filesystem::current_path(before);
    for (const auto &[file, descriptor] : probes)
        close(descriptor);
    probes.clear();
    close(fd);
    unlink(name.c_str());
    return works;
}

int openDescriptors() {
    std::set<int> mine;
    for (const auto &[file, descriptor] : probes)
        mine.insert(descriptor);
    int count = 0;
    const int most = static_cast<int>(sysconf(_SC_OPEN_MAX) < 256 ? sysconf(_SC_OPEN_MAX) : 256);
    for (int fd = 3; fd < most; ++fd)
        if (!mine.contains(fd) && fcntl(fd, F_GETFD) != -1) ++count;
    return count;
}

int openHandles() {
    int count = 0;
    const int error = iserrno;
    for (int fd = 0; fd < 16; ++fd) {
        int mode = 0;
        if (isgetmode(fd, &mode) == 0) ++count;
    }
    iserrno = error;
    return count;
}

}  // namespace fault_testing
