// Adding and dropping indexes.
#include "table.h"

namespace api {

namespace {

long added(int fd, KeyDesc key) { return isaddindex(fd, &key); }
long dropped(int fd, KeyDesc key) { return isdelindex(fd, &key); }

Errors byIsaddindex() {
    return {
        {"isaddindex", 100, "TwoRecordsShareAKey",
         [](Bench &t) {
             const int fd = t.usual();
             put(fd, row(4, "name4", 3));
             t.fails(fd, [fd] { return added(fd, groupKey(ISNODUPS)); });
         }},
        {"isaddindex", 102, "FileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             t.fails(fd, [fd] { return added(fd, nameKey()); });
         }},
        {"isaddindex", 103, "BadKey",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return added(fd, keyDesc(ISDUPS, {{0, 6, LONGTYPE}})); });
         }},
        {"isaddindex", 103, "NineIndexes",
         [](Bench &t) {
             const int fd = t.usual();
             for (int start = 1; start <= 7; ++start)
                 add(fd, keyDesc(ISDUPS, {{start, 2}}));
             t.fails(fd, [fd] { return added(fd, groupKey()); });
         }},
        {"isaddindex", 108, "IndexExists",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return added(fd, nameKey(ISNODUPS | ISLEADCOMP)); });
         }},
        {"isaddindex", 109, "NoParts",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return added(fd, noKey()); });
         }},
        {"isaddindex", 113, "AnotherHandleOfTheProcess",
         [](Bench &t) {
             const int fd = t.usual();
             t.again();
             t.fails(fd, [fd] { return added(fd, groupKey()); });
         }},
        {"isaddindex", 113, "AnotherProcess",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return t.open(ISINPUT) >= 0; });
             const int fd = t.usual();
             t.fails(fd, [fd] { return added(fd, groupKey()); });
         }},
        {"isaddindex", 121, "LogIsFull",
         [](Bench &t) {
             const int fd = t.usual();
             t.startLog();
             t.fillLog();
             t.fails(fd, [fd] { return added(fd, groupKey()); });
             EXPECT_EQ(indexCount(fd), 3);
         }},
        {"isaddindex", 131, "NoNodeNumberLeft",
         [](Bench &t) {
             const int fd = t.usual(ISINOUT);
             t.dontCheck();
             t.patchHeader(kLastNodeAt, kHighestNumber);
             t.fails(fd, [fd] { return added(fd, groupKey()); });
         }},
    };
}

Errors byIsdelindex() {
    return {
        {"isdelindex", 103, "NoSuchIndex",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return dropped(fd, groupKey()); });
         }},
        {"isdelindex", 103, "RecordNumberOrder",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return dropped(fd, noKey()); });
         }},
        {"isdelindex", 109, "LastIndex",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return dropped(fd, idKey()); });
         }},
        {"isdelindex", 109, "NoIndex",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, noKey());
             t.fails(fd, [fd] { return dropped(fd, idKey()); });
         }},
        {"isdelindex", 113, "AnotherHandleOfTheProcess",
         [](Bench &t) {
             const int fd = t.usual();
             t.again();
             t.fails(fd, [fd] { return dropped(fd, nameKey()); });
         }},
        {"isdelindex", 113, "AnotherProcess",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return t.open(ISINPUT) >= 0; });
             const int fd = t.usual();
             t.fails(fd, [fd] { return dropped(fd, nameKey()); });
         }},
        {"isdelindex", 121, "LogIsFull",
         [](Bench &t) {
             const int fd = t.usual();
             t.startLog();
             t.fillLog();
             t.fails(fd, [fd] { return dropped(fd, nameKey()); });
             EXPECT_EQ(indexCount(fd), 1);
         }},
    };
}

}  // namespace

Family indexFamily() {
    Family family;
    family.calls = {
        {.name = "isaddindex",
         .needs = Needs::kWrite,
         .run = [](int fd) { return added(fd, groupKey()); },
         .lockless = 0x51},
        {.name = "isdelindex",
         .needs = Needs::kWrite,
         .run = [](int fd) { return dropped(fd, nameKey()); },
         .lockless = 0x51},
    };
    family.nulls = {
        {"isaddindex", "key", 103,
         [](int fd) -> long {
             return isaddindex(fd, nullptr);
         }},
        {"isdelindex", "key", 103,
         [](int fd) -> long {
             return isdelindex(fd, nullptr);
         }},
    };
    family.errors = byIsaddindex();
    appendRows(&family.errors, byIsdelindex());
    return family;
}

}  // namespace api
