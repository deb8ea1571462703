// A file that is read forwards in large pieces while others append to it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tool {

class ByteWindow {
  public:
    // Opens the file; throws Failure. locked: appends to it exclude each other by a lock of byte 0, see fill.
    ByteWindow(const std::string &path, bool locked);
    ~ByteWindow();
    ByteWindow(const ByteWindow &) = delete;
    ByteWindow &operator=(const ByteWindow &) = delete;

    // The bytes from offset on: `length` of them, or as many as the file has; *got tells. They are good until the
    // next call. Throws Failure where the file cannot be read.
    const std::uint8_t *at(std::int64_t offset, std::size_t length, std::size_t *got);
    // What has been read is read anew by the next call.
    void forget() { bytes_.clear(); }
    // Bytes that the file has now.
    std::int64_t size() const;
    // Another file has its path by now; while there is none, it may be on its way.
    bool replaced() const;
    const std::string &path() const { return path_; }

  private:
    void fill(std::int64_t offset, std::size_t length);

    std::string path_;
    int fd_;
    bool locked_;
    bool lock_refused_ = false;  // the last time
    std::int64_t start_ = 0;
    std::vector<std::uint8_t> bytes_;
};

}  // namespace tool
