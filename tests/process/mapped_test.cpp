#include "process_test.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <sys/wait.h>
#include <unistd.h>

namespace process_testing {
namespace {

constexpr int kProcesses = 4, kEach = 300;

inline const KeyDesc kByText = keyDesc(ISDUPS | ISDUPCOMP | ISLEADCOMP | ISTRAILCOMP, {{16, 24}});

// Processes of which some work on the file through memory.
class MappedProcesses : public ProcessTest {
  protected:
    static int modeOf(int process) { return process % 2 == 0 ? kShared | ISMAPPED : kShared; }
};

TEST_F(MappedProcesses, SeeEachOthersChangesAtOnce) {
    build(2);
    Worker mapped, plain, other;
    open(mapped, kShared | ISMAPPED);
    open(plain);
    open(other, kShared | ISMAPPED);
    Worker *workers[] = {&mapped, &plain, &other};
    for (int i = 0; i < 60; ++i) {
        Worker &writer = *workers[i % 3];
        const int key = 1000 + i;
        ASSERT_TRUE(succeeds(writer, jobs::write(0, item(key, 1))));
        for (Worker *reader : workers)
            ASSERT_EQ(read(*reader, ISEQUAL, item(key)), item(key, 1)) << i;
        Worker &changer = *workers[(i + 1) % 3];
        ASSERT_TRUE(succeeds(changer, jobs::rewrite(0, item(key, 2))));
        for (Worker *reader : workers)
            ASSERT_EQ(read(*reader, ISEQUAL, item(key)), item(key, 2)) << i;
        if (i % 4 == 0) {
            ASSERT_TRUE(succeeds(*workers[(i + 2) % 3], jobs::remove(0, item(key))));
            for (Worker *reader : workers)
                ASSERT_TRUE(fails(*reader, jobs::read(0, ISEQUAL, item(key)), ISERR_NOTFOUND)) << i;
        }
    }
    for (Worker *worker : workers)
        ASSERT_TRUE(succeeds(*worker, jobs::close(0)));
    expectSound();
}

// Writes a share of the keys, takes every third back and changes every fifth.
int churn(Job &job) {
    for (int i = 0; i < kEach; ++i) {
        const int key = i * kProcesses + static_cast<int>(job.number);
        const std::string text = "name " + std::to_string(key % 17);
        std::string record = item(key, key % 5, text);
        if (iswrite(job.fd, record.data()) != 0) return -1;
        if (i % 3 == 1 && isdelete(job.fd, record.data()) != 0) return -1;
        if (i % 5 == 2 && i % 3 != 1) {
            record = item(key, 7, text + " changed");
            if (isrewrite(job.fd, record.data()) != 0) return -1;
        }
    }
    return 0;
}

TEST_F(MappedProcesses, ChangeAFileAtOnce) {
    build(0);
    {
        Worker maker;
        open(maker, kExclusive);
        for (const KeyDesc &key : {kByGroup, kByText})
            ASSERT_TRUE(succeeds(maker, jobs::addIndex(0, key)));
        ASSERT_TRUE(succeeds(maker, jobs::close(0)));
    }
    std::vector<std::unique_ptr<Worker>> workers;
    for (int i = 0; i < kProcesses; ++i) {
        workers.push_back(std::make_unique<Worker>());
        open(*workers.back(), modeOf(i));
    }
    for (int i = 0; i < kProcesses; ++i)
        workers[static_cast<std::size_t>(i)]->start(jobs::quiet(jobs::withNumber(jobs::call(0, churn), i)));
    for (const auto &worker : workers) {
        const Job &job = worker->finish();
        EXPECT_EQ(job.result, 0) << "error " << job.error << ", io " << job.io;
    }
    ASSERT_TRUE(succeeds(*workers[0], jobs::info(0)));
    EXPECT_EQ(workers[0]->last().number, kProcesses * kEach * 2 / 3);
    for (const auto &worker : workers)
        ASSERT_TRUE(succeeds(*worker, jobs::close(0)));
    expectSound();
}

TEST_F(MappedProcesses, AReaderWithoutLocksMeetsWhatOthersAdd) {
    build(2);
    Worker writer, reader;
    open(writer, kShared | ISMAPPED);
    open(reader, ISINOUT | ISLOCKNONE | ISMAPPED);
    for (int i = 0; i < 100; ++i) {
        ASSERT_TRUE(succeeds(writer, jobs::write(0, item(1000 + i))));
        ASSERT_EQ(read(reader, ISEQUAL, item(1000 + i)), item(1000 + i));
    }
    EXPECT_TRUE(fails(reader, jobs::write(0, item(5)), EBADF, 0x51));
}

// Of a process that dies with files mapped nothing stays behind.
TEST_F(MappedProcesses, OneIsKilledInsideItsPhase) {
    build(2);
    Worker a, b;
    open(a, kShared | ISMAPPED);
    open(b, kShared | ISMAPPED);
    ASSERT_TRUE(pauses(a, jobs::write(0, item(5))));
    ASSERT_TRUE(waits(b, jobs::read(0, ISFIRST)));
    a.kill();
    EXPECT_TRUE(finishes(b));
    EXPECT_EQ(b.last().text(kItemLength), item(10, 1));
    EXPECT_TRUE(succeeds(b, jobs::write(0, item(6))));
    EXPECT_TRUE(succeeds(b, jobs::close(0)));
    expectSound();
}

// A child goes on with the mapping of its parent, and both with the same bytes.
int workInAChild(Job &job) {
    const pid_t child = fork();
    if (child == 0) {
        std::string record = item(25);
        _exit(iswrite(job.fd, record.data()) == 0 && isclose(job.fd) == 0 ? 0 : 1);
    }
    int status = 0;
    if (waitpid(child, &status, 0) != child || status != 0) return -1;
    std::memcpy(job.record, item(25).data(), kItemLength);
    return isread(job.fd, job.record, ISEQUAL);
}

TEST_F(MappedProcesses, AChildWorksOn) {
    build(3);
    Worker parent;
    open(parent, kShared | ISMAPPED);
    EXPECT_EQ(read(parent, ISFIRST), item(10, 1));
    ASSERT_TRUE(succeeds(parent, jobs::call(0, workInAChild)));
    EXPECT_EQ(read(parent, ISNEXT), item(30, 3));
    EXPECT_TRUE(succeeds(parent, jobs::close(0)));
    expectSound();
}

}  // namespace
}  // namespace process_testing
