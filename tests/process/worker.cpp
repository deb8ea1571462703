#include "worker.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <fcntl.h>
#include <cstdlib>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace process_testing {
namespace {

constexpr char kResult = 'r', kWaiting = 'w', kPaused = 'p';

bool sendAll(int fd, const void *data, std::size_t length) {
    const char *at = static_cast<const char *>(data);
    while (length > 0) {
        const ssize_t done = write(fd, at, length);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        at += done;
        length -= static_cast<std::size_t>(done);
    }
    return true;
}

bool receiveAll(int fd, void *data, std::size_t length) {
    char *at = static_cast<char *>(data);
    while (length > 0) {
        const ssize_t done = read(fd, at, length);
        if (done < 0 && errno == EINTR) continue;
        if (done <= 0) return false;
        at += done;
        length -= static_cast<std::size_t>(done);
    }
    return true;
}

// Ends of pipes that this process keeps; a new worker must not hold copies of them.
std::vector<int> &keptEnds() {
    static std::vector<int> ends;
    return ends;
}

// The side of the worker.
Job current;
int commands = -1, answers = -1;

void sayToParent(char kind) {
    current.kind = kind;
    if (!sendAll(answers, &current, sizeof current)) _exit(3);
}

void noteWaiting(const LockCall &call) {
    if (current.quiet) return;
    current.lock = call;
    sayToParent(kWaiting);
}

void noteDone(const LockCall &call) {
    if (current.lockCount < kTraceRoom) current.locks[current.lockCount] = call;
    ++current.lockCount;
    if (!current.pauseInPhase || !call.granted || !call.index || call.start != 0 || call.type == F_UNLCK) return;
    current.pauseInPhase = false;
    current.lock = call;
    sayToParent(kPaused);
    char go;
    if (!receiveAll(commands, &go, 1)) _exit(3);
}

testing::AssertionResult describe(bool good, const Job &job, const char *wanted) {
    if (good) return testing::AssertionSuccess();
    return testing::AssertionFailure() << "wanted " << wanted << "; message '" << (job.kind ? job.kind : '0')
                                       << "', result " << job.result << ", error " << job.error << ", io " << job.io
                                       << ", recnum " << job.recnum;
}

testing::AssertionResult describeError(const Job &job, int error, int io) {
    return describe(job.kind == kResult && job.result == -1 && job.error == error && job.io == io, job,
                    ("error " + std::to_string(error) + ", io " + std::to_string(io)).c_str());
}

// A call that was let go may meet the phase lock of the one that let it go.
char nextBeyondPhase(Worker &worker) {
    char kind = worker.next();
    while (kind == kWaiting && worker.last().lock.index)
        kind = worker.next();
    return kind;
}

}  // namespace

void Worker::serve(int in, int out) {
    commands = in;
    answers = out;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    lockSpy.waiting = noteWaiting;
    lockSpy.done = noteDone;
    while (receiveAll(commands, &current, sizeof current)) {
        current.lockCount = 0;
        current.result = current.run(current);
        current.error = iserrno;
        current.io = iserrio;
        current.recnum = isrecnum;
        current.reclen = isreclen;
        sayToParent(kResult);
    }
    iscleanup();
    _exit(0);
}

Worker::Worker() {
    std::signal(SIGPIPE, SIG_IGN);
    int down[2], up[2];
    if (pipe(down) != 0 || pipe(up) != 0) std::abort();
    pid_ = fork();
    if (pid_ < 0) std::abort();
    if (pid_ == 0) {
        for (const int end : keptEnds())
            close(end);
        close(down[1]);
        close(up[0]);
        serve(down[0], up[1]);
    }
    close(down[0]);
    close(up[1]);
    out_ = down[1];
    in_ = up[0];
    keptEnds().push_back(in_);
    keptEnds().push_back(out_);
}

Worker::~Worker() { end(busy_); }

void Worker::kill() { end(true); }

void Worker::end(bool forced) {
    if (pid_ < 0) return;
    if (forced) ::kill(pid_, SIGKILL);
    std::erase(keptEnds(), in_);
    std::erase(keptEnds(), out_);
    close(out_);
    close(in_);
    int status = 0;
    while (waitpid(pid_, &status, 0) < 0 && errno == EINTR) {
    }
    pid_ = -1;
    if (!forced && !(WIFEXITED(status) && WEXITSTATUS(status) == 0))
        ADD_FAILURE() << "worker ended with status " << status;
}

void Worker::start(const Job &job) {
    EXPECT_FALSE(busy_) << "the worker has a job";
    busy_ = sendAll(out_, &job, sizeof job);
    EXPECT_TRUE(busy_) << "the worker is gone";
}

char Worker::next() {
    if (!busy_ || !receiveAll(in_, &last_, sizeof last_)) {
        ADD_FAILURE() << "the worker has nothing to say";
        busy_ = false;
        last_ = Job();
        last_.result = -2;
        return 0;
    }
    busy_ = last_.kind != kResult;
    return last_.kind;
}

void Worker::resume() {
    const char go = 'g';
    EXPECT_TRUE(sendAll(out_, &go, 1));
}

const Job &Worker::finish() {
    char kind = next();
    while (kind != kResult && kind != 0)
        kind = next();
    return last_;
}

const Job &Worker::run(const Job &job) {
    start(job);
    return finish();
}

Worker *Worker::firstToAnswer(Worker &one, Worker &other) {
    pollfd ends[2] = {{one.in_, POLLIN, 0}, {other.in_, POLLIN, 0}};
    while (poll(ends, 2, -1) < 0 && errno == EINTR) {
    }
    return ends[0].revents != 0 ? &one : &other;
}

testing::AssertionResult succeeds(Worker &worker, const Job &job) {
    worker.run(job);
    return describe(worker.last().result >= 0 && worker.last().error == 0, worker.last(), "success");
}

testing::AssertionResult fails(Worker &worker, const Job &job, int error, int io) {
    return describeError(worker.run(job), error, io);
}

testing::AssertionResult waits(Worker &worker, const Job &job) {
    worker.start(job);
    const char kind = worker.next();
    return describe(kind == kWaiting, worker.last(), "waiting");
}

testing::AssertionResult keepsWaiting(Worker &worker) {
    const char kind = nextBeyondPhase(worker);
    return describe(kind == kWaiting, worker.last(), "waiting for a record");
}

testing::AssertionResult pauses(Worker &worker, Job job) {
    job.pauseInPhase = true;
    worker.start(job);
    const char kind = worker.next();
    return describe(kind == kPaused, worker.last(), "a pause");
}

testing::AssertionResult finishes(Worker &worker) {
    const char kind = nextBeyondPhase(worker);
    const Job &job = worker.last();
    return describe(kind == kResult && job.result >= 0 && job.error == 0, job, "success");
}

testing::AssertionResult finishesWith(Worker &worker, int error, int io) {
    nextBeyondPhase(worker);
    return describeError(worker.last(), error, io);
}

}  // namespace process_testing
