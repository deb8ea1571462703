// The progress of a work that is one call of the library: how long a file is by now, as a thread of its own sees it.
// The thread runs on a terminal alone, and calls nothing of the library.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>

namespace tool {

class Watch {
  public:
    // what: "clustering orders". path: the file that grows to about total bytes.
    Watch(std::string what, std::string path, std::uint64_t total);
    ~Watch();
    Watch(const Watch &) = delete;
    Watch &operator=(const Watch &) = delete;

  private:
    void run(const std::string &what, const std::string &path, std::uint64_t total);

    std::mutex mutex_;
    std::condition_variable wake_;
    bool ended_ = false;
    std::thread thread_;
};

// Bytes of a file; 0 where there is none.
std::uint64_t fileSize(const std::string &path);

}  // namespace tool
