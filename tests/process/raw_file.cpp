#include "raw_file.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <limits>
#include <unistd.h>

namespace process_testing {

std::ostream &operator<<(std::ostream &out, const HeldLock &lock) {
    return out << std::hex << "[0x" << lock.start << "+0x" << lock.length << std::dec << " "
               << (lock.type == F_WRLCK ? "exclusive" : "shared") << " by " << lock.pid << "]";
}

RawFile::RawFile(const std::string &path) : fd_(open(path.c_str(), O_RDWR | O_CLOEXEC)) { EXPECT_GE(fd_, 0) << path; }

RawFile::~RawFile() { close(fd_); }

std::vector<HeldLock> RawFile::held() const {
    std::vector<HeldLock> out;
    collect(0, std::numeric_limits<std::int64_t>::max(), &out);
    return out;
}

void RawFile::collect(std::int64_t from, std::int64_t to, std::vector<HeldLock> *out) const {
    if (from >= to) return;
    struct flock probe = {};
    probe.l_type = F_WRLCK;
    probe.l_whence = SEEK_SET;
    probe.l_start = from;
    probe.l_len = to - from;
    EXPECT_EQ(fcntl(fd_, F_GETLK, &probe), 0);
    if (probe.l_type == F_UNLCK) return;
    const std::int64_t start = probe.l_start;
    const std::int64_t end = probe.l_len == 0 ? std::numeric_limits<std::int64_t>::max() : start + probe.l_len;
    collect(from, start, out);
    out->push_back({start, end - start, probe.l_type, probe.l_pid});
    collect(end, to, out);
}

bool RawFile::lock(std::int64_t start, std::int64_t length, int type) {
    struct flock request = {};
    request.l_type = static_cast<short>(type);
    request.l_whence = SEEK_SET;
    request.l_start = start;
    request.l_len = length;
    return fcntl(fd_, F_SETLK, &request) == 0;
}

bool RawFile::unlock(std::int64_t start, std::int64_t length) { return lock(start, length, F_UNLCK); }

}  // namespace process_testing
