// Openers and closers.
#include "worker.h"

#include <cerrno>

namespace stress {

void Worker::openUnit() {
    const int drawn = random_.below(10);
    if (drawn < 5) {
        close();
        open();
        return;
    }
    if (drawn < 8) {
        // A second handle shares the first one's files; it goes while the process holds no record.
        const int second = openRetrying(ISINPUT | ISVARAUTO | ISLOCKMANUAL);
        if (second < 0) return;
        AllKnown before;
        knowAll(*journal_, &before);
        const int code = did(isread(second, record_, ISFIRST), Counter::ReadCalls);
        if (code == 0)
            see("read by a second handle", before);
        else if (code != ISERR_ENDOFFILE && !stopped_)
            finding(-1, "read by a second handle: %d/%d", code, iserrio);
        if (did(isclose(second), Counter::OpenCalls) != 0 && !stopped_) finding(-1, "isclose: %d", iserrno);
        return;
    }
    // Exclusively it opens only where nobody else has it open.
    close();
    doing(Action::Open);
    const int fd = isopen(basePath().c_str(), ISINOUT | ISVARLEN | ISLOCKEXCL);
    const int code = did(fd < 0 ? -1 : 0, Counter::OpenCalls);
    if (fd >= 0) {
        for (int i = 0; i < kSlots; ++i)
            if (i != slot_ && journal_->seats[i].pid != 0 && journal_->seats[i].holds != 0)
                finding(-1, "isopen: exclusive, but process %d has the file open", i);
        if (did(isclose(fd), Counter::OpenCalls) != 0 && !stopped_) finding(-1, "isclose: %d", iserrno);
    } else if (code == ISERR_FILEINUSE) {
        add(Counter::KeptOut);
    } else if (!stopped_) {
        finding(-1, "isopen, exclusive: %d/%d", code, iserrio);
    }
}

// Somebody has the file alone: it cannot be opened, unless that ends meanwhile.
void Worker::probeExclusive() {
    const std::uint32_t number = journal_->exclusives;
    if (journal_->exclusive == 0) return;
    seat_.parked = 2;
    if (journal_->exclusive != 0 && journal_->exclusives == number) {
        const int fd = isopen(basePath().c_str(), ISINOUT | ISVARLEN);
        const int code = fd < 0 ? iserrno : 0;
        if (fd >= 0) isclose(fd);
        if (code == ISERR_FILEINUSE)
            add(Counter::KeptOut);
        else if (code == ENOENT && journal_->task == static_cast<std::uint32_t>(Task::Cluster))
            add(Counter::KeptOut);  // for a moment the name has no file
        else if (journal_->exclusive != 0 && journal_->exclusives == number)
            finding(-1, "isopen beside an exclusive one: %d/%d", code, iserrio);
    }
    seat_.parked = 1;
}

}  // namespace stress
