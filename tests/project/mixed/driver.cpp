// Lets two workers, possibly of different word size, work on one file set.
//
//   mixed_driver WORKER WORKER [BITS BITS]: paths of the workers, and how wide a long each must have.
//
// First in turns, each step answered before the next is asked for; then both at once. Ends with status 1 after the
// first answer that is not the expected one.
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <poll.h>
#include <string>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

// Nothing a worker is asked for takes longer.
constexpr int kAnswerMs = 60000;
// How long a worker that waits for a lock is watched for an answer that comes too early.
constexpr int kQuietMs = 100;

int steps = 0;
std::string dir;

void removeFiles() {
    std::error_code ignored;
    std::filesystem::remove_all(dir, ignored);
}

[[noreturn]] void fail(const std::string &what) {
    removeFiles();
    std::fprintf(stderr, "step %d: %s\n", steps, what.c_str());
    std::exit(1);
}

class Worker {
  public:
    Worker(const char *name, const char *program) : name_(name) {
        int to[2], from[2];
        if (pipe2(to, O_CLOEXEC) != 0 || pipe2(from, O_CLOEXEC) != 0) fail("pipe");
        pid_ = fork();
        if (pid_ < 0) fail("fork");
        if (pid_ == 0) {
            dup2(to[0], 0);
            dup2(from[1], 1);
            execl(program, program, static_cast<char *>(nullptr));
            std::perror(program);
            _exit(127);
        }
        close(to[0]);
        close(from[1]);
        to_ = to[1];
        from_ = from[0];
    }

