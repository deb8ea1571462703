// Removing and renaming file sets.
#include "table.h"

#include <cerrno>
#include <cstdio>

namespace api {

namespace {

using ByName = long (*)(const std::string &name);

long erase(const std::string &name) { return iserase(name.c_str()); }
long rename(const std::string &from) { return isrename(from.c_str(), (from + "2").c_str()); }
long renameTo(Bench &t, const std::string &to) { return isrename(t.base(), to.c_str()); }

// The usual files, closed; what becomes of them is not looked at.
void closed(Bench &t) {
    EXPECT_OK(isclose(t.usual()));
    t.dontCheck();
}

constexpr After kFailed = {.io = 0};

// The errors of both.
template <ByName call> Errors byName(const char *name) {
    return {
        {name, 102, "EmptyName",
         [](Bench &t) {
             t.fails(-1, kPlain, [] { return call(""); });
         }},
        {name, 105, "NodeSizeOfNone",
         [](Bench &t) {
             closed(t);
             patchFile(t.path("file.idx"), 6, int2(0));
             t.fails(-1, kFailed, [&t] { return call(t.base()); });
         }},
        {name, 113, "OpenInTheProcess",
         [](Bench &t) {
             t.usual();
             t.fails(-1, kFailed, [&t] { return call(t.base()); });
         }},
        {name, 113, "OpenInAnotherProcess",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return t.again() >= 0; });
             t.fails(-1, kFailed, [&t] { return call(t.base()); });
         }},
        {name, 114, "NameTooLong",
         [](Bench &t) {
             t.fails(-1, kFailed, [] { return call(std::string(252, 'n')); });
         }},
        {name, 121, "LogIsFull",
         [](Bench &t) {
             closed(t);
             t.startLog();
             t.fillLog();
             t.fails(-1, kFailed, [&t] { return call(t.base()); });
             EXPECT_FALSE(exists(t.path("file.idx")));
         }},
        {name, ENOENT, "NoIndexFile",
         [](Bench &t) {
             t.fails(-1, {.io = 0x11}, [&t] { return call(t.base()); });
         }},
        {name, ENOENT, "NoDataFile",
         [](Bench &t) {
             closed(t);
             EXPECT_EQ(std::remove(t.path("file.dat").c_str()), 0);
             t.fails(-1, {.io = 0x12}, [&t] { return call(t.base()); });
         }},
    };
}

Errors byIsrename() {
    return {
        {"isrename", 102, "EmptyNewName",
         [](Bench &t) {
             closed(t);
             t.fails(-1, kPlain, [&t] { return renameTo(t, ""); });
         }},
        {"isrename", 114, "NewNameTooLong",
         [](Bench &t) {
             closed(t);
             t.fails(-1, kFailed, [&t] { return renameTo(t, std::string(252, 'n')); });
         }},
        {"isrename", EEXIST, "IndexFileExists",
         [](Bench &t) {
             closed(t);
             t.touch(t.path("other.idx"));
             t.fails(-1, {.io = 1}, [&t] { return renameTo(t, t.path("other")); });
         }},
        {"isrename", EEXIST, "DataFileExists",
         [](Bench &t) {
             closed(t);
             t.touch(t.path("other.dat"));
             t.fails(-1, {.io = 2}, [&t] { return renameTo(t, t.path("other")); });
             EXPECT_FALSE(exists(t.path("other.idx")));
         }},
        {"isrename", ENOENT, "NoSuchDirectory",
         [](Bench &t) {
             closed(t);
             t.fails(-1, {.io = 1}, [&t] { return renameTo(t, t.path("none/file")); });
         }},
    };
}

// What the calls remove or rename when all is well.
const std::string &made() {
    EXPECT_OK(isclose(isbuild(beside().fresh.c_str(), kRowLen, isqv_kdsc(beside().fd), ISINOUT)));
    prime();
    return beside().fresh;
}

}  // namespace

Family wholeFamily() {
    Family family;
    family.calls = {
        {.name = "iserase", .run = [](int) { return erase(made()); }, .sets = Sets::kError},
        {.name = "isrename", .run = [](int) { return rename(made()); }, .sets = Sets::kError},
    };
    family.nulls = {
        {"iserase", "name", 102, [](int) -> long { return iserase(nullptr); }, false},
        {"isrename", "from", 102, [](int) { return static_cast<long>(isrename(nullptr, beside().fresh.c_str())); },
         false},
        {"isrename", "to", 102, [](int) { return static_cast<long>(isrename(beside().name.c_str(), nullptr)); }, false},
    };
    family.errors = byName<erase>("iserase");
    appendRows(&family.errors, byName<rename>("isrename"));
    appendRows(&family.errors, byIsrename());
    return family;
}

}  // namespace api
