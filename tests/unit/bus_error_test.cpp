// Mapped files that are cut off or find no room: the handler of SIGBUS, and what the calls report.

#include <fcntl.h>
#include <sched.h>
#include <sys/mman.h>
#include <sys/mount.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <functional>

#include "base/isglobal.h"
#include "base/ismap.h"
#include "base/issystem.h"
#include "isam_maint.h"
#include "support/file_check.h"
#include "unit/refusal.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

constexpr int kMapped = ISINOUT | ISMAPPED;
constexpr int kRecords = 2000;
constexpr unsigned kPatience = 20;  // seconds

void fill(ScratchFile &file, int count = kRecords) {
    for (int i = 0; i < count; ++i)
        ASSERT_EQ(file.write(std::to_string(100000 + i)), i + 1);
}

int read(int fd, int i) {
    std::string record = std::to_string(100000 + i);
    record.resize(50, ' ');
    return isread(fd, record.data(), ISEQUAL) == 0 ? 0 : iserrno;
}

// Runs body in a child and returns the status that it ends with. A fault that nobody mends comes again for ever.
int childStatus(const std::function<int()> &body) {
    const pid_t pid = fork();
    if (pid == 0) {
        alarm(kPatience);
        _exit(body());
    }
    int status = 0;
    EXPECT_EQ(waitpid(pid, &status, 0), pid);
    return status;
}

int exitOf(const std::function<int()> &body) {
    const int status = childStatus(body);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

TEST(CutMapped, DataFileFailsAsWithoutMapping) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file);
    ASSERT_EQ(read(file.fd(), 1999), 0);
    ASSERT_EQ(truncate((file.base() + ".dat").c_str(), 4096), 0);
    EXPECT_EQ(read(file.fd(), 1999), EIO);
    EXPECT_EQ(iserrio, 0x42);
    EXPECT_EQ(file.handle()->maps[1].reach, 0) << "it is not worked on so any more";
    EXPECT_NE(file.handle()->maps[0].reach, 0);
    EXPECT_EQ(read(file.fd(), 7), 0);
}

TEST(CutMapped, IndexFileFailsAsWithoutMapping) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file);
    ASSERT_EQ(isclose(file.fd()), 0);
    const int fd = isopen(file.base().c_str(), kMapped);
    ASSERT_EQ(read(fd, 0), 0);
    ASSERT_EQ(truncate((file.base() + ".idx").c_str(), 0), 0);
    EXPECT_EQ(read(fd, 1999), EIO);
    EXPECT_EQ(iserrio, 0x41);
    EXPECT_EQ(isclose(fd), 0);
}

// A write makes the file longer again, as it does without mapping.
TEST(CutMapped, AWriteGoesTheOrdinaryWay) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file);
    IsamFile *h = file.handle();
    char byte = 'x';
    ASSERT_EQ(is_read(h, ISKIND_DATA, &byte, 1, 90000), 1);
    ASSERT_EQ(truncate((file.base() + ".dat").c_str(), 4096), 0);
    byte = '!';
    EXPECT_EQ(is_write(h, ISKIND_DATA, &byte, 1, 90000), 1);
    EXPECT_EQ(is_size(h, ISKIND_DATA), 90001);
    EXPECT_EQ(is_read(h, ISKIND_DATA, &byte, 1, 90000), 1);
    EXPECT_EQ(byte, '!');
}

// Several pages fail in one copy.
TEST(CutMapped, LongTransfers) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file);
    IsamFile *h = file.handle();
    std::string bytes(65536, 'x');
    ASSERT_EQ(is_read(h, ISKIND_DATA, bytes.data(), 65536, 10), 1);
    ASSERT_EQ(truncate((file.base() + ".dat").c_str(), 100), 0);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, bytes.data(), 65536, 10), 0);
    EXPECT_EQ(isProcess.busWatch.hit, 0);
    EXPECT_EQ(isProcess.busWatch.base, nullptr);
}

// Known limit: what lies behind the end in the end's own page reads as zeros, until the length is looked at.
TEST(CutMapped, TheEndsOwnPage) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file);
    IsamFile *h = file.handle();
    char byte = 'x';
    ASSERT_EQ(is_read(h, ISKIND_DATA, &byte, 1, 4000), 1);
    ASSERT_EQ(truncate((file.base() + ".dat").c_str(), 100), 0);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, &byte, 1, 4000), 1);
    EXPECT_EQ(byte, '\0');
    isForgetCached(h);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, &byte, 1, 4000), 1) << "the header has as many records as before";
    // A copy that fails cuts off what it has added, and the header tells.
    h->dataFree.last = 1;
    isForgetCached(h);
    EXPECT_EQ(is_read_within(h, ISKIND_DATA, &byte, 1, 4000), 0);
}

