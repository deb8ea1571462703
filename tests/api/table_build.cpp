// Making file sets.
#include "table.h"

#include <cerrno>
#include <cstdio>
#include <unistd.h>

namespace api {

namespace {

// After a build that failed.
constexpr After kFailed = {.io = 0};

long make(const std::string &name, int length = kRowLen, int mode = ISINOUT, KeyDesc key = idKey()) {
    return isbuild(name.c_str(), length, &key, mode);
}

long makeVar(const std::string &name, int minimum, int maximum, int mode = ISINOUT) {
    KeyDesc key = idKey();
    return isvbuild(name.c_str(), minimum, maximum, &key, mode | ISVARLEN);
}

KeyDesc eleven() {
    KeyDesc key = keyDesc(ISNODUPS, {{0, 1}, {1, 1}, {2, 1}, {3, 1}, {4, 1}, {5, 1}, {6, 1}, {7, 1}, {8, 1}, {9, 1}});
    key.nparts = ISMAXPARTS + 1;
    return key;
}

Errors byIsbuild() {
    return {
        {"isbuild", 102, "LengthBelowNone",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), -1); });
         }},
        {"isbuild", 102, "LengthAbove65535",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), 65536); });
         }},
        {"isbuild", 102, "KeysAloneWithAutomaticLocks",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), 0, ISINOUT | ISLOCKAUTO); });
         }},
        {"isbuild", 102, "KeysAloneWithMasks",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), 0, ISINOUT | ISMASK); });
         }},
        {"isbuild", 102, "MinimumIsTheMaximum",
         [](Bench &t) {
             const auto call = [&t] {
                 isreclen = kRowLen;
                 return make(t.base(), kRowLen, ISINOUT | ISVARLEN);
             };
             t.fails(-1, {.reclen = kRowLen}, call);
         }},
        {"isbuild", 102, "MinimumOfNone",
         [](Bench &t) {
             const auto call = [&t] {
                 isreclen = 0;
                 return make(t.base(), kVarMax, ISINOUT | ISVARLEN);
             };
             t.fails(-1, {.reclen = 0}, call);
         }},
        {"isbuild", 103, "KeyBeyondTheRecord",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), 3); });
         }},
        {"isbuild", 103, "ElevenParts",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), kRowLen, ISINOUT, eleven()); });
         }},
        {"isbuild", 103, "FlagThatIsNone",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return make(t.base(), kRowLen, ISINOUT, idKey(0x40)); });
         }},
        {"isbuild", 113, "RemovedFilesStillOpen",
         [](Bench &t) {
             t.build();
             t.dontCheck();
             EXPECT_EQ(std::remove(t.path("file.idx").c_str()), 0);
             EXPECT_EQ(std::remove(t.path("file.dat").c_str()), 0);
             t.fails(-1, kFailed, [&t] { return make(t.base()); });
         }},
        {"isbuild", 114, "NameTooLong",
         [](Bench &t) {
             t.fails(-1, kFailed, [] { return make(std::string(252, 'n')); });
         }},
        {"isbuild", 121, "LogIsFull",
         [](Bench &t) {
             t.startLog();
             t.fillLog();
             t.fails(-1, kFailed, [&t] { return make(t.base()); });
             EXPECT_TRUE(exists(t.path("file.dat")));
         }},
        {"isbuild", EEXIST, "IndexFileExists",
         [](Bench &t) {
             t.usual();
             t.fails(-1, {.io = 0x21}, [&t] { return make(t.base()); });
         }},
        {"isbuild", EEXIST, "DataFileExists",
         [](Bench &t) {
             t.usual();
             t.dontCheck();
             EXPECT_OK(iscleanup());
             EXPECT_EQ(std::remove(t.path("file.idx").c_str()), 0);
             t.fails(-1, {.io = 0x22}, [&t] { return make(t.base()); });
         }},
        {"isbuild", ENOENT, "NoSuchDirectory",
         [](Bench &t) {
             t.fails(-1, {.io = 0x21}, [&t] { return make(t.path("none/file")); });
         }},
    };
}

Errors byIsvbuild() {
    return {
        {"isvbuild", 102, "MaximumTooLong",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return makeVar(t.base(), kRowLen, ISMAXVARLEN + 1); });
         }},
        {"isvbuild", 102, "MinimumIsTheMaximum",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return makeVar(t.base(), 200, 200); });
         }},
        {"isvbuild", 103, "KeyInTheTail",
         [](Bench &t) {
             t.fails(-1, kFailed, [&t] { return makeVar(t.base(), 3, 200); });
         }},
        {"isvbuild", 113, "RemovedFilesStillOpen",
         [](Bench &t) {
             t.build();
             t.dontCheck();
             EXPECT_EQ(std::remove(t.path("file.idx").c_str()), 0);
             t.fails(-1, kFailed, [&t] { return makeVar(t.base(), kRowLen, 200); });
         }},
        {"isvbuild", 114, "NameTooLong",
         [](Bench &t) {
             t.fails(-1, kFailed, [] { return makeVar(std::string(252, 'n'), kRowLen, 200); });
         }},
        {"isvbuild", 121, "LogIsFull",
         [](Bench &t) {
             t.startLog();
             t.fillLog();
             t.fails(-1, kFailed, [&t] { return makeVar(t.base(), kRowLen, 200); });
         }},
        {"isvbuild", EEXIST, "IndexFileExists",
         [](Bench &t) {
             t.usual();
             t.fails(-1, {.io = 0x21}, [&t] { return makeVar(t.base(), kRowLen, 200); });
         }},
    };
}

}  // namespace

Family buildFamily() {
    Family family;
    family.calls = {
        {.name = "isbuild",
         .run = [](int) { return make(beside().fresh); },
         .sets = Sets::kOpened,
         .good = kDescriptor,
         .recnum = 0,
         .reclen = kRowLen},
        {.name = "isvbuild",
         .run = [](int) { return makeVar(beside().fresh, kRowLen, kVarMax); },
         .sets = Sets::kOpened,
         .good = kDescriptor,
         .recnum = 0,
         .reclen = kRowLen},
    };
    family.nulls = {
        {"isbuild", "name", 102,
         [](int) -> long {
             return isbuild(nullptr, kRowLen, isqv_kdsc(beside().fd), ISINOUT);
         }},
        {"isbuild", "key", 103,
         [](int) -> long {
             return isbuild(beside().fresh.c_str(), kRowLen, nullptr, ISINOUT);
         }},
        {"isvbuild", "name", 102,
         [](int) -> long {
             return isvbuild(nullptr, kRowLen, 0, isqv_kdsc(beside().fd), ISINOUT);
         }},
        {"isvbuild", "key", 103,
         [](int) -> long {
             return isvbuild(beside().fresh.c_str(), kRowLen, 0, nullptr, ISINOUT);
         }},
    };
    family.errors = byIsbuild();
    appendRows(&family.errors, byIsvbuild());
    return family;
}

}  // namespace api
