#include "documented.h"

#include <cerrno>
#include <map>
#include <set>

namespace fault_testing {

namespace {

using Errors = std::set<int>;

const std::map<std::string, Errors> &lists() {
    static const std::map<std::string, Errors> all = {
        {"isbuild", {102, 103, 113, 114, 121, EEXIST}},
        {"isopen", {102, 103, 113, 114, 121, ENOENT}},
        {"isclose", {101, 121}},
        {"issetmode", {102}},
        {"islockcheck", {101}},
        {"isprecious", {131}},
        {"isaddindex", {100, 102, 103, 108, 109, 113, 121, 131}},
        {"isdelindex", {103, 109, 113, 121}},
        {"isread", {102, 107, 110, 111, 112, 134}},
        {"isstart", {102, 103, 110, 111, 112}},
        {"isindex", {103, 111}},
        {"isgoto", {111}},
        {"isdata", {102, 111}},
        {"ispush", {101, 102}},
        {"ispop", {103, 111}},
        {"isgetlastrec", {}},
        {"issetlastrec", {102}},
        {"islastrec", {131}},
        {"iswrite", {100, 102, 107, 121, 127, 131, 132, 134}},
        {"isrewrite", {100, 102, 107, 111, 112, 121, 127, 131, 132, 134}},
        {"isrewrec", {100, 102, 107, 111, 112, 121, 131, 132, 134}},
        {"isrewcurr", {100, 102, 107, 111, 112, 121, 131, 132, 134}},
        {"isdelete", {107, 111, 112, 121, 127, 131}},
        {"isdelrec", {102, 107, 111, 112, 121, 131}},
        {"isdelcurr", {107, 111, 112, 121, 131}},
        {"issetunique", {121}},
        {"isuniqueid", {121}},
        {"islock", {107}},
        {"isunlock", {}},
        {"isrelease", {}},
        {"isrelrec", {102}},
        {"isrelcurr", {}},
        {"islogopen", {102, 120}},
        {"islogclose", {}},
        {"isbegin", {121, 128}},
        {"iscommit", {121, 122}},
        {"isrollback", {100, 105, 107, 111, 112, 118, 119, 121, 122, 131}},
        {"isrecover", {100, 102, 103, 105, 107, 108, 109, 111, 112, 113, 114, 118, 119, 128, 131, 132}},
        {"isaudit", {102, 114, 131}},
        {"iserase", {102, 113, 114, 121, ENOENT}},
        {"isrename", {102, 113, 114, 121, ENOENT, EEXIST}},
        {"isclone", {113, 114, 121, EEXIST}},
        {"iscopy", {100, 102, 103, 131}},
        {"iscluster", {100, 102, 103, 106, 113, 114, 121, EEXIST, EXDEV, ENOENT}},
        {"isindexinfo", {102}},
        {"isisaminfo", {}},
        {"isuserinfo", {102}},
        {"isRebuildFree", {102, 131}},
        {"isRebuildIdx", {100, 102, 131}},
    };
    return all;
}

}  // namespace

bool isDocumented(const Event &event) {
    const auto found = lists().find(event.call);
    return event.error == ISERR_CORRUPT || (found != lists().end() && found->second.contains(event.error));
}

bool namesCall(const Event &event, shim::Call call) {
    const int kind = event.io & 0x0f, operation = event.io & ~0x0f;
    if (kind < 1 || kind > 3) return false;
    switch (call) {
    // A link file is opened, and a name looked at, wherever a file is opened, made, removed or renamed.
    case shim::Call::Open:
    case shim::Call::Status:
    case shim::Call::FileStatus: return operation == 0x10 || operation == 0x20 || operation == 0;
    case shim::Call::Seek: return operation == 0x30;
    case shim::Call::Read: return operation == 0x40 || operation == 0x10 || operation == 0x20 || operation == 0;
    case shim::Call::PositionedRead: return operation == 0x40;
    case shim::Call::Write:
    case shim::Call::PositionedWrite: return operation == 0x50;
    case shim::Call::Control: return operation == 0x60;
    case shim::Call::Link:
    case shim::Call::Unlink: return operation == 0;
    default: return false;
    }
}

bool isCheck(const std::string &call) { return call.starts_with("ischeck"); }

}  // namespace fault_testing