bool tell(const char *path, const std::string &text) {
    const int fd = open(path, O_WRONLY);
    const bool told = fd >= 0 && ::write(fd, text.data(), text.size()) > 0;
    return close(fd) == 0 && told;
}

// A file system of its own for the process: root has one, others in a name space where they are root.
bool ownFileSystem(const std::string &place, const char *options) {
    const std::string user = std::to_string(getuid()), group = std::to_string(getgid());
    if (unshare(CLONE_NEWNS) != 0 &&
        (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !tell("/proc/self/uid_map", "0 " + user + " 1") ||
         !tell("/proc/self/setgroups", "deny") || !tell("/proc/self/gid_map", "0 " + group + " 1")))
        return false;
    return mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
           mount("none", place.c_str(), "tmpfs", 0, options) == 0;
}

// Room in a hole of the file is looked for when it is written to.
TEST(FullMapped, AHoleWithoutRoomIsReported) {
    const int outcome = exitOf([] {
        testing_support::TempDir dir;
        if (!ownFileSystem(dir.path(), "size=128k")) return 77;
        const std::string base = dir.file("file"), filler = dir.file("filler");
        KeyDesc key = charKey(6);
        const int fd = isbuild(base.c_str(), 50, &key, kMapped);
        std::string record(50, 'x');
        if (fd < 0 || iswrite(fd, record.data()) != 0) return 1;
        IsamFile *h = isAdmItoD(fd);
        char byte = 0;
        if (truncate((base + ".dat").c_str(), 1000000) != 0) return 2;
        if (!is_read_within(h, ISKIND_DATA, &byte, 1, 500000)) return 3;
        const int full = open(filler.c_str(), O_CREAT | O_WRONLY, 0666);
        std::string much(4096, 'y');
        while (::write(full, much.data(), much.size()) > 0) {
        }
        const bool done = isOperation(h, ISCLASS_WRITE, [&] { return is_write(h, ISKIND_DATA, "!", 1, 600000); }) != 0;
        if (done || h->errcode != ENOSPC || h->errio != 0x52) return 4;
        if (unlink(filler.c_str()) != 0 || close(full) != 0) return 5;
        if (!is_write(h, ISKIND_DATA, "!", 1, 600000)) return 6;
        isclose(fd);
        umount(dir.path().c_str());
        return 0;
    });
    if (outcome == 77) GTEST_SKIP() << "no file system of its own to be had";
    EXPECT_EQ(outcome, 0);
}

// Touches a page behind the end of a file of its own.
int fault(const std::string &path) {
    const int fd = open(path.c_str(), O_CREAT | O_RDWR, 0666);
    void *page = mmap(nullptr, 4096, PROT_READ, MAP_SHARED, fd, 0);
    return *static_cast<volatile char *>(page);
}

void onSignal(int) { _exit(7); }
void onInfo(int, siginfo_t *info, void *) { _exit(info->si_code == BUS_ADRERR ? 8 : 9); }
volatile sig_atomic_t told = 0;
void note(int) { told = told + 1; }

void install(void (*handler)(int), int flags = 0) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(SIGBUS, &action, nullptr);
}

class ForeignFault : public testing::Test {
  protected:
    int openMapped() {
        const int fd = isopen(file_.base().c_str(), kMapped);
        return fd >= 0 && isAdmItoD(fd)->maps != nullptr && read(fd, 1) == 0 ? fd : -1;
    }
    void SetUp() override { fill(file_, 10); }

    ScratchFile file_{50, charKey(6)};
    const std::string own_ = file_.base() + ".own";
};

TEST_F(ForeignFault, GoesToTheHandlerBefore) {
    EXPECT_EQ(exitOf([this] {
                  install(onSignal);
                  return openMapped() < 0 ? 1 : fault(own_);
              }),
              7);
    EXPECT_EQ(exitOf([this] {
                  struct sigaction action = {};
                  action.sa_sigaction = onInfo;
                  action.sa_flags = SA_SIGINFO;
                  sigaction(SIGBUS, &action, nullptr);
                  return openMapped() < 0 ? 1 : fault(own_);
              }),
              8);
}

// In the middle of a copy too: the record that is read goes into a page that is none.
TEST_F(ForeignFault, IsOneInsideACopyAsWell) {
    EXPECT_EQ(exitOf([this] {
                  install(onSignal);
                  const int fd = openMapped(), own = open(own_.c_str(), O_CREAT | O_RDWR, 0666);
                  void *page = mmap(nullptr, 4096, PROT_READ | PROT_WRITE, MAP_SHARED, own, 0);
                  return fd < 0 ? 1 : is_read(isAdmItoD(fd), ISKIND_DATA, page, 50, 0);
              }),
              7);
}

