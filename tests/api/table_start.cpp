// Positioning, and the highest record number.
#include "table.h"

#include <climits>

namespace api {

namespace {

Row scratch;
int number;
long longNumber;

long startIn(int fd, int mode, Row record = row(-1), int length = 0, KeyDesc key = idKey()) {
    return isstart(fd, &key, length, record, mode);
}

// Record 2 is masked out of the index by name.
int masked(Bench &t) {
    const int fd = t.build(ISINOUT | ISMASK);
    add(fd, nameKey());
    put(fd, row(1, "a"));
    EXPECT_EQ(issetmask(fd, 1 << 1), 0);
    put(fd, row(2, "b"));
    return fd;
}

// Position on record 2, in record-number order; record 1 is deleted.
int byNumber(Bench &t) {
    const int fd = t.usual();
    EXPECT_OK(isdelrec(fd, 1));
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_OK(isgoto(fd, 2));
    return fd;
}

Errors byIsstart() {
    return {
        {"isstart", 102, "LengthBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return startIn(fd, ISEQUAL, row(1), -1); });
         }},
        {"isstart", 102, "LengthAboveTheKey",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return startIn(fd, ISEQUAL, row(1), 5); });
         }},
        {"isstart", 102, "ModeBelowFirst",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return startIn(fd, -1); });
         }},
        {"isstart", 102, "ModeAboveGreaterOrEqual",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return startIn(fd, ISGTEQ + 1); });
         }},
        {"isstart", 103, "NoSuchIndex",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return startIn(fd, ISFIRST, scratch, 0, groupKey()); });
         }},
        {"isstart", 110, "NextAtTheEnd",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_EQ(readId(fd, ISLAST), 3);
             t.fails(fd, [fd] { return startIn(fd, ISNEXT); });
         }},
        {"isstart", 110, "PreviousOfNone",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return startIn(fd, ISPREV); });
         }},
        {"isstart", 111, "NoEqualKey",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return startIn(fd, ISEQUAL, row(9)); });
         }},
        {"isstart", 111, "NoGreaterKeyByName",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isindex(fd, 2, 0));
             t.fails(fd, [fd] { return startIn(fd, ISGREAT, row(0, "zz"), 0, nameKey()); });
         }},
        {"isstart", 112, "NoCurrentRecord",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return startIn(fd, ISCURR); });
         }},
    };
}

Errors byNumbers() {
    return {
        {"isindex", 103, "NumberBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isindex(fd, -1, 0); });
         }},
        {"isindex", 103, "NumberAboveTheLast",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isindex(fd, 3, 0); });
         }},
        {"isindex", 111, "NoSuchRecord",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isindex(fd, 1, 1); });
         }},
        {"isgoto", 111, "NumberBelowOne",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isgoto(fd, 0); });
         }},
        {"isgoto", 111, "NumberAboveTheHighest",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isgoto(fd, 4); });
         }},
        {"isgoto", 111, "Deleted",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isdelrec(fd, 1));
             t.fails(fd, [fd] { return isgoto(fd, 1); });
         }},
        {"isgoto", 111, "DeletedByNumber",
         [](Bench &t) {
             const int fd = byNumber(t);
             t.fails(fd, {.recnum = 1}, [fd] { return isgoto(fd, 1); });
         }},
        {"isgoto", 111, "LeftOutOfTheIndex",
         [](Bench &t) {
             const int fd = masked(t);
             EXPECT_OK(isindex(fd, 2, 0));
             EXPECT_OK(isgoto(fd, 1));
             t.fails(fd, [fd] { return isgoto(fd, 2); });
             t.dontCheck();
         }},
        {"ispop", 103, "NoSuchIndex",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return ispop(fd, 3, 1); });
         }},
        {"ispop", 111, "NoSuchRecord",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, {.moves = true}, [fd] { return ispop(fd, 2, 4); });
         }},
        {"issetlastrec", 102, "NumberBelowNone",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return issetlastrec(fd, -1); });
         }},
        {"islastrec", 131, "NoNumberLeft",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(issetlastrec(fd, kHighestNumber));
             t.dontCheck();
             t.fails(fd, [fd] { return islastrec(fd, &longNumber); });
         }},
    };
}

}  // namespace

Family startFamily() {
    Family family;
    family.calls = {
        {.name = "isstart", .needs = Needs::kRead, .run = [](int fd) { return startIn(fd, ISFIRST); }, .recnum = 1},
        {.name = "isindex",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isindex(fd, 1, 0);
         }},
        {.name = "isgoto", .needs = Needs::kAny, .run = [](int fd) -> long { return isgoto(fd, 1); }, .recnum = 1},
        {.name = "ispush",
         .needs = Needs::kAny,
         .run = [](int fd) -> long {
             return ispush(fd, &number, &longNumber);
         }},
        {.name = "ispop", .needs = Needs::kRead, .run = [](int fd) -> long { return ispop(fd, 1, 1); }, .recnum = 1},
        {.name = "isgetlastrec",
         .needs = Needs::kRead,
         .run = [](int fd) -> long {
             return isgetlastrec(fd, &longNumber);
         }},
        {.name = "issetlastrec",
         .needs = Needs::kWrite,
         .run = [](int fd) -> long { return issetlastrec(fd, 3); },
         .lockless = 0x51},
        {.name = "islastrec",
         .needs = Needs::kWrite,
         .run = [](int fd) -> long { return islastrec(fd, &longNumber); },
         .lockless = 0x51},
    };
    family.nulls = {
        {"isstart", "key", 102,
         [](int fd) -> long {
             return isstart(fd, nullptr, 0, nullptr, ISEQUAL);
         }},
        {"ispush", "index", 102,
         [](int fd) -> long {
             return ispush(fd, nullptr, &longNumber);
         }},
        {"ispush", "recnum", 102,
         [](int fd) -> long {
             return ispush(fd, &number, nullptr);
         }},
        {"isgetlastrec", "recnum", 102,
         [](int fd) -> long {
             return isgetlastrec(fd, nullptr);
         }},
        {"islastrec", "recnum", 102,
         [](int fd) -> long {
             return islastrec(fd, nullptr);
         }},
    };
    family.errors = byIsstart();
    appendRows(&family.errors, byNumbers());
    return family;
}

}  // namespace api
