// Stands between the library and the system's fcntl: notes every lock call of a process, tells when one is
// about to wait, and can hold a call at the moment its phase lock was granted.
#ifndef TESTS_PROCESS_LOCK_SPY_H
#define TESTS_PROCESS_LOCK_SPY_H

#include <cstdint>

namespace process_testing {

struct LockCall {
    std::int64_t start = 0;
    std::int64_t length = 0;
    int type = 0;  // F_RDLCK, F_WRLCK or F_UNLCK
    bool index = false;
    bool wait = false;
    bool granted = false;
};

struct LockSpy {
    // Called after each lock call.
    void (*done)(const LockCall &call) = nullptr;
    // Called when a waiting lock was refused at first, before the wait itself.
    void (*waiting)(const LockCall &call) = nullptr;
};

// The spy of this process; null functions leave it off.
extern LockSpy lockSpy;

}  // namespace process_testing

#endif
