// Empty copies and copies of files.
#include "table.h"

#include <cerrno>
#include <cstdio>

namespace api {

namespace {

long clone(int fd, const std::string &name) { return isclone(fd, name.c_str()); }
long copyBy(int to, int from, KeyDesc key) { return iscopy(to, from, &key); }

// Another file of rows, empty.
int target(Bench &t, int length = kRowLen) { return t.buildNamed(t.path("target"), ISINOUT, idKey(), length); }

Errors byIsclone() {
    return {
        {"isclone", 113, "RemovedFilesStillOpen",
         [](Bench &t) {
             const int fd = t.usual();
             target(t);
             t.dontCheck();
             EXPECT_EQ(std::remove(t.path("target.idx").c_str()), 0);
             EXPECT_EQ(std::remove(t.path("target.dat").c_str()), 0);
             t.fails(fd, [&t, fd] { return clone(fd, t.path("target")); });
         }},
        {"isclone", 114, "NameTooLong",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return clone(fd, std::string(252, 'n')); });
         }},
        {"isclone", 121, "LogIsFull",
         [](Bench &t) {
             const int fd = t.usual();
             t.startLog();
             t.fillLog();
             t.fails(fd, [&t, fd] { return clone(fd, t.path("clone")); });
             EXPECT_FALSE(exists(t.path("clone.idx")));
         }},
        {"isclone", EEXIST, "IndexFileExists",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, {.io = 0x21}, [&t, fd] { return clone(fd, t.base()); });
         }},
        {"isclone", EEXIST, "DataFileExists",
         [](Bench &t) {
             const int fd = t.usual();
             t.touch(t.path("clone.dat"));
             t.fails(fd, {.io = 0x22}, [&t, fd] { return clone(fd, t.path("clone")); });
             EXPECT_FALSE(exists(t.path("clone.idx")));
         }},
        {"isclone", ENOENT, "NoSuchDirectory",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, {.io = 0x21}, [&t, fd] { return clone(fd, t.path("none/clone")); });
         }},
    };
}

Errors byIscopy() {
    return {
        {"iscopy", 100, "KeyIsTaken",
         [](Bench &t) {
             const int from = t.usual(), to = target(t);
             put(to, row(2));
             t.fails(to, [=] { return copyBy(to, from, idKey()); });
         }},
        {"iscopy", 102, "FileOntoItself",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return iscopy(fd, fd, nullptr); });
         }},
        {"iscopy", 102, "TwoHandlesOfOneFile",
         [](Bench &t) {
             const int from = t.usual(), to = t.again();
             t.fails(to, [=] { return iscopy(to, from, nullptr); });
         }},
        {"iscopy", 102, "LengthsDiffer",
         [](Bench &t) {
             const int from = t.usual(), to = target(t, kRowLen + 1);
             t.fails(to, [=] { return iscopy(to, from, nullptr); });
         }},
        {"iscopy", 103, "NoSuchIndex",
         [](Bench &t) {
             const int from = t.usual(), to = target(t);
             t.fails(to, [=] { return copyBy(to, from, groupKey()); });
         }},
        {"iscopy", 105, "IndexLeadsToADeletedRecord",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             patchFile(t.path("file.dat"), kRowLen, std::string(1, '\0'));
             const int from = t.again(), to = target(t);
             t.fails(to, [=] { return iscopy(to, from, nullptr); });
         }},
        {"iscopy", 131, "NoNumberLeft",
         [](Bench &t) {
             const int from = t.usual(), to = target(t);
             EXPECT_OK(issetlastrec(to, kHighestNumber));
             t.dontCheck();
             t.fails(to, [=] { return iscopy(to, from, nullptr); });
         }},
    };
}

}  // namespace

Family copyFamily() {
    Family family;
    family.calls = {
        {.name = "isclone",
         .needs = Needs::kAny,
         .run = [](int fd) { return clone(fd, beside().fresh); },
         .sets = Sets::kOpened,
         .good = kDescriptor,
         .recnum = 0,
         .reclen = kRowLen},
        {.name = "iscopy",
         .needs = Needs::kRead,
         .run = [](int fd) -> long { return iscopy(beside().fd, fd, nullptr); },
         .pair = true},
        {.name = "iscopy",
         .needs = Needs::kWrite,
         .run = [](int fd) -> long { return iscopy(fd, beside().fd, nullptr); },
         .lockless = 0x51,
         .pair = true},
    };
    family.nulls = {
        {"isclone", "name", 102,
         [](int fd) -> long {
             return isclone(fd, nullptr);
         }},
    };
    family.errors = byIsclone();
    appendRows(&family.errors, byIscopy());
    return family;
}

}  // namespace api
