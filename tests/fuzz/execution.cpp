#include "execution.h"

#include "base/isglobal.h"
#include "calls.h"
#include "damage.h"
#include "documented.h"
#include "isam.h"
#include "isam_maint.h"
#include "limits.h"
#include "memory.h"
#include "memory/files.h"
#include "session.h"

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <map>
#include <string>

namespace fuzz {

namespace {

struct Totals {
    long executions = 0, damages = 0, calls = 0, failures = 0, endlessWaits = 0;
    std::map<std::string, long> stops;
    std::map<std::string, long> successes;  // by call, 0 as well
};
Totals totals;

// Where in an input things are.
struct Place {
    const char *kind = "none", *call = "none";
    int number = 0;  // of the operation, counted from 1; 0: before the first, -1: behind the last
};
Place place;

enum Way { kStopped = 1, kAwaits, kKnown };
std::jmp_buf wayOut;
bool working = false;   // the library may be asked for anything
bool underWay = false;  // and an input is being run

// Findings under repair, named in the environment, end an execution and nothing else.
bool isKnown(const std::string &what) {
    static const char *const known = std::getenv("FUZZ_KNOWN");
    if (known == nullptr) return false;
    const std::string all = known;
    for (std::size_t at = 0; at < all.size();) {
        const std::size_t end = std::min(all.find('|', at), all.size());
        if (end > at && what.find(all.substr(at, end - at)) != std::string::npos) return true;
        at = end + 1;
    }
    return false;
}

void onStop(char *message) {
    ++totals.stops[message];
    if (!isNamedStop(message)) misbehaves((std::string("fatal stop: ") + message).c_str());
    if (underWay) std::longjmp(wayOut, kStopped);
}

double seconds() {
    timespec now;
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

// A system error must be one that a system call has just given, or a transfer cut short.
bool comesFromSystem(int error) {
    const memory_files::Calls &calls = memory_files::calls();
    if (error > 0 && error < 64 && (calls.errors >> error & 1) != 0) return true;
    return error == EIO && calls.cutShort;
}

void judgeError(const Call &call, int error) {
    ++totals.failures;
    --totals.successes[call.name];
    if (isDocumented(call.name, error) || (error < ISERR_FIRST && comesFromSystem(error))) return;
    if (session().filtered && std::strcmp(call.name, "isread") == 0) return;
    misbehaves(("error " + std::to_string(error)).c_str());
}

void judge(const Call &call, const Operation &operation, long result) {
    switch (call.tells) {
    case Tells::Error:
        if (result >= 0 && iserrno != 0) misbehaves("success with an error code");
        [[fallthrough]];
    case Tells::Failure:
        if (result < 0) judgeError(call, iserrno);
        return;
    case Tells::FileError:
        if (result == 0) judgeError(call, isErrno(isAdmItoD(descriptorFor(operation))));
        return;
    case Tells::Nothing: return;
    }
}

void run(const Operation &operation) {
    const Call &call = callAt(static_cast<std::size_t>(codeOf(operation)));
    place.call = call.name;
    memory_files::forgetCalls();
    const double before = seconds();
    const long result = call.make(operation);
    ++totals.calls;
    ++totals.successes[call.name];
    if (seconds() - before > kMaxSeconds) misbehaves("one call takes too long");
    judge(call, operation, result);
    place.call = "none";
}

void run(const char *call, std::uint8_t a = 0, std::uint16_t b = 0, std::uint32_t c = 0) {
    run({codeFor(call), a, b, c, 0});
}

constexpr std::uint32_t kFirstSet = 0, kSecondSet = 1;

void lookAt(std::uint32_t set, bool mend) {
    run("isopen", 0, 0, set);
    run("ischeckdata");
    run("ischeckvarlen");
    const auto indexes = static_cast<std::uint32_t>(session().kind->keys.size());
    for (std::uint32_t i = 0; i <= indexes; ++i) {
        run("ischeckindex", 0, 0, i);
        run("isindexinfo", 0, 0, i);
        run("isindex", 0, 0, i);
        run({static_cast<std::uint8_t>(codeFor("isread") + 1), 0, static_cast<std::uint16_t>(i), 0, 0});
    }
    if (mend) {
        run("isRebuildFree", 0, 0, 1);
        for (std::uint32_t i = 1; i <= indexes; ++i)
            run("isRebuildIdx", 0, 0, i);
        run("iswrite", 0, 0, 400);
        run("isdelrec", 0, 0, 5);
    }
    run("isclose");
}

void runAll(const Input &input, std::size_t kind) {
    if ((input.options & kStartLogged) != 0) run("islogopen");
    if ((input.options & kStartOpen) != 0) run("isopen", 0, (input.options & kStartLogged) != 0 ? 0x10 : 0);
    for (const Operation &operation : input.operations) {
        ++place.number;
        if (isDamage(operation)) {
            ++totals.damages;
            damage(kind, operation);
        } else {
            run(operation);
        }
    }
    place.number = -1;
    for (std::uint32_t identity = 0; identity < kIdentities; ++identity) {
        run({codeFor("isTxnInit"), 0, 0, 0, identity});
        run("iscommit");
    }
    run("isTxnInit", 0, 1);
    run("islogclose");
    run("iscleanup");
    if ((input.options & kLookAtAll) == 0) return;
    lookAt(kFirstSet, (input.options & kMendAll) != 0);
    lookAt(kSecondSet, (input.options & kMendAll) != 0);
    run("iscleanup");
}

// With everything closed the library holds nothing but empty tables.
void judgeRest() {
    const void *const tables[] = {isProcess.txnlist, isProcess.kept, isProcess.closed};
    std::size_t held = 0;
    for (const void *table : tables)
        if (isHeld(table)) ++held;
    if (heldPieces() != held) {
        describeHeld();
        misbehaves("memory is lost");
    }
    if (memory_files::openDescriptors() != 0) misbehaves("a file stays open");
}

// As a new process finds it, but for what stays registered with the C library.
void reset(const Kind &kind) {
    freeAll();
    const bool watched = isProcess.forkWatched;
    isProcess = {};
    isProcess.forkWatched = watched;
    iserrno = iserrio = isreclen = 0;
    isrecnum = 0;
    beginSession(kind);
    isfatal(onStop);
}

}  // namespace

void misbehaves(const char *what) {
    if (isKnown(what) && underWay) std::longjmp(wayOut, kKnown);
    std::fprintf(stderr, "FINDING: %s\n  file set: %s\n  operation %d, call %s, iserrno %d, iserrio 0x%x\n", what,
                 place.kind, place.number, place.call, iserrno, static_cast<unsigned>(iserrio));
    printTotals();
    std::abort();
}

void execute(const Input &input) {
    const std::size_t kind = kindOf(input);
    working = true;
    const memory_files::FileSet &files = filesOf(kind);
    place = {kinds()[kind].name, "none", 0};
    reset(kinds()[kind]);
    memory_files::place(files);
    ++totals.executions;
    underWay = true;
    switch (setjmp(wayOut)) {
    case 0:
        runAll(input, kind);
        judgeRest();
        break;
    case kAwaits: ++totals.endlessWaits; break;
    default: break;
    }
    underWay = false;
    memory_files::clear();
    reset(kinds()[kind]);
    working = false;
}

void printTotals() {
    std::string never;
    for (const auto &[call, count] : totals.successes)
        if (count == 0) never += ' ' + call;
    if (!never.empty()) std::fprintf(stderr, "never successful:%s\n", never.c_str());
    std::fprintf(stderr, "%ld executions with %ld damages and %ld calls, %ld of them failed as documented\n",
                 totals.executions, totals.damages, totals.calls, totals.failures);
    for (const auto &[message, count] : totals.stops)
        std::fprintf(stderr, "%ld times \"%s\"\n", count, message.c_str());
    if (totals.endlessWaits != 0)
        std::fprintf(stderr, "%ld times a lock of the process itself was awaited for ever, as documented\n",
                     totals.endlessWaits);
}

}  // namespace fuzz

// What the library asks the system for besides, always answered alike, so that an input gives the same every time.
extern "C" {

// Waiting for a lock of the process itself.
int __wrap_nanosleep(const timespec *, timespec *);
int __wrap_nanosleep(const timespec *, timespec *) {
    if (fuzz::underWay) std::longjmp(fuzz::wayOut, fuzz::kAwaits);
    return 0;
}

std::time_t __real_time(std::time_t *result);
std::time_t __wrap_time(std::time_t *result);
std::time_t __wrap_time(std::time_t *result) {
    constexpr std::time_t kNow = 1000000000;
    if (!fuzz::working) return __real_time(result);
    if (result != nullptr) *result = kNow;
    return kNow;
}

pid_t __real_getpid();
pid_t __wrap_getpid();
pid_t __wrap_getpid() { return fuzz::working ? 4711 : __real_getpid(); }
}
