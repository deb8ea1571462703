#include "index/file_view.h"

#include "base/failure.h"
#include "base/place.h"
#include "lock/lock_layout.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr off_t kPhaseStart = 0;
constexpr off_t kOpenStart = lockarea::kHighArea;

std::uint64_t sizeOf(int fd) {
    struct stat status;
    return fd >= 0 && fstat(fd, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

bool readAll(int fd, std::uint64_t offset, ByteSpan bytes) {
    while (!bytes.empty()) {
        const ssize_t got = pread(fd, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        bytes = bytes.subspan(static_cast<std::size_t>(got));
        offset += static_cast<std::uint64_t>(got);
    }
    return true;
}

struct flock range(off_t start, bool exclusive) {
    struct flock lock = {};
    lock.l_type = exclusive ? F_WRLCK : F_RDLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = start;
    lock.l_len = lockarea::kAreaLength;
    return lock;
}

std::string holder(int fd, off_t start, bool exclusive) {
    struct flock lock = range(start, exclusive);
    if (fcntl(fd, F_GETLK, &lock) != 0 || lock.l_type == F_UNLCK || lock.l_pid <= 0) return "another process";
    return "process " + std::to_string(lock.l_pid);
}

int openFile(const std::string &path, bool alone) {
    return open(path.c_str(), (alone ? O_RDWR : O_RDONLY) | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
}

}  // namespace

FileView::FileView(const std::string &base, Access access) : name_(base), place_(linkedPlace(base)) {
    const bool alone = access == Access::kAlone;
    index_fd_ = openFile(indexPath(), alone);
    const int index_error = errno;
    data_fd_ = openFile(dataPath(), alone);
    const int data_error = errno;
    try {
        errno = index_error;
        if (index_fd_ < 0 && (index_error != ENOENT || data_fd_ < 0))
            failSystem(name_, "cannot be opened: opening the index file");
        errno = data_error;
        if (data_fd_ < 0 && data_error != ENOENT) failSystem(name_, "cannot be opened: opening the data file");
        if (index_fd_ >= 0) lock(access);
    } catch (const Failure &) {
        if (index_fd_ >= 0) close(index_fd_);
        if (data_fd_ >= 0) close(data_fd_);
        throw;
    }
    index_size_ = sizeOf(index_fd_);
    data_size_ = sizeOf(data_fd_);
}

FileView::~FileView() {
    if (index_fd_ >= 0) close(index_fd_);
    if (data_fd_ >= 0) close(data_fd_);
}

void FileView::lock(Access access) const {
    const bool alone = access == Access::kAlone;
    struct flock open_lock = range(kOpenStart, alone);
    if (fcntl(index_fd_, F_SETLK, &open_lock) != 0 && (errno == EACCES || errno == EAGAIN))
        throw Failure(name_ + ": in use: " + holder(index_fd_, kOpenStart, alone) +
                      (alone ? " has it open" : " has it for itself"));
    if (alone) return;
    struct flock phase_lock = range(kPhaseStart, false);
    while (fcntl(index_fd_, F_SETLKW, &phase_lock) != 0 && errno == EINTR) {
    }
}

bool FileView::readIndex(std::uint64_t offset, ByteSpan bytes) const {
    return offset <= index_size_ && bytes.size() <= index_size_ - offset && readAll(index_fd_, offset, bytes);
}

bool FileView::readData(std::uint64_t offset, ByteSpan bytes) const {
    return offset <= data_size_ && bytes.size() <= data_size_ - offset && readAll(data_fd_, offset, bytes);
}

}  // namespace tool
