#include "flips/session.h"

#include "memory/changes.h"
#include "memory/files.h"
#include "project/calls_page.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <map>
#include <utility>

namespace flips {
namespace {

std::map<std::string, std::set<int>> readErrors() {
    const CallsPage page = readCallsPage(ISAM_SOURCE_DIR "/docs/calls.md");
    std::map<std::string, std::set<int>> errors;
    for (const auto &[call, rows] : page.calls)
        for (const auto &[code, row] : rows)
            errors[call].insert(std::atoi(code.c_str()));
    return errors;
}

// Failures that leave a part of their work done, as the header says.
bool leavesWork(const std::string &call, int code) {
    // The new tree is dropped again, which leaves its nodes free.
    if (call == "isaddindex" && code == ISERR_DUPLICATE) return true;
    return (call == "isrewnxt" && code == ISERR_ENDOFFILE) || (call == "iswrcurr" && code == ISERR_NOTFOUND);
}

}  // namespace

bool isDocumented(const std::string &call, int code) {
    static const std::map<std::string, std::set<int>> kErrors = readErrors();
    if (code == ISERR_CORRUPT || (code > 0 && code < ISERR_FIRST)) return true;
    const auto found = kErrors.find(call);
    return found != kErrors.end() && found->second.count(code) != 0;
}

Session::Session(Progress *progress, const std::set<int> &skipped, std::string place)
    : progress_(progress), skipped_(skipped), place_(std::move(place)) {
    progress_->step = 0;
}

Session::~Session() {
    islogclose();
    call("iscleanup", Effect::Works, [] { return iscleanup(); });
    if (memory_files::openDescriptors() != 0) problem("descriptors are left open");
}

bool Session::begin(const char *name) {
    ++progress_->step;
    std::strncpy(progress_->call, name, sizeof progress_->call - 1);
    if (skipped_.count(progress_->step) != 0) return false;
    ++progress_->calls;
    memory_files::mark();
    iserrno = 0;
    return true;
}

void Session::end(const char *name, Effect effect, long result) {
    const int code = iserrno;
    if (result < -1) problem("a result of " + std::to_string(result));
    if (result >= 0 && code != 0) problem("a success with iserrno " + std::to_string(code));
    if (result < 0 && (code == 0 || !isDocumented(name, code)))
        problem("fails with " + std::to_string(code) + ", which it does not document");
    if (!memory_files::written()) return;
    if (effect == Effect::Reads) problem("a call for reading has written");
    // A failed system call between two writes is another matter.
    const bool whole = effect == Effect::Changes && result < 0 && code >= ISERR_FIRST && !leavesWork(name, code);
    if (whole && !harmExpected_ && !memory_files::asMarked())
        problem("the files are not as before the failure " + std::to_string(code));
}

void Session::endLook(const char *) {
    if (memory_files::written()) problem("a call for looking has written");
}

void Session::problem(const std::string &text) {
    if (progress_->problems++ < progress_->mostShown)
        std::printf("%s step %d, %s: %s\n", place_.c_str(), progress_->step, progress_->call, text.c_str());
    std::fflush(stdout);
}

}  // namespace flips
