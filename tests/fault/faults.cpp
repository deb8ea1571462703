#include "faults.h"

#include <unistd.h>

#include <cerrno>

namespace fault_testing {

using shim::Call;

namespace {

constexpr long kBurst = 3;

struct Kind {
    const char *name;
    int error;
};
constexpr Kind kKinds[kFaultCount] = {{"EIO", EIO},         {"ENOSPC", ENOSPC},   {"EDQUOT", EDQUOT},
                                      {"EINTR", EINTR},     {"ENOLCK", ENOLCK},   {"EMFILE", EMFILE},
                                      {"short-write", EIO}, {"short-read", EIO},  {"empty-write", EIO},
                                      {"empty-read", EIO},  {"no-memory", ENOMEM}};

bool isWrite(const shim::Arguments &a) { return a.call == Call::Write || a.call == Call::PositionedWrite; }
bool isRead(const shim::Arguments &a) { return a.call == Call::Read || a.call == Call::PositionedRead; }
bool isLock(const shim::Arguments &a) { return a.call == Call::Control && a.lock != nullptr; }
bool lifts(const shim::Arguments &a) {
    return a.call == Call::Control && (a.command == F_DUPFD || a.command == F_DUPFD_CLOEXEC);
}
bool makesName(const shim::Arguments &a) {
    return a.call == Call::Link || (a.call == Call::Open && (a.flags & O_CREAT) != 0);
}

}  // namespace

const char *faultName(Fault fault) { return kKinds[static_cast<int>(fault)].name; }

int faultError(Fault fault) { return kKinds[static_cast<int>(fault)].error; }

bool isInvisible(Fault fault) {
    return fault == Fault::Interrupted || fault == Fault::ShortWrite || fault == Fault::ShortRead;
}

bool befalls(Fault fault, const shim::Arguments &a) {
    switch (fault) {
    case Fault::InputOutput: return !shim::isMemory(a.call) && (a.call != Call::Control || isLock(a));
    case Fault::NoSpace:
    case Fault::Quota: return isWrite(a) || makesName(a);
    case Fault::Interrupted:
        return isWrite(a) || isRead(a) || isLock(a) || a.call == Call::Open || a.call == Call::Close ||
               a.call == Call::Truncate;
    case Fault::NoLocks: return isLock(a);
    case Fault::NoDescriptors: return a.call == Call::Open || lifts(a);
    case Fault::ShortWrite: return isWrite(a) && a.length > 1;
    case Fault::ShortRead: return isRead(a) && a.length > 1;
    case Fault::EmptyWrite: return isWrite(a);
    case Fault::EmptyRead: return isRead(a);
    case Fault::NoMemory: return shim::isMemory(a.call) && a.call != Call::Free;
    }
    return false;
}

std::string Strike::text() const {
    return "--call " + std::to_string(call) + " --fault " + faultName(fault) + (lasting ? " --lasting" : "");
}

shim::Answer Injector::before(const shim::Arguments &a) {
    if (a.call == Call::Free) {
        if (a.buffer != nullptr) --blocks_;
        return {};
    }
    ++calls_;
    if (trace != nullptr) {
        unsigned faults = 0;
        for (int i = 0; i < kFaultCount; ++i)
            if (befalls(static_cast<Fault>(i), a)) faults |= 1U << i;
        trace->push_back({a.call, faults});
    }
    if (strike_.call == 0 || calls_ < strike_.call || !befalls(strike_.fault, a)) return {};
    if (!strike_.lasting && calls_ > strike_.call) return {};
    if (strike_.fault == Fault::Interrupted && hits_ == kBurst) return {};
    if (hits_++ == 0 && struck) struck(a.call);

    shim::Answer answer;
    if (strike_.fault == Fault::ShortWrite || strike_.fault == Fault::ShortRead) {
        answer.cutTo = a.length / 2;
        return answer;
    }
    if (isLock(a) && a.lock->l_type == F_UNLCK && strike_.fault != Fault::Interrupted) unlocksFailed_ = true;
    // The descriptor is gone whatever close says.
    if (a.call == Call::Close) close(a.descriptor);
    answer.replaced = true;
    if (strike_.fault == Fault::EmptyWrite || strike_.fault == Fault::EmptyRead) answer.result = 0;
    answer.error = faultError(strike_.fault);
    return answer;
}

void Injector::after(const shim::Arguments &a, long result, int) {
    if (result < 0) return;
    if (a.call == Call::Allocate || a.call == Call::AllocateCleared) ++blocks_;
    if (a.call == Call::Reallocate && a.buffer == nullptr) ++blocks_;
}

}  // namespace fault_testing
