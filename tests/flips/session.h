// The watch over the calls that are made on a damaged file set.
//
// A call may fail with its documented errors, with 105, with a failed system call, or end the process with a named
// fatal stop. It may not write when it is for reading, and a change that fails leaves the files as they were. A fatal
// stop costs the process: its next one makes the same calls again but for those that stopped.
#pragma once

#include "isam.h"

#include <set>
#include <string>

namespace flips {

// What a process tells of itself, also when it ends early.
struct Progress {
    long item = 0;  // of the work list
    int scene = 0;  // being played
    int step = 0;   // the call in it
    char call[24] = {};
    long calls = 0;  // in all
    bool stopped = false;
    char message[100] = {};  // of the fatal stop
    long problems = 0;
    long mostShown = 40;  // of them
};

enum class Effect {
    Reads,    // writes nothing
    Changes,  // all or nothing
    Works,    // on more than one thing, or with a remainder that is documented
};

class Session {
  public:
    // skipped: the steps that have stopped processes before. place: what findings begin with.
    Session(Progress *progress, const std::set<int> &skipped, std::string place);
    // Everything is closed again.
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;

    // Makes the call, which gives 0 or more, or -1 and iserrno. Returns its result; -1 also for one that is left out.
    template <typename Body> long call(const char *name, Effect effect, Body body) {
        if (!begin(name)) return -1;
        const long result = static_cast<long>(body());
        end(name, effect, result);
        return result;
    }
    // The same for calls that set no globals, or whose failure says nothing.
    template <typename Body> long look(const char *name, Body body) {
        if (!begin(name)) return -1;
        const long result = static_cast<long>(body());
        endLook(name);
        return result;
    }
    void problem(const std::string &text);
    // The damage hides that something is in use: a change may write over it, also one that then fails.
    void expectHarm() { harmExpected_ = true; }

  private:
    bool begin(const char *name);
    void end(const char *name, Effect effect, long result);
    void endLook(const char *name);

    Progress *progress_;
    const std::set<int> &skipped_;
    std::string place_;
    bool harmExpected_ = false;
};

// May the call report that code?
bool isDocumented(const std::string &call, int code);

}  // namespace flips