    void send(const std::string &command) {
        command_ = command;
        const std::string line = command + "\n";
        if (write(to_, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
            fail(name_ + ": cannot be told to " + command);
    }

    // The answer to the last command must be as given; a final * stands for any rest.
    void expect(std::string expected) {
        ++steps;
        const std::string answer = receive();
        bool good = answer == expected;
        if (!expected.empty() && expected.back() == '*') {
            expected.pop_back();
            good = answer.compare(0, expected.size(), expected) == 0;
        }
        if (!good) fail(name_ + ": " + command_ + ": answered \"" + answer + "\", expected \"" + expected + "\"");
    }

    void ask(const std::string &command, const std::string &expected) {
        send(command);
        expect(expected);
    }

    void expectNoAnswerYet() {
        ++steps;
        pollfd wanted{from_, POLLIN, 0};
        if (poll(&wanted, 1, kQuietMs) != 0) fail(name_ + ": " + command_ + ": answered too early");
    }

    void finish() {
        ++steps;
        close(to_);
        int status = 0;
        if (waitpid(pid_, &status, 0) != pid_ || status != 0)
            fail(name_ + ": ended with status " + std::to_string(status));
    }

  private:
    std::string receive() {
        std::string line;
        for (char byte = 0;; line += byte) {
            pollfd wanted{from_, POLLIN, 0};
            if (poll(&wanted, 1, kAnswerMs) != 1) fail(name_ + ": " + command_ + ": no answer");
            if (read(from_, &byte, 1) != 1) fail(name_ + ": " + command_ + ": ended");
            if (byte == '\n') return line;
        }
    }

    std::string name_;
    std::string command_;
    pid_t pid_ = -1;
    int to_ = -1;
    int from_ = -1;
};

// Each changes what the other wrote.
void inTurns(Worker &a, Worker &b) {
    a.ask("write 1 ALPHA 10", "0 1");
    b.ask("read 1", "0 1 ALPHA 10");
    b.ask("write 2 ALPHA 20", "0 2");
    a.ask("read 2", "0 2 ALPHA 20");
    a.ask("write 2 ELSE 21", "100*");
    a.ask("write 3 ALPHABET 30", "0 3");
    b.ask("write -4 BETA 40", "0 4");
    a.ask("named ALPHA", "2");
    b.ask("named ALPHA", "2");

    a.ask("rewrite 2 BETA 22", "0 2");
    b.ask("read 2", "0 2 BETA 22");
    b.ask("named ALPHA", "1");
    b.ask("named BETA", "2");
    b.ask("rewrite 1 GAMMA 11", "0 1");
    a.ask("read 1", "0 1 GAMMA 11");
    a.ask("named ALPHA", "0");

    b.ask("delete 3", "0");
    a.ask("read 3", "111*");
    a.ask("delete 3", "111");
    a.ask("write 5 BETA 50", "0 3");  // the number that was given up
    b.ask("read 5", "0 3 BETA 50");
    b.ask("named BETA", "3");
    b.ask("read -4", "0 4 BETA 40");
}

// Record locks of one hold against the other, in both directions.
void locks(Worker &a, Worker &b) {
    a.ask("lock 1", "0 1 GAMMA 11");
    b.ask("lock 1", "107*");
    b.ask("read 1", "0 1 GAMMA 11");  // a plain read asks for no lock
    b.ask("rewrite 1 STOLEN 0", "107*");
    b.ask("delete 1", "107");
    b.ask("lock 2", "0 2 BETA 22");
    a.ask("rewrite 2 STOLEN 0", "107*");
    a.ask("rewrite 1 DELTA 12", "0 1");
    b.send("wait 1");
    b.expectNoAnswerYet();
    a.ask("release", "0");
    b.expect("0 1 DELTA 12");
    a.ask("delete 1", "107");
    a.ask("lockfile", "107");
    b.ask("release", "0");
    a.ask("lockfile", "0");
    b.ask("rewrite 5 STOLEN 0", "107*");
    a.ask("unlockfile", "0");
    b.ask("rewrite 5 BETA 51", "0 3");
    a.ask("read 5", "0 3 BETA 51");
}

// Both write, then both delete and rename, without waiting for each other.
void atOnce(Worker &a, Worker &b) {
    a.ask("delete 1", "0");
    b.ask("delete 2", "0");
    a.ask("delete -4", "0");
    b.ask("delete 5", "0");
    a.ask("verify 1 0 0", "ok");

    a.send("bulk 1001 2 5000");
    b.send("bulk 1002 2 5000");
    a.expect("ok");
    b.expect("ok");
    a.send("verify 1001 11000 0");
    b.send("verify 1001 11000 0");
    a.expect("ok");
    b.expect("ok");

    a.send("churn 1001 2 5000");
    b.send("churn 1002 2 5000");
    a.expect("ok");
    b.expect("ok");
    a.send("verify 1001 11000 1");
    b.send("verify 1001 11000 1");
    a.expect("ok");
    b.expect("ok");
}

// Tails of variable-length records, and transactions in one log.
void inTransactions(Worker &a, Worker &b) {
    a.ask("tails begin", "0");
    a.ask("tails write 1 3000", "0");
    b.ask("tails read 1", "0 3000");
    b.ask("tails rewrite 1 20", "107");
    a.ask("tails commit", "0");
    b.ask("tails begin", "0");
    b.ask("tails rewrite 1 20", "0");
    b.ask("tails write 2 4000", "0");
    a.ask("tails read 1", "0 20");
    a.ask("tails delete 1", "107");
    b.ask("tails rollback", "0");
    a.ask("tails read 1", "0 3000");
    a.ask("tails read 2", "111");
    a.ask("tails delete 1", "0");
    b.ask("tails read 1", "111");
}

// Either process recovers what both have logged.
void recover(Worker &by, const std::string &path) {
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::copy(path + "-kept" + kind, path + kind, std::filesystem::copy_options::overwrite_existing);
    by.ask("tails log " + dir + "/log", "ok");
    by.ask("tails recover", "ok");
    by.ask("tails nolog", "ok");
    by.ask("tails open " + path, "ok");
    by.ask("tails verify 1001 1600", "ok");
    by.ask("tails close", "ok");
}

void logged(Worker &a, Worker &b) {
    const std::string path = dir + "/tails";
    a.ask("tails build " + path, "ok");
    a.ask("tails close", "ok");
    for (const char *kind : {".idx", ".dat"})
        std::filesystem::copy(path + kind, path + "-kept" + kind);
    for (Worker *worker : {&a, &b}) {
        worker->ask("tails log " + dir + "/log", "ok");
        worker->ask("tails open " + path, "ok");
    }
    inTransactions(a, b);
    b.ask("tails close", "ok");
    b.ask("tails open " + path, "ok");
    a.send("tails bulk 1001 2 300");
    b.send("tails bulk 1002 2 300");
    a.expect("ok");
    b.expect("ok");
    for (Worker *worker : {&a, &b}) {
        worker->ask("tails verify 1001 1600", "ok");
        worker->ask("tails close", "ok");
        worker->ask("tails nolog", "ok");
    }
    recover(a, path);
    recover(b, path);
}

}  // namespace

int main(int argc, char **argv) {
    if (argc != 3 && argc != 5) {
        std::fprintf(stderr, "usage: mixed_driver WORKER WORKER [BITS BITS]\n");
        return 2;
    }
    const char *root = std::getenv("TMPDIR");
    std::string name = std::string(root != nullptr && *root != '\0' ? root : "/tmp") + "/isammixed.XXXXXX";
    if (mkdtemp(name.data()) == nullptr) fail("mkdtemp");
    dir = name;

    Worker a("first", argv[1]);
    Worker b("second", argv[2]);
    a.ask("width", argc == 5 ? argv[3] : "*");
    b.ask("width", argc == 5 ? argv[4] : "*");
    a.ask("build " + dir + "/file", "ok");
    b.ask("open " + dir + "/file", "ok");
    inTurns(a, b);
    locks(a, b);
    atOnce(a, b);
    b.ask("close", "ok");
    a.ask("close", "ok");
    b.ask("open " + dir + "/file", "ok");
    b.ask("verify 1001 11000 1", "ok");
    b.ask("close", "ok");
    logged(a, b);
    a.finish();
    b.finish();

    removeFiles();
    std::printf("%d steps\n", steps);
    return 0;
}
