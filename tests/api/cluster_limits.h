// Limits that the system sets a process, for as long as an object lives: full disks, no more descriptors.
#ifndef TESTS_API_CLUSTER_LIMITS_H
#define TESTS_API_CLUSTER_LIMITS_H

#include <csignal>
#include <cstdint>
#include <sys/resource.h>

namespace api {

class Limit {
  public:
    Limit(decltype(RLIMIT_FSIZE) which, std::uintmax_t most) : which_(which) {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(which_, &before_);
        struct rlimit now = before_;
        now.rlim_cur = static_cast<rlim_t>(most);
        setrlimit(which_, &now);
    }
    ~Limit() { setrlimit(which_, &before_); }
    Limit(const Limit &) = delete;
    Limit &operator=(const Limit &) = delete;

  private:
    decltype(RLIMIT_FSIZE) which_;
    struct rlimit before_ {};
};

// No file grows beyond a size.
struct SizeLimit : Limit {
    explicit SizeLimit(std::uintmax_t size) : Limit(RLIMIT_FSIZE, size) {}
};

// No descriptor gets this number or a higher one.
struct DescriptorLimit : Limit {
    explicit DescriptorLimit(int end) : Limit(RLIMIT_NOFILE, static_cast<std::uintmax_t>(end)) {}
};

}  // namespace api

#endif
