// A process that does one piece of work in steps: it stops before each system call on files - opening, reading,
// writing, linking, unlinking, renaming - and behind each lock call, and goes on when it is told. A call can be made to
// fail.
#ifndef TESTS_PROCESS_WHOLE_FILE_STEPS_H
#define TESTS_PROCESS_WHOLE_FILE_STEPS_H

#include <functional>
#include <string>
#include <sys/types.h>

namespace process_testing {

class SteppedProcess {
  public:
    // The work begins at once and runs, up to its first stop, once it calls the function that it is given.
    using Begin = std::function<void()>;
    explicit SteppedProcess(const std::function<int(const Begin &begin)> &work);
    ~SteppedProcess();
    SteppedProcess(const SteppedProcess &) = delete;
    SteppedProcess &operator=(const SteppedProcess &) = delete;

    // Lets it go on to its next stop, with an error of the system if it stands before a call. False when the work is
    // over instead.
    bool step(int failure = 0);
    // The same up to a stop whose text begins like this.
    bool stepTo(const std::string &beginning);
    // To the end. Returns what the work returned.
    int finish();
    // Ends it where it stands.
    void kill();

    // What it is about to do, or has just done: "open NAME", "read", "write", "link NAME", "unlink NAME", "lock".
    const std::string &at() const { return at_; }
    bool beforeCall() const { return at_ != "lock" && at_ != "begin"; }
    int result() const { return result_; }
    pid_t pid() const { return pid_; }

  private:
    void end();

    pid_t pid_ = -1;
    int heard_ = -1, told_ = -1;
    bool over_ = false;
    int result_ = -1;
    std::string at_;
};

}  // namespace process_testing

#endif
