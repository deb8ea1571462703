#include "worker.h"

#include <ctime>
#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>

namespace stress {
namespace {

void moment() {
    const timespec time{0, 200000};
    nanosleep(&time, nullptr);
}

}  // namespace

// Holds what it has for longer, so that others meet it.
void Worker::linger() { moment(); }

Worker::Worker(Journal *journal, int slot, const std::string &dir, std::uint64_t seed)
    : journal_(journal), slot_(slot), own_(static_cast<std::uint32_t>(slot + 1)), seat_(journal->seats[slot]),
      dir_(dir), random_(seed), mapped_(random_.percent(50)), quarantine_(journal, slot), seen_(kKeys) {
    seat_.mapped = mapped_ ? 1 : 0;
}

int Worker::run() {
    shim::observe(&quarantine_);
    while (journal_->phase != static_cast<std::uint32_t>(Phase::Quit)) {
        if (journal_->phase == static_cast<std::uint32_t>(Phase::Park) || stopped_) {
            pause();
            continue;
        }
        if (fd_ < 0) open();
        if (!stopped_) unit();
    }
    close();
    return 0;
}

// Each process does everything, but something of it more often than the others do.
void Worker::unit() {
    enum { kRead, kWrite, kRewrite, kDelete, kLock, kOpen, kTransaction, kRoles };
    static constexpr int kOften[kRoles] = {30, 16, 16, 12, 10, 4, 12};
    int role = slot_ % kRoles;
    if (role == kOpen ? !chance(10) : !chance(35)) {
        int drawn = random_.below(100);
        for (role = 0; drawn >= kOften[role]; ++role)
            drawn -= kOften[role];
    }
    switch (role) {
    case kRead: readUnit(); break;
    case kWrite: chance(10) ? duplicate() : static_cast<void>(insert(Purpose::Insert)); break;
    case kRewrite: chance(15) ? bold() : static_cast<void>(rewrite(Purpose::Change)); break;
    case kDelete: remove(Purpose::Change); break;
    case kLock: lockUnit(); break;
    case kOpen: openUnit(); break;
    default: transactionUnit(); break;
    }
}

// Everybody else, or nobody, works now. The file is closed until it goes on.
void Worker::pause() {
    close();
    seat_.parked = 1;
    while (journal_->phase == static_cast<std::uint32_t>(Phase::Park) || journal_->quarantine != 0) {
        ++seat_.heartbeat;
        if (journal_->task != 0 && journal_->taskSeat == own_) {
            doing(Action::Exclusive);
            perform(static_cast<Task>(journal_->task.load()));
            close();
            journal_->task = 0;
        } else if (journal_->exclusive != 0 && journal_->exclusive != own_ && chance(5)) {
            probeExclusive();
        }
        moment();
    }
    stopped_ = false;
    seat_.parked = 0;
}

std::string Worker::logPath() const { return dir_ + "/log." + std::to_string(journal_->epoch); }

// Somebody may be trying to have the file alone: that keeps others out for a moment.
int Worker::openRetrying(int mode) {
    for (;;) {
        doing(Action::Open);
        const int fd = isopen(basePath().c_str(), mapped_ && chance(80) ? mode | ISMAPPED : mode);
        const int code = did(fd < 0 ? -1 : 0, Counter::OpenCalls);
        if (fd >= 0 || stopped_) return fd;
        if (code != ISERR_FILEINUSE) finding(-1, "isopen: %d/%d", code, iserrio);
        add(Counter::Waits);
        moment();
    }
}

void Worker::open() {
    if (!logged_) {
        if (islogopen(logPath().c_str()) != 0) finding(-1, "islogopen: %d", iserrno);
        logged_ = true;
    }
    fd_ = openRetrying(ISINOUT | ISTRANS | ISVARLEN | ISLOCKMANUAL);
    if (fd_ < 0) return;
    seat_.holds = 1;
    add(Counter::Opens);
    readIndexes();
}

// One by one: isisaminfo also counts the free records, whose list may be what a kill has damaged.
void Worker::readIndexes() {
    current_ = 0;
    indexes_.clear();
    for (;;) {
        KeyDesc found{};
        const int code = did(isindexinfo(fd_, &found, static_cast<int>(indexes_.size()) + 1), Counter::OpenCalls);
        if (stopped_) return;
        if (code == ISERR_ARGUMENT) break;
        if (code != 0) finding(-1, "isindexinfo: %d/%d", code, iserrio);
        indexes_.push_back(found);
    }
    const int count = static_cast<int>(indexes_.size());
    if (count != kIndexes + (journal_->fifth != 0 ? 1 : 0)) finding(-1, "%d indexes", count);
}

void Worker::close() {
    for (const int key : locked_)
        entry(key).holder = 0;
    locked_.clear();
    if (journal_->whole == own_) journal_->wholeHas = 0, journal_->whole = 0;
    seat_.holds = 0;
    if (fd_ >= 0 && isclose(fd_) != 0 && iserrno != ECANCELED) finding(-1, "isclose: %d/%d", iserrno, iserrio);
    fd_ = -1;
    if (logged_ && islogclose() != 0) finding(-1, "islogclose: %d", iserrno);
    logged_ = false;
}

// What the last call answered. From a call that was stopped on, nothing is expected of this process until it pauses.
int Worker::did(int result, Counter counter) {
    ++seat_.heartbeat;
    add(counter);
    const int code = result == 0 ? 0 : iserrno;
    if (code == ECANCELED) {
        stopped_ = true;
        add(Counter::StoppedCalls);
    } else if (code == ISERR_LOCKED) {
        add(Counter::Refused);
    }
    return code;
}

void Worker::doing(Action action, int key) {
    seat_.doing = static_cast<std::uint32_t>(action) << 16 | static_cast<std::uint32_t>(key & 0xffff);
}

void Worker::finding(int key, const char *format, ...) {
    char text[kTextLength];
    std::va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    ++journal_->findings;
    if (journal_->exclusive == own_) journal_->exclusive = 0;
    const std::string before = extract(*journal_, key, 40);
    std::fprintf(stderr, "process %d (%d-bit, pid %d), key %d: %s\n%s", slot_, static_cast<int>(sizeof(long) * 8),
                 static_cast<int>(getpid()), key, text, before.c_str());
    _exit(3);
}

}  // namespace stress
