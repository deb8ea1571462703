// Opening and closing file sets; modes.
#include "table.h"

#include <cerrno>
#include <cstdio>

namespace api {

namespace {

constexpr After kFailed = {.io = 0};
int scratch;

long opened(const std::string &name, int mode = ISINOUT) { return isopen(name.c_str(), mode); }

// The first index's description begins with its entry: length, root, flags, then the first part's length, start, type.
constexpr std::size_t kFirstEntry = 1024 + 6;
constexpr std::size_t kPartType = kFirstEntry + 7 + 4;

Errors byIsopen() {
    return {
        {"isopen", 102, "VariableLengthNotSaid",
         [](Bench &t) {
             EXPECT_OK(isclose(t.buildVar()));
             t.fails(-1, kFailed, [&t] { return opened(t.base()); });
         }},
        {"isopen", 102, "VariableLengthSaidOfOneLength",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.fails(-1, kFailed, [&t] { return opened(t.base(), ISINOUT | ISVARLEN); });
         }},
        {"isopen", 102, "AutomaticLocksWithoutRecords",
         [](Bench &t) {
             EXPECT_OK(isclose(t.build(ISINOUT, idKey(), 0)));
             t.fails(-1, kFailed, [&t] { return opened(t.base(), ISINOUT | ISLOCKAUTO); });
         }},
        {"isopen", 103, "FileHoldsABadKey",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             patchFile(t.path("file.idx"), kPartType, "\x09");
             t.fails(-1, kFailed, [&t] { return opened(t.base()); });
         }},
        {"isopen", 105, "NodeSizeOfNone",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             patchFile(t.path("file.idx"), 6, int2(0));
             t.fails(-1, kFailed, [&t] { return opened(t.base()); });
         }},
        {"isopen", 113, "ExclusivelyBesideAnotherHandle",
         [](Bench &t) {
             t.usual();
             t.fails(-1, kFailed, [&t] { return opened(t.base(), ISINOUT | ISLOCKEXCL); });
         }},
        {"isopen", 113, "BesideAnExclusiveHandle",
         [](Bench &t) {
             t.usual(ISINOUT | ISLOCKEXCL);
             t.fails(-1, kFailed, [&t] { return opened(t.base()); });
         }},
        {"isopen", 113, "ExclusivelyBesideAnotherProcess",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return t.open(ISINPUT) >= 0; });
             t.fails(-1, kFailed, [&t] { return opened(t.base(), ISINOUT | ISLOCKEXCL); });
         }},
        {"isopen", 113, "BesideAnExclusiveProcess",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return t.open(ISINOUT | ISLOCKEXCL) >= 0; });
             t.fails(-1, kFailed, [&t] { return opened(t.base()); });
         }},
        {"isopen", 114, "NameTooLong",
         [](Bench &t) {
             t.fails(-1, kFailed, [] { return opened(std::string(252, 'n')); });
         }},
        {"isopen", 121, "LogIsFull",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.startLog();
             t.fillLog();
             t.fails(-1, kFailed, [&t] { return opened(t.base()); });
         }},
        {"isopen", ENOENT, "NoIndexFile",
         [](Bench &t) {
             t.fails(-1, {.io = 0x11}, [&t] { return opened(t.base()); });
         }},
        {"isopen", ENOENT, "NoDataFile",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             EXPECT_EQ(std::remove(t.path("file.dat").c_str()), 0);
             t.fails(-1, {.io = 0x12}, [&t] { return opened(t.base()); });
         }},
        {"isopen", EIO, "IndexFileCutOff",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             cutFile(t.path("file.idx"), 500);
             t.fails(-1, {.io = 0x41}, [&t] { return opened(t.base()); });
         }},
    };
}

Errors byTheOthers() {
    return {
        {"isclose", 121, "LogIsFull",
         [](Bench &t) {
             t.startLog();
             const int fd = t.buildTrans();
             t.fillLog();
             t.fails(fd, kPlain, [fd] { return isclose(fd); });
             EXPECT_EQ(isqv_name(fd), nullptr);
         }},
        {"issetmode", 102, "Exclusively",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return issetmode(fd, ISLOCKEXCL); });
         }},
        {"issetmode", 102, "FileOpenExclusively",
         [](Bench &t) {
             const int fd = t.usual(ISINOUT | ISLOCKEXCL);
             t.fails(fd, [fd] { return issetmode(fd, ISLOCKMANUAL); });
         }},
        {"issetmode", 102, "AutomaticLocksWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             t.fails(fd, [fd] { return issetmode(fd, ISLOCKAUTO); });
         }},
        {"isprecious", 131, "NoNodeNumberLeft",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isprecious(fd, 1));
             EXPECT_OK(isdelrec(fd, 1));
             t.patchHeader(kLastNodeAt, kHighestNumber);
             t.dontCheck();
             t.fails(fd, [fd] { return isprecious(fd, 0); });
         }},
        {"isprecious", 105, "DamagedFreeList",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isdelrec(fd, 1));
             t.dontCheck();
             t.patchHeader(kFreeRecordsAt, 1);
             t.patchHeader(kChangesAt, 99);
             t.fails(fd, [fd] { return isprecious(fd, 1); });
         }},
    };
}

}  // namespace

Family openFamily() {
    Family family;
    family.calls = {
        {.name = "isopen",
         .run = [](int) { return opened(beside().name); },
         .sets = Sets::kOpened,
         .good = kDescriptor,
         .recnum = 0,
         .reclen = 0},
        {.name = "isclose",
         .needs = Needs::kHandle,
         .run = [](int fd) -> long { return isclose(fd); },
         .sets = Sets::kError},
        {.name = "iscleanup", .run = [](int) -> long { return iscleanup(); }, .sets = Sets::kError},
        {.name = "isgetmode",
         .needs = Needs::kHandle,
         .run = [](int fd) -> long { return isgetmode(fd, &scratch); },
         .sets = Sets::kNothing},
        {.name = "issetmode",
         .needs = Needs::kAny,
         .run = [](int fd) -> long { return issetmode(fd, ISLOCKMANUAL); },
         .refusal =
             [](int, int lock) {
                 return lock == ISLOCKEXCL ? ISERR_ARGUMENT : 0;
             }},
        {.name = "islockcheck",
         .needs = Needs::kAny,
         .run = [](int fd) -> long {
             return islockcheck(fd, 0);
         }},
        {.name = "isprecious",
         .needs = Needs::kWrite,
         .run = [](int fd) -> long { return isprecious(fd, 0); },
         .lockless = 0x51},
    };
    family.nulls = {
        {"isopen", "name", 102,
         [](int) -> long {
             return isopen(nullptr, ISINOUT);
         }},
        {"isgetmode", "mode", 102, [](int fd) -> long { return isgetmode(fd, nullptr); }, false},
    };
    family.errors = byIsopen();
    appendRows(&family.errors, byTheOthers());
    return family;
}

}  // namespace api
