// Other processes beside the test: one that does something with the library and holds on, and the command while it
// runs.
#ifndef TESTS_TOOLS_OTHER_PROCESS_H
#define TESTS_TOOLS_OTHER_PROCESS_H

#include <functional>
#include <string>
#include <sys/types.h>
#include <vector>

namespace tool_tests {

// A child that has done `work` when the constructor returns, and goes on with `more` when told to. It ends with the
// object.
class Holder {
  public:
    explicit Holder(const std::function<void()> &work, const std::function<void()> &more = {});
    ~Holder();
    Holder(const Holder &) = delete;
    Holder &operator=(const Holder &) = delete;

    pid_t pid() const { return pid_; }
    // Lets it go on, without waiting for what comes of it.
    void goOn();

  private:
    pid_t pid_;
    int orders_;
    int answers_;
};

// A program that runs beside the test, in its directory.
class Running {
  public:
    explicit Running(const std::vector<std::string> &arguments);
    ~Running();
    Running(const Running &) = delete;
    Running &operator=(const Running &) = delete;

    // The next line of its standard output; "(nothing)" after ten seconds, "(end)" at the end.
    std::string line();
    void interrupt(int signal) const;
    // Its exit status.
    int wait();

  private:
    pid_t pid_;
    int output_;
    std::string read_;
};

}  // namespace tool_tests

#endif
