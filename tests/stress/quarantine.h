// Keeps the survivors of a kill away from the file until it has been mended.
//
// While a process is about to be killed, or has been, a lock of the phase area that another one is granted is given
// back and the call fails with ECANCELED, before it has read or written anything. What the dead one left is therefore
// what is mended: a kill costs what its victim had in flight, and nothing else.
#ifndef TESTS_STRESS_QUARANTINE_H
#define TESTS_STRESS_QUARANTINE_H

#include "journal.h"

#include "shim/system_calls.h"

#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <unistd.h>

namespace stress {

class Quarantine : public shim::Observer {
  public:
    Quarantine(Journal *journal, int slot) : journal_(journal), own_(static_cast<std::uint32_t>(slot + 1)) {}

    shim::Answer before(const shim::Arguments &call) override {
        if (journal_->quarantine == own_ && journal_->writesLeft != 0 && shim::isWriteType(call.call) &&
            --journal_->writesLeft == 0)
            kill(getpid(), SIGKILL);
        if (call.call != shim::Call::Control || call.command != F_SETLKW || call.lock->l_start != 0 ||
            call.lock->l_len != kPhaseLength)
            return {};
        struct flock lock = *call.lock;
        int result;
        do
            result = fcntl(call.descriptor, F_SETLKW, &lock);
        while (result != 0 && errno == EINTR);
        if (result != 0) return {.replaced = true, .result = -1, .error = errno};
        const std::uint32_t victim = journal_->quarantine;
        if (victim == 0 || victim == own_) return {.replaced = true, .result = 0};
        lock.l_type = F_UNLCK;
        fcntl(call.descriptor, F_SETLK, &lock);
        return {.replaced = true, .result = -1, .error = ECANCELED};
    }

  private:
    static constexpr off_t kPhaseLength = 0x3fffffff;

    Journal *journal_;
    const std::uint32_t own_;
};

}  // namespace stress

#endif
