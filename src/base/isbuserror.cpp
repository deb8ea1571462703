#include "base/isbuserror.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>

namespace {

// The process ends as it would have without the handler.
void endBy(int signal) {
    struct sigaction none = {};
    none.sa_handler = SIG_DFL;
    sigaction(signal, &none, nullptr);
    raise(signal);
}

void passOn(int signal, siginfo_t *info, void *context) {
    const struct sigaction before = isProcess.busWatch.previous;
    // One that wants to be called once only.
    if ((static_cast<unsigned>(before.sa_flags) & SA_RESETHAND) != 0) isProcess.busWatch.previous = {};
    if ((before.sa_flags & SA_SIGINFO) != 0)
        before.sa_sigaction(signal, info, context);
    else if (before.sa_handler != SIG_DFL && before.sa_handler != SIG_IGN)
        before.sa_handler(signal);
    else if (before.sa_handler == SIG_DFL || info->si_code > 0)  // a fault cannot be ignored
        endBy(signal);
}

// mmap is not among the calls that a handler may make by the standard; it is a bare
// system call that knows no state of the process's, and the code interrupted here
// is a copy, never the C library's own work on memory.
bool putZeros(std::uint8_t *base, std::size_t inside) {
    const std::size_t page = isProcess.busWatch.pageSize;
    return mmap(base + inside / page * page, page, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_FIXED, -1,
                0) != MAP_FAILED;
}

void onBusError(int signal, siginfo_t *info, void *context) {
    BusWatch &watch = isProcess.busWatch;
    std::uint8_t *const base = watch.base;
    const int error = errno;
    // Of a signal that somebody has sent the address means nothing.
    if (base != nullptr && info->si_code > 0) {
        const auto inside = reinterpret_cast<std::uintptr_t>(info->si_addr) - reinterpret_cast<std::uintptr_t>(base);
        if (inside < watch.length && putZeros(base, inside)) {
            watch.hit = 1;
            return;
        }
    }
    errno = error;
    passOn(signal, info, context);
}

bool isOurs(const struct sigaction &action) {
    return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == onBusError;
}

}  // namespace

void isBusWatch() {
    BusWatch &watch = isProcess.busWatch;
    ++watch.handles;
    struct sigaction present;
    sigaction(SIGBUS, nullptr, &present);
    // Whoever has come since may pass on to the handler that is there: it must not
    // pass on to him in turn.
    if (!isOurs(present) && !watch.standing) {
        struct sigaction own = {};
        own.sa_sigaction = onBusError;
        own.sa_flags = SA_SIGINFO | SA_ONSTACK | (present.sa_flags & (SA_NODEFER | SA_RESTART));
        own.sa_mask = present.sa_mask;
        watch.previous = present;
        watch.pageSize = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        sigaction(SIGBUS, &own, nullptr);
        watch.standing = true;
    }
}

void isBusLeave() {
    BusWatch &watch = isProcess.busWatch;
    if (--watch.handles > 0) return;
    struct sigaction present;
    sigaction(SIGBUS, nullptr, &present);
    if (!isOurs(present)) return;
    sigaction(SIGBUS, &watch.previous, nullptr);
    watch.standing = false;
}
