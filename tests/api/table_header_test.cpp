// The table and the headers tell the same: of every call, its access, and each of its errors.
#include "table.h"
#include "table_header.h"

#include <algorithm>
#include <cerrno>
#include <map>

namespace api {
namespace {

using CallNames = std::set<std::string>;

std::vector<Declared> declaredCalls() {
    std::vector<Declared> calls = declaredIn("isam.h");
    const std::vector<Declared> tools = declaredIn("isam_maint.h");
    calls.insert(calls.end(), tools.begin(), tools.end());
    // What a call takes over from another one; that stands before it, or takes over nothing itself.
    for (Declared &call : calls)
        for (const Declared &other : calls)
            if (call.as.count(other.name) != 0) call.errors.insert(other.errors.begin(), other.errors.end());
    return calls;
}

// Errors that no row can bring about: nothing makes two file systems of one directory.
bool outOfReach(const std::string &call, int code) { return call == "iscluster" && code == EXDEV; }

// What the conventions say of all calls at once. The system's errors are listed only where they are to be expected.
bool isGeneral(int code) {
    return code < ISERR_FIRST || code > ISERR_LAST || code == ISERR_NOTOPEN || code == ISERR_CORRUPT;
}

std::map<std::string, std::set<int>> errorRows() {
    std::map<std::string, std::set<int>> rows;
    for (const Error &error : wholeTable().errors)
        rows[error.call].insert(error.code);
    for (const Null &null : wholeTable().nulls)
        rows[null.name].insert(null.code);
    for (const TableCall &call : wholeTable().calls)
        rows[call.name].insert({call.badError, call.needs == Needs::kBoth ? ISERR_ARGUMENT : call.badError});
    return rows;
}

const char *mark(Needs needs) {
    switch (needs) {
    case Needs::kAny: return "any";
    case Needs::kRead: return "read";
    case Needs::kWrite: return "write";
    case Needs::kBoth: return "read, write";
    default: return "";
    }
}

TEST(TableHeader, DeclaresTheCallsOfTheTable) {
    CallNames declared, listed;
    for (const Declared &call : declaredCalls())
        EXPECT_TRUE(declared.insert(call.name).second) << call.name;
    for (const TableCall &call : wholeTable().calls)
        listed.insert(call.name);
    EXPECT_GT(declared.size(), 90U);
    for (const std::string &name : declared)
        EXPECT_EQ(listed.count(name), 1U) << name << " has no row";
    for (const std::string &name : listed)
        EXPECT_EQ(declared.count(name), 1U) << name << " is not declared";
}

TEST(TableHeader, RowsBelongToDeclaredCalls) {
    CallNames declared;
    for (const Declared &call : declaredCalls())
        declared.insert(call.name);
    for (const auto &[name, codes] : errorRows())
        EXPECT_EQ(declared.count(name), 1U) << name;
}

TEST(TableHeader, TellsTheAccessThatTheTableHas) {
    std::map<std::string, CallNames> marks;
    for (const TableCall &call : wholeTable().calls)
        marks[call.name].insert(mark(call.needs));
    for (const Declared &call : declaredCalls()) {
        SCOPED_TRACE(call.name);
        if (call.access.rfind("from:", 0) == 0)
            EXPECT_EQ(marks[call.name], (CallNames{"read", "write"}));
        else
            EXPECT_EQ(marks[call.name], CallNames{call.access});
    }
}

TEST(TableHeader, EveryErrorThatItListsHasARow) {
    std::map<std::string, std::set<int>> rows = errorRows();
    for (const Declared &call : declaredCalls())
        for (const int code : call.errors)
            if (!outOfReach(call.name, code)) EXPECT_EQ(rows[call.name].count(code), 1U) << call.name << " " << code;
}

TEST(TableHeader, EveryErrorOfARowIsListedThere) {
    std::map<std::string, std::set<int>> listed;
    for (const Declared &call : declaredCalls())
        listed[call.name] = call.errors;
    for (const Error &error : wholeTable().errors)
        if (!isGeneral(error.code))
            EXPECT_EQ(listed[error.call].count(error.code), 1U) << error.call << " " << error.code;
}

}  // namespace
}  // namespace api
