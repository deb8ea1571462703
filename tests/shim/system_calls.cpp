#include "shim/system_calls.h"

#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/vfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <cstdlib>

namespace shim {
namespace {

Observer *current = nullptr;

// Asks the observer, makes the call unless it is replaced, tells the observer. make is given the length to transfer.
template <typename Make> long pass(const Arguments &arguments, Make &&make) {
    Observer *const observer = current;
    if (observer == nullptr) return make(arguments.length);
    const int before = errno;
    const Answer answer = observer->before(arguments);
    long result = answer.result;
    int error = answer.error;
    if (!answer.replaced) {
        errno = before;
        result = make(answer.cutTo != 0 && answer.cutTo < arguments.length ? answer.cutTo : arguments.length);
        error = errno;
    }
    observer->after(arguments, result, error);
    // What the caller sees is what a system call leaves: errno changes only with a failure.
    errno = result < 0 ? error : before;
    return result;
}

template <typename Make> void *passMemory(const Arguments &arguments, Make &&make) {
    void *memory = nullptr;
    pass(arguments, [&](std::size_t) {
        memory = make();
        return memory != nullptr ? 0L : -1L;
    });
    return memory;
}

}  // namespace

const char *callName(Call call) {
    static const char *const names[kCallCount] = {
        "open", "close",   "read", "pread", "write",  "pwrite", "lseek",  "ftruncate", "fcntl", "fstat",
        "stat", "fstatfs", "mmap", "link",  "unlink", "malloc", "calloc", "realloc",   "free"};
    return names[static_cast<int>(call)];
}

bool isWriteType(Call call) {
    switch (call) {
    case Call::Write:
    case Call::PositionedWrite:
    case Call::Truncate:
    case Call::Link:
    case Call::Unlink: return true;
    default: return false;
    }
}

bool isMemory(Call call) {
    return call == Call::Allocate || call == Call::AllocateCleared || call == Call::Reallocate || call == Call::Free;
}

Observer *observe(Observer *observer) {
    Observer *const before = current;
    current = observer;
    return before;
}

}  // namespace shim

using shim::Arguments;
using shim::Call;
using shim::pass;
using shim::passMemory;

// The names of calls.txt. The library is compiled with 64-bit offsets, as these are.
extern "C" {

int shim_open(const char *path, int flags, mode_t mode) {
    return static_cast<int>(
        pass({.call = Call::Open, .path = path, .flags = flags}, [&](std::size_t) { return open(path, flags, mode); }));
}

int shim_close(int descriptor) {
    return static_cast<int>(
        pass({.call = Call::Close, .descriptor = descriptor}, [&](std::size_t) { return close(descriptor); }));
}

ssize_t shim_read(int descriptor, void *buffer, std::size_t length) {
    return pass({.call = Call::Read, .descriptor = descriptor, .length = length},
                [&](std::size_t part) { return static_cast<long>(read(descriptor, buffer, part)); });
}

ssize_t shim_pread(int descriptor, void *buffer, std::size_t length, off_t offset) {
    return pass({.call = Call::PositionedRead, .descriptor = descriptor, .length = length, .offset = offset},
                [&](std::size_t part) { return static_cast<long>(pread(descriptor, buffer, part, offset)); });
}

ssize_t shim_write(int descriptor, const void *buffer, std::size_t length) {
    return pass({.call = Call::Write, .descriptor = descriptor, .buffer = buffer, .length = length},
                [&](std::size_t part) { return static_cast<long>(write(descriptor, buffer, part)); });
}

ssize_t shim_pwrite(int descriptor, const void *buffer, std::size_t length, off_t offset) {
    return pass(
        {.call = Call::PositionedWrite, .descriptor = descriptor, .buffer = buffer, .length = length, .offset = offset},
        [&](std::size_t part) { return static_cast<long>(pwrite(descriptor, buffer, part, offset)); });
}

// An offset of 2 GB and more does not fit the common result of a 32-bit build.
off_t shim_lseek(int descriptor, off_t offset, int whence) {
    off_t place = -1;
    const long done =
        pass({.call = Call::Seek, .descriptor = descriptor, .offset = offset, .whence = whence}, [&](std::size_t) {
            place = lseek(descriptor, offset, whence);
            return place < 0 ? -1L : 0L;
        });
    return done < 0 ? -1 : place;
}

int shim_ftruncate(int descriptor, off_t length) {
    return static_cast<int>(pass({.call = Call::Truncate, .descriptor = descriptor, .offset = length},
                                 [&](std::size_t) { return ftruncate(descriptor, length); }));
}

// The library's requests carry a pointer to a lock or a number.
int shim_fcntl(int descriptor, int command, ...) {
    Arguments arguments{.call = Call::Control, .descriptor = descriptor, .command = command};
    std::va_list rest;
    va_start(rest, command);
    struct flock *lock = nullptr;
    int number = 0;
    if (command == F_SETLK || command == F_SETLKW || command == F_GETLK)
        arguments.lock = lock = va_arg(rest, struct flock *);
    else
        number = va_arg(rest, int);
    va_end(rest);
    return static_cast<int>(pass(arguments, [&](std::size_t) {
        return lock != nullptr ? fcntl(descriptor, command, lock) : fcntl(descriptor, command, number);
    }));
}

int shim_fstat(int descriptor, struct stat *status) {
    return static_cast<int>(pass({.call = Call::FileStatus, .descriptor = descriptor},
                                 [&](std::size_t) { return fstat(descriptor, status); }));
}

int shim_stat(const char *path, struct stat *status) {
    return static_cast<int>(
        pass({.call = Call::Status, .path = path}, [&](std::size_t) { return stat(path, status); }));
}

int shim_fstatfs(int descriptor, struct statfs *system) {
    return static_cast<int>(pass({.call = Call::FileSystem, .descriptor = descriptor},
                                 [&](std::size_t) { return fstatfs(descriptor, system); }));
}

void *shim_mmap(void *place, std::size_t length, int access, int flags, int descriptor, off_t offset) {
    void *mapped = MAP_FAILED;
    pass({.call = Call::Map, .descriptor = descriptor, .flags = flags, .length = length, .offset = offset},
         [&](std::size_t) {
             mapped = mmap(place, length, access, flags, descriptor, offset);
             return mapped != MAP_FAILED ? 0L : -1L;
         });
    return mapped;
}

int shim_link(const char *from, const char *to) {
    return static_cast<int>(
        pass({.call = Call::Link, .path = from, .newPath = to}, [&](std::size_t) { return link(from, to); }));
}

int shim_unlink(const char *path) {
    return static_cast<int>(pass({.call = Call::Unlink, .path = path}, [&](std::size_t) { return unlink(path); }));
}

void *shim_malloc(std::size_t size) {
    return passMemory({.call = Call::Allocate, .length = size}, [&] { return malloc(size); });
}

void *shim_calloc(std::size_t count, std::size_t size) {
    return passMemory({.call = Call::AllocateCleared, .length = count * size}, [&] { return calloc(count, size); });
}

void *shim_realloc(void *memory, std::size_t size) {
    return passMemory({.call = Call::Reallocate, .buffer = memory, .length = size},
                      [&] { return realloc(memory, size); });
}

void shim_free(void *memory) {
    passMemory({.call = Call::Free, .buffer = memory}, [&] {
        free(memory);
        return static_cast<void *>(nullptr);
    });
}
}
