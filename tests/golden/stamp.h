// Bytes of files that name the process, its user and the time.
#ifndef TESTS_GOLDEN_STAMP_H
#define TESTS_GOLDEN_STAMP_H

#include "../support/temp_dir.h"

#include <ctime>
#include <filesystem>
#include <string>
#include <string_view>

namespace golden {

// The bytes that text stands for, see golden_image.h. In it PID and USER stand for two bytes each, the low ones of the
// process's and its user's number, and TIME for the four bytes of a time: the one that actual has in this place, where
// it lies between since and now.
std::string stamped(std::string_view text, const std::string &actual, std::time_t since);

// Gives the process another real user, 70000, for as long as the object lives. Without the right to do so it stays.
class OtherUser {
  public:
    OtherUser();
    ~OtherUser();
    OtherUser(const OtherUser &) = delete;
    OtherUser &operator=(const OtherUser &) = delete;

    // What stands for the user in text for stamped().
    std::string_view text() const { return changed_ ? "11 70" : "USER"; }

  private:
    bool changed_;
};

// A fresh directory that is the current one for as long as the object lives, for names of known length.
class WorkDir {
  public:
    WorkDir() : before_(std::filesystem::current_path()) { std::filesystem::current_path(dir_.path()); }
    ~WorkDir() { std::filesystem::current_path(before_); }
    WorkDir(const WorkDir &) = delete;
    WorkDir &operator=(const WorkDir &) = delete;

  private:
    testing_support::TempDir dir_;
    std::filesystem::path before_;
};

}  // namespace golden

#endif
