#include "lock_spy.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <dlfcn.h>
#include <fcntl.h>
#include <string>
#include <unistd.h>

namespace process_testing {

LockSpy lockSpy;

namespace {

using Fcntl = int (*)(int, int, ...);

// The system's own function. With 64-bit offsets the header gives fcntl the name fcntl64.
Fcntl realFcntl() {
    static const Fcntl found = [] {
        void *symbol = dlsym(RTLD_NEXT, "fcntl64");
        if (symbol == nullptr) symbol = dlsym(RTLD_NEXT, "fcntl");
        return reinterpret_cast<Fcntl>(symbol);
    }();
    return found;
}

bool isIndexFile(int fd) {
    char path[512];
    const ssize_t length = readlink(("/proc/self/fd/" + std::to_string(fd)).c_str(), path, sizeof path);
    return length > 4 && std::string(path + length - 4, 4) == ".idx";
}

int lockCall(int fd, int command, struct flock *lock) {
    LockCall call;
    call.start = lock->l_start;
    call.length = lock->l_len;
    call.type = lock->l_type;
    call.index = isIndexFile(fd);
    call.wait = command == F_SETLKW;

    int result = realFcntl()(fd, F_SETLK, lock);
    if (result == -1 && call.wait && (errno == EAGAIN || errno == EACCES)) {
        if (lockSpy.waiting != nullptr) lockSpy.waiting(call);
        result = realFcntl()(fd, F_SETLKW, lock);
    }
    const int error = errno;
    call.granted = result == 0;
    lockSpy.done(call);
    errno = error;
    return result;
}

}  // namespace
}  // namespace process_testing

extern "C" int fcntl(int fd, int command, ...) {
    using namespace process_testing;
    va_list arguments;
    va_start(arguments, command);
    void *argument = va_arg(arguments, void *);
    va_end(arguments);
    if (lockSpy.done != nullptr && (command == F_SETLK || command == F_SETLKW))
        return lockCall(fd, command, static_cast<struct flock *>(argument));
    return realFcntl()(fd, command, argument);
}