TEST_F(ForeignFault, EndsTheProcessWhereThereIsNone) {
    for (const auto handler : {SIG_DFL, SIG_IGN})
        EXPECT_EQ(exitOf([this, handler] {
                      install(handler);
                      return openMapped() < 0 ? 1 : fault(own_);
                  }),
                  -SIGBUS);
}

// A fault of the library's own too, where the zeros cannot be put there.
TEST_F(ForeignFault, IsWhatThereIsNoRoomToMend) {
    EXPECT_EQ(exitOf([this] {
                  install(SIG_DFL);
                  const int fd = openMapped();
                  if (fd < 0) return 1;
                  unit::Refusal refused(ENOMEM, unit::every(shim::Call::Map));
                  if (truncate((file_.base() + ".dat").c_str(), 0) != 0) return 2;
                  return read(fd, 2);
              }),
              -SIGBUS);
}

TEST_F(ForeignFault, AHandlerForOnceIsCalledOnce) {
    EXPECT_EQ(exitOf([this] {
                  install(note, static_cast<int>(SA_RESETHAND));
                  if (openMapped() < 0) return 1;
                  raise(SIGBUS);
                  if (told != 1) return 2;
                  raise(SIGBUS);
                  return 3;
              }),
              -SIGBUS);
}

TEST_F(ForeignFault, ASignalThatWasSentIsNotOurs) {
    EXPECT_EQ(exitOf([this] {
                  install(note);
                  if (openMapped() < 0) return 1;
                  raise(SIGBUS);
                  return told == 1 ? 0 : 2;
              }),
              0);
    EXPECT_EQ(exitOf([this] {
                  install(SIG_IGN);
                  if (openMapped() < 0) return 1;
                  raise(SIGBUS);
                  return 0;
              }),
              0);
}

bool handles(void (*handler)(int)) {
    struct sigaction present;
    return sigaction(SIGBUS, nullptr, &present) == 0 && (present.sa_flags & SA_SIGINFO) == 0 &&
           present.sa_handler == handler;
}

TEST_F(ForeignFault, TheLastHandleGivesTheSignalBack) {
    EXPECT_EQ(exitOf([this] {
                  install(note);
                  for (int i = 0; i < 3; ++i) {
                      const int one = openMapped(), two = openMapped();
                      if (one < 0 || two < 0 || handles(note)) return 1;
                      isclose(one);
                      if (handles(note)) return 2;
                      isclose(two);
                      if (!handles(note)) return 3;
                  }
                  return 0;
              }),
              0);
}

// Whoever has taken the signal since keeps it, and what he passes on does not come back to him.
void (*below)(int, siginfo_t *, void *);
void passDown(int signal, siginfo_t *info, void *context) {
    told = told + 1;
    below(signal, info, context);
}

TEST_F(ForeignFault, ALaterHandlerStays) {
    EXPECT_EQ(exitOf([this] {
                  install(note);
                  int fd = openMapped();
                  struct sigaction later = {}, ours;
                  later.sa_sigaction = passDown;
                  later.sa_flags = SA_SIGINFO;
                  sigaction(SIGBUS, &later, &ours);
                  below = ours.sa_sigaction;
                  isclose(fd);
                  fd = openMapped();
                  if (fd < 0) return 1;
                  raise(SIGBUS);
                  if (told != 2) return 2;
                  // It passes on what is the library's.
                  if (truncate((file_.base() + ".dat").c_str(), 0) != 0 || read(fd, 1) != EIO) return 3;
                  if (told != 3) return 4;
                  isclose(fd);
                  sigaction(SIGBUS, &ours, nullptr);
                  if ((fd = openMapped()) >= 0) return 5;  // the data file is gone
                  isclose(0);
                  return 0;
              }),
              0);
}

// A child that was forked has the mapping, and its own pages in place of those that failed.
TEST(CutMapped, InAChild) {
    ScratchFile file(50, charKey(6), kMapped);
    fill(file);
    ASSERT_EQ(read(file.fd(), 1), 0);
    EXPECT_EQ(exitOf([&] {
                  if (read(file.fd(), 2) != 0 || isAdmItoD(file.fd())->maps == nullptr) return 1;
                  if (truncate((file.base() + ".dat").c_str(), 0) != 0) return 2;
                  return read(file.fd(), 3) == EIO ? 0 : 3;
              }),
              0);
    EXPECT_EQ(read(file.fd(), 4), EIO);
    EXPECT_EQ(isProcess.busWatch.handles, 1);
}

}  // namespace
