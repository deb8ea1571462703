// One side of the examination: does what it is told to a scratch file, in its own process, and says what came of it.
#pragma once

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

struct flock;

namespace tool {

// fcntl for locks; another one in its place shows what the examination makes of a system whose locks do not work.
using LockCall = std::function<int(int fd, int command, struct flock *request)>;
int systemLock(int fd, int command, struct flock *request);

// Commands are words, numbers are decimal:
//   lock read|write START LENGTH    granted, refused; without waiting
//   unlock START LENGTH             done
//   ask START LENGTH                free, or "read PID", "write PID": who is in the way of an exclusive lock
//   reopen                          done: another descriptor of the file was opened and closed
//   helper lock START LENGTH        granted, refused: to a child of this process
//   helper wait START LENGTH        started: a child waits for an exclusive lock
//   helper go START LENGTH          started: the child that has a lock waits for this one, too
//   helper result MILLISECONDS      granted, refused, deadlock; waiting after that time
//   helper kill                     done
//   many START COUNT                granted, refused: every other byte, each by itself
//   write OFFSET TEXT, read OFFSET LENGTH, append TEXT, size, cut SIZE, sync
//   mapwrite OFFSET TEXT, mapread OFFSET LENGTH    through memory
//   create NAME, there NAME, link NAME NEW, rename NAME NEW, remove NAME    made, exists; yes, no; done
//   process                         its number
// Whatever the system refuses otherwise is answered by "error" and the reason.
class Actor {
  public:
    // The scratch file is opened, and made where it is not there. Throws Failure.
    Actor(const std::string &directory, const std::string &scratch, LockCall lock);
    ~Actor();
    Actor(const Actor &) = delete;
    Actor &operator=(const Actor &) = delete;

    std::string perform(const std::string &command);

  private:
    std::string performLock(const std::string &verb, const std::vector<std::string> &words);
    std::string performData(const std::string &verb, const std::vector<std::string> &words);
    std::string performMapped(const std::string &verb, const std::vector<std::string> &words);
    std::string performName(const std::string &verb, const std::vector<std::string> &words);
    std::string helper(const std::vector<std::string> &words);
    std::string startHelper(bool waits, long long start, long long length);
    std::string helperResult(int milliseconds) const;
    void endHelper();
    [[noreturn]] void beHelper(int orders, int answers, bool waits, long long start, long long length) const;
    int place(int type, long long start, long long length, bool waits) const;
    std::string many(long long start, long long count) const;

    std::string directory_;
    std::string path_;
    int fd_;
    LockCall lock_;
    char *memory_ = nullptr;  // the file's beginning
    pid_t helper_ = -1;
    int orders_ = -1;   // to the helper
    int answers_ = -1;  // from it
};

}  // namespace tool
