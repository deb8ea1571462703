// Audit trails.
#include "table.h"

namespace api {

namespace {

char room[ISAUDNAMELEN + 1];

long named(int fd, std::string name) { return isaudit(fd, name.data(), ISAUDSETNAME); }

template <int mode> void withoutName(Bench &t) {
    const int fd = t.usual();
    t.fails(fd, [fd] { return isaudit(fd, room, mode); });
}

template <int mode> long withoutBuffer(int fd) {
    EXPECT_OK(named(fd, "trail"));
    prime();
    return isaudit(fd, nullptr, mode);
}

}  // namespace

Family auditFamily() {
    Family family;
    family.calls = {
        {.name = "isaudit", .needs = Needs::kWrite, .run = [](int fd) { return named(fd, "trail"); }, .lockless = 0x51},
    };
    family.nulls = {
        {"isaudit", "name to be set", 102, withoutBuffer<ISAUDSETNAME>, true, true},
        {"isaudit", "room for the name", 102, withoutBuffer<ISAUDGETNAME>, true, true},
        {"isaudit", "room for the state", 102, withoutBuffer<ISAUDINFO>, true, true},
    };
    family.errors = {
        {"isaudit", 102, "NoNameToGet", withoutName<ISAUDGETNAME>},
        {"isaudit", 102, "NoNameToStart", withoutName<ISAUDSTART>},
        {"isaudit", 102, "NoNameToStop", withoutName<ISAUDSTOP>},
        {"isaudit", 102, "NoNameToTellOf", withoutName<ISAUDINFO>},
        {"isaudit", 102, "ModeBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(named(fd, "trail"));
             t.fails(fd, [fd] { return isaudit(fd, room, -1); });
         }},
        {"isaudit", 114, "NameTooLong",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return named(fd, std::string(65, 'n')); });
         }},
        {"isaudit", 131, "NoNodeNumberLeft",
         [](Bench &t) {
             const int fd = t.usual();
             t.patchHeader(kLastNodeAt, kHighestNumber);
             t.dontCheck();
             t.fails(fd, [fd] { return named(fd, "trail"); });
         }},
    };
    return family;
}

}  // namespace api
