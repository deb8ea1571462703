#include "killing.h"

#include "shim/system_calls.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>

namespace fault_testing {

namespace {

using shim::Arguments;
using shim::Call;

bool changesFiles(const Arguments &call) {
    return shim::isWriteType(call.call) || (call.call == Call::Open && (call.flags & O_CREAT) != 0);
}

bool isWrite(const Arguments &call) { return call.call == Call::Write || call.call == Call::PositionedWrite; }

[[noreturn]] void die() {
    kill(getpid(), SIGKILL);
    for (;;)
        pause();
}

// A node of the list of indexes is never written as a copy (keys/isindex.cpp).
bool isIndexList(const Arguments &call) {
    const auto *bytes = static_cast<const unsigned char *>(call.buffer);
    return call.length >= 1024 && bytes[call.length - 3] == 0xff && bytes[call.length - 2] == 0xfe;
}

// How much of a write a copy has done: one byte, then eight at a time (base/ismap.h). Each point has its own border; of
// a header they are those between its numbers.
std::size_t copied(const Arguments &call, std::size_t point) {
    if (isIndexList(call)) return 0;
    const std::size_t stores = call.length / 8, header = 11;
    const std::size_t borders = call.offset == 0 && stores > header ? header : stores;
    return borders == 0 ? 0 : 1 + 8 * (point * 40503 / 7 % borders);
}

class Killer : public shim::Observer {
  public:
    Killer(std::size_t point, Moment moment) : left_(point), point_(point), moment_(moment) {}

    shim::Answer before(const Arguments &call) override {
        if (!changesFiles(call) || --left_ != 0) return {};
        shim::Answer answer;
        if (isWrite(call) && moment_ == Moment::Inside) answer.cutTo = call.length / 2;
        if (call.call == Call::PositionedWrite && moment_ == Moment::Copying) answer.cutTo = copied(call, point_);
        if (answer.cutTo == 0 && moment_ != Moment::After) die();
        return answer;
    }
    void after(const Arguments &call, long, int) override {
        if (changesFiles(call) && left_ == 0) die();
    }

  private:
    std::size_t left_;
    const std::size_t point_;
    const Moment moment_;
};

// Writes a line per call.
class Counter : public shim::Observer {
  public:
    explicit Counter(std::FILE *out) : out_(out) {}

    shim::Answer before(const Arguments &call) override {
        if (changesFiles(call))
            std::fprintf(out_, "%zu %s %s%ld\n", isWrite(call) ? call.length : 0, shim::callName(call.call),
                         call.path != nullptr ? call.path : "at ",
                         call.path != nullptr ? 0L : static_cast<long>(call.offset));
        return {};
    }

  private:
    std::FILE *out_;
};

// Runs it in a process of its own, in the directory. Returns its wait status.
int inProcess(const std::string &directory, const std::function<void()> &work) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child < 0) std::abort();
    if (child == 0) {
        if (chdir(directory.c_str()) != 0) _exit(3);
        work();
        std::fflush(nullptr);
        _exit(0);
    }
    int status = 0;
    while (waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    return status;
}

void copyFiles(const std::string &from, const std::string &to) {
    std::filesystem::remove_all(to);
    std::filesystem::copy(from, to, std::filesystem::copy_options::recursive);
}

}  // namespace

const char *momentName(Moment moment) {
    switch (moment) {
    case Moment::Before: return "before";
    case Moment::Inside: return "inside";
    case Moment::Copying: return "copying";
    default: return "after";
    }
}

Victim::Victim(const Scenario &scenario, const std::string &directory) : scenario_(scenario), directory_(directory) {
    std::filesystem::create_directories(start());
}

std::vector<WriteCall> Victim::rehearse() {
    std::vector<WriteCall> out;
    const int prepared = inProcess(start(), [this] {
        World world(journal_);
        scenario_.prepare(world);
        iscleanup();
        journal_.markPrepared();
    });
    if (prepared != 0) return out;
    copyFiles(start(), work());
    std::FILE *const calls = std::tmpfile();
    const int run = inProcess(work(), [this, calls] {
        Counter counter(calls);
        World world(journal_);
        shim::observe(&counter);
        scenario_.run(world);
        shim::observe(nullptr);
    });
    if (run != 0) std::fprintf(stderr, "%s: the rehearsal ended with status %d\n", scenario_.name, run);
    std::rewind(calls);
    char line[512];
    while (run == 0 && std::fgets(line, sizeof line, calls) != nullptr) {
        char *rest = nullptr;
        WriteCall call;
        call.length = std::strtoul(line, &rest, 10);
        call.text = rest + 1;
        call.text.pop_back();
        out.push_back(call);
    }
    std::fclose(calls);
    return out;
}

bool Victim::killAt(std::size_t point, Moment moment) {
    copyFiles(start(), work());
    journal_.restart();
    const int status = inProcess(work(), [this, point, moment] {
        Killer killer(point, moment);
        World world(journal_);
        shim::observe(&killer);
        scenario_.run(world);
    });
    return WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
}

void Victim::putBack() const { copyFiles(start(), work()); }

bool Victim::bringLog() const {
    if (!std::filesystem::exists(work() + "/" + scenario_.log)) return false;
    copyFiles(start(), again());
    std::filesystem::copy(work() + "/" + scenario_.log, again() + "/" + scenario_.log);
    return true;
}

}  // namespace fault_testing
