// What stands between the library and the system in the tests: the library under test is linked with its system calls
// renamed (calls.txt), and every one of them comes through here, its own and none of the tests'.
#pragma once

#include <fcntl.h>
#include <sys/types.h>

#include <cstddef>

namespace shim {

enum class Call {
    Open,
    Close,
    Read,
    PositionedRead,
    Write,
    PositionedWrite,
    Seek,
    Truncate,
    Control,  // fcntl: locks, and a descriptor lifted above the standard streams'
    FileStatus,
    Status,
    FileSystem,  // fstatfs
    Map,         // mmap
    Link,
    Unlink,
    Allocate,
    AllocateCleared,
    Reallocate,
    Free,
};
inline constexpr int kCallCount = static_cast<int>(Call::Free) + 1;

const char *callName(Call call);

// Calls that change a file or its names.
bool isWriteType(Call call);
// Calls for memory.
bool isMemory(Call call);

// One call's arguments; what a call does not have is 0, null or -1.
struct Arguments {
    Call call{};
    int descriptor = -1;
    const char *path = nullptr;          // open, stat, link (the old name), unlink
    const char *newPath = nullptr;       // link
    int flags = 0;                       // open
    const void *buffer = nullptr;        // writes; the memory given to realloc and free
    std::size_t length = 0;              // transfers, truncate, memory, mmap
    off_t offset = -1;                   // positioned transfers, seek, mmap
    int whence = 0;                      // seek
    int command = 0;                     // fcntl
    const struct flock *lock = nullptr;  // fcntl, where the command is about locks
};

// What happens in place of a call.
struct Answer {
    bool replaced = false;  // the call is not made; result and error stand for it
    long result = -1;
    int error = 0;
    std::size_t cutTo = 0;  // otherwise, where not 0: a transfer is made of so many bytes only
};

class Observer {
  public:
    virtual ~Observer() = default;
    // Before the call. Memory that this allocates is not seen.
    virtual Answer before(const Arguments &) { return {}; }
    // After it, replaced or not. For calls for memory the result is 0, or -1 for a null pointer.
    virtual void after(const Arguments &, long /*result*/, int /*error*/) {}
};

// Every call goes through the observer from now on; null: through none. Returns the one that was there.
Observer *observe(Observer *observer);

}  // namespace shim
