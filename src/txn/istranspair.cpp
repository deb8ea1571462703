#include "txn/istranspair.h"

#include "base/isglobal.h"
#include "base/ismemory.h"

struct ClosedPair {
    int fd, process;
    std::int64_t since;
    bool early;
};

namespace {

constexpr int kGrowth = 16;

ClosedPair *find(int fd, int process) {
    for (int i = 0; i < isProcess.closedCount; ++i) {
        ClosedPair *pair = &isProcess.closed[i];
        if (pair->fd == fd && pair->process == process) return pair;
    }
    return nullptr;
}

ClosedPair *add() {
    ProcessState &p = isProcess;
    if (p.closedCount == p.closedRoom) {
        const auto size = sizeof(ClosedPair) * static_cast<std::size_t>(p.closedRoom);
        p.closed = static_cast<ClosedPair *>(is_realloc(p.closed, size, size + sizeof(ClosedPair) * kGrowth));
        p.closedRoom += kGrowth;
    }
    return &p.closed[p.closedCount++];
}

}  // namespace

void isNoteClosed(int fd, int process, std::int64_t since, bool early) {
    ClosedPair *pair = find(fd, process);
    if (pair == nullptr) pair = add();
    *pair = {fd, process, since, early};
}

std::int64_t isClosedSince(int fd, int process) {
    const ClosedPair *pair = find(fd, process);
    return pair != nullptr ? pair->since : 0;
}

bool isClosedEarly(int fd, int process) {
    ClosedPair *pair = find(fd, process);
    if (pair == nullptr || !pair->early) return false;
    pair->early = false;
    return true;
}

void isFreeClosed() {
    ProcessState &p = isProcess;
    p.closed = static_cast<ClosedPair *>(is_free(p.closed));
    p.closedCount = p.closedRoom = 0;
}
