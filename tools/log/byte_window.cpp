#include "log/byte_window.h"

#include "base/failure.h"
#include "txn/log_layout.h"

#include <algorithm>
#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

namespace tool {

namespace {

constexpr std::size_t kPiece = std::size_t{1} << 20U;
constexpr int kLockTries = 50;
constexpr timespec kBetweenTries = {0, 10'000'000};

// A shared lock of byte 0 for as long as a piece is read. Who appends to a log holds that byte exclusively and cuts off
// again what it could not write whole, and so does who takes a record back: under the lock the log ends where a record
// ends. The piece is short, so that writers wait for a moment only; and the reader waits for half a second, once, since
// a writer may have been stopped with the lock in hand, or the file system may have no locks. It reads all the same
// then, and a record that it sees half is read again or called cut off, as it would be for a writer that died.
class AppendLock {
  public:
    AppendLock(int fd, int tries) : fd_(fd) {
        for (int i = 0; i < tries; ++i) {
            if (ask(F_RDLCK)) return;
            if (errno != EAGAIN && errno != EACCES) break;
            nanosleep(&kBetweenTries, nullptr);
        }
        fd_ = -1;
    }
    bool held() const { return fd_ >= 0; }
    ~AppendLock() {
        if (fd_ >= 0) ask(F_UNLCK);
    }
    AppendLock(const AppendLock &) = delete;
    AppendLock &operator=(const AppendLock &) = delete;

  private:
    bool ask(int type) const {
        struct flock request {};
        request.l_type = static_cast<short>(type);
        request.l_whence = SEEK_SET;
        request.l_start = logrec::kLockStart;
        request.l_len = logrec::kLockLength;
        return fcntl(fd_, F_SETLK, &request) == 0;
    }

    int fd_;
};

}  // namespace

ByteWindow::ByteWindow(const std::string &path, bool locked)
    : path_(path), fd_(open(path.c_str(), O_RDONLY | O_CLOEXEC)), locked_(locked) {
    if (fd_ < 0) failSystem(path, "cannot be opened");
    struct stat status;
    if (fstat(fd_, &status) == 0 && S_ISREG(status.st_mode)) return;
    close(fd_);
    throw Failure(path + ": is not a file");
}

ByteWindow::~ByteWindow() { close(fd_); }

std::int64_t ByteWindow::size() const {
    struct stat status;
    if (fstat(fd_, &status) != 0) failSystem(path_, "cannot be read");
    return status.st_size;
}

bool ByteWindow::replaced() const {
    struct stat open_file, named;
    if (fstat(fd_, &open_file) != 0 || stat(path_.c_str(), &named) != 0) return false;
    return open_file.st_dev != named.st_dev || open_file.st_ino != named.st_ino;
}

const std::uint8_t *ByteWindow::at(std::int64_t offset, std::size_t length, std::size_t *got) {
    const auto here = [&] {
        return offset >= start_ && offset - start_ <= static_cast<std::int64_t>(bytes_.size());
    };
    const auto left = [&] {
        return bytes_.size() - static_cast<std::size_t>(offset - start_);
    };
    if (!here() || left() < length) fill(offset, std::max(length, kPiece));
    *got = std::min(length, left());
    return bytes_.data() + (offset - start_);
}

void ByteWindow::fill(std::int64_t offset, std::size_t length) {
    const AppendLock lock(fd_, !locked_ ? 0 : lock_refused_ ? 1 : kLockTries);
    lock_refused_ = !lock.held();
    start_ = offset;
    length = static_cast<std::size_t>(std::clamp<std::int64_t>(size() - offset, 0, static_cast<std::int64_t>(length)));
    bytes_.resize(length);
    std::size_t done = 0;
    while (done < length) {
        const ssize_t moved = pread(fd_, bytes_.data() + done, length - done,
                                    static_cast<off_t>(offset + static_cast<std::int64_t>(done)));
        if (moved < 0 && errno == EINTR) continue;
        if (moved < 0) {
            bytes_.clear();
            failSystem(path_, "cannot be read");
        }
        if (moved == 0) break;
        done += static_cast<std::size_t>(moved);
    }
    bytes_.resize(done);
}

}  // namespace tool
