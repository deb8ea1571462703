// What a file tells of itself; checks.
#include "table.h"

namespace api {

namespace {

char room[ISUSERINFOLEN];
KeyDesc key;
DictInfo info;

}  // namespace

Family infoFamily() {
    Family family;
    family.calls = {
        {.name = "isindexinfo",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isindexinfo(fd, &key, 1);
         }},
        {.name = "isisaminfo",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isisaminfo(fd, &info);
         }},
        {.name = "isuserinfo",
         .needs = Needs::kAny,
         .run = [](int fd) -> long {
             return isuserinfo(fd, 0, room);
         }},
        {.name = "isuserinfo",
         .needs = Needs::kAny,
         .run = [](int fd) -> long { return isuserinfo(fd, 1, room); },
         .lockless = 0x51},
    };
    family.nulls = {
        {"isindexinfo", "room for a key", 102,
         [](int fd) -> long {
             return isindexinfo(fd, nullptr, 1);
         }},
        {"isindexinfo", "room for the file", 102,
         [](int fd) -> long {
             return isindexinfo(fd, nullptr, 0);
         }},
        {"isisaminfo", "info", 102,
         [](int fd) -> long {
             return isisaminfo(fd, nullptr);
         }},
        {"isuserinfo", "room to read", 102,
         [](int fd) -> long {
             return isuserinfo(fd, 0, nullptr);
         }},
        {"isuserinfo", "bytes to write", 102,
         [](int fd) -> long {
             return isuserinfo(fd, 1, nullptr);
         }},
    };
    family.errors = {
        {"isindexinfo", 102, "NumberBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isindexinfo(fd, &key, -1); });
         }},
        {"isindexinfo", 102, "NumberAboveTheLast",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isindexinfo(fd, &key, 3); });
         }},
        {"isisaminfo", 105, "DamagedFreeList",
         [](Bench &t) {
             const int fd = t.usual();
             t.patchHeader(kFreeRecordsAt, 1);
             t.dontCheck();
             t.fails(fd, [fd] { return isisaminfo(fd, &info); });
         }},
        {"isuserinfo", 102, "DirectionBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isuserinfo(fd, -1, room); });
         }},
        {"isuserinfo", 102, "DirectionAboveOne",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isuserinfo(fd, 2, room); });
         }},
    };
    return family;
}

}  // namespace api
