// Waits for a file to grow, until the user ends it with Ctrl-C or SIGTERM.
#pragma once

#include <string>

namespace tool {

class ChangeWatch {
  public:
    // From now on SIGINT and SIGTERM end the waiting and nothing else, to the end of the program: 'timeout' sends its
    // signal twice.
    explicit ChangeWatch(const std::string &path);
    ~ChangeWatch();
    ChangeWatch(const ChangeWatch &) = delete;
    ChangeWatch &operator=(const ChangeWatch &) = delete;

    // Returns when the file may have changed; false when it is time to end.
    bool wait();

  private:
    int events_;
    int ends_ = -1;
};

}  // namespace tool
