// A file as another process sees it that knows nothing of the library: byte-range locks by plain fcntl.
#ifndef TESTS_PROCESS_RAW_FILE_H
#define TESTS_PROCESS_RAW_FILE_H

#include <cstdint>
#include <string>
#include <sys/types.h>
#include <vector>

namespace process_testing {

struct HeldLock {
    std::int64_t start = 0;
    std::int64_t length = 0;
    int type = 0;
    pid_t pid = 0;

    bool operator==(const HeldLock &) const = default;
};
std::ostream &operator<<(std::ostream &out, const HeldLock &lock);

// Numbers of the ranges.
constexpr std::int64_t kOpenStart = 0x40000000;
constexpr std::int64_t kPhaseStart = 0;
constexpr std::int64_t kAreaLength = 0x3fffffff;
constexpr std::int64_t kRecordStart = 0x40000000;
constexpr std::int64_t kAllRecordsLength = 0x0fffffff;

class RawFile {
  public:
    explicit RawFile(const std::string &path);
    ~RawFile();
    RawFile(const RawFile &) = delete;
    RawFile &operator=(const RawFile &) = delete;

    // Locks that others hold, by place. Of several on one byte only one is told.
    std::vector<HeldLock> held() const;
    // Takes or gives back a lock without waiting; false when refused.
    bool lock(std::int64_t start, std::int64_t length, int type);
    bool unlock(std::int64_t start, std::int64_t length);

  private:
    void collect(std::int64_t from, std::int64_t to, std::vector<HeldLock> *out) const;
    int fd_;
};

}  // namespace process_testing

#endif
