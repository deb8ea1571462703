// Deleting records; unique ids.
#include "table.h"

namespace api {

namespace {

long id;

using Delete = long (*)(int fd);

// They all delete record 2.
long byKey(int fd) { return isdelete(fd, row(2)); }
long byNumber(int fd) { return isdelrec(fd, 2); }
long current(int fd) { return isdelcurr(fd); }

template <Delete call> void locked(Bench &t) {
    const int fd = t.usual();
    t.hold(t.again(), 2);
    t.fails(fd, [fd] { return call(fd); });
}

template <Delete call> void lockedElsewhere(Bench &t) {
    EXPECT_OK(isclose(t.usual()));
    const Neighbour other([&t] { return readId(t.again(), ISEQUAL | ISLOCK, row(2)) == 2; });
    const int fd = t.usual();
    t.fails(fd, [fd] { return call(fd); });
}

template <Delete call> void unlocked(Bench &t) {
    const int fd = t.usual();
    EXPECT_OK(islockcheck(fd, 1));
    t.fails(fd, [fd] { return call(fd); });
}

template <Delete call> void gone(Bench &t) {
    const int fd = t.usual();
    EXPECT_OK(isdelrec(fd, 2));
    t.fails(fd, [fd] { return call(fd); });
}

template <Delete call> void logFull(Bench &t) {
    const int fd = t.usual();
    t.startLog();
    t.fillLog();
    t.fails(fd, [fd] { return call(fd); });
    EXPECT_EQ(recordCount(fd), 3);
}

// The list of free record numbers takes a node.
template <Delete call> void noNode(Bench &t) {
    const int fd = t.usual();
    t.patchHeader(kLastNodeAt, kHighestNumber);
    t.dontCheck();
    t.fails(fd, [fd] { return call(fd); });
    EXPECT_EQ(recordCount(fd), 3);
}

// Record 2 is not in the second index, as isaddindex goes by another bit of the mask than the other calls.
template <Delete call> void missing(Bench &t) {
    const int fd = t.build(ISINOUT | ISMASK);
    for (const long id : {1, 2, 3}) {
        EXPECT_EQ(issetmask(fd, id == 2 ? 1 : 0), 0);
        put(fd, row(id));
    }
    add(fd, nameKey());
    t.dontCheck();
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_OK(isgoto(fd, 2));
    t.fails(fd, [fd] { return call(fd); });
}

Errors byIsdelete() {
    return {
        {"isdelete", 107, "LockedByAnotherHandle", locked<byKey>},
        {"isdelete", 107, "LockedByAnotherProcess", lockedElsewhere<byKey>},
        {"isdelete", 111, "NoSuchKey", gone<byKey>},
        {"isdelete", 112, "NotLocked", unlocked<byKey>},
        {"isdelete", 121, "LogIsFull", logFull<byKey>},
        {"isdelete", 127, "NoIndex",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, noKey());
             t.fails(fd, [fd] { return byKey(fd); });
         }},
        {"isdelete", 127, "FirstIndexHasDuplicates",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(ISDUPS));
             put(fd, row(2));
             t.fails(fd, [fd] { return byKey(fd); });
         }},
        {"isdelete", 131, "NoNodeNumberLeft", noNode<byKey>},
    };
}

Errors byTheOthers() {
    return {
        {"isdelrec", 102, "FileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             t.fails(fd, [fd] { return byNumber(fd); });
         }},
        {"isdelrec", 107, "LockedByAnotherHandle", locked<byNumber>},
        {"isdelrec", 107, "LockedByAnotherProcess", lockedElsewhere<byNumber>},
        {"isdelrec", 111, "IndexWithoutTheRecord", missing<byNumber>},
        {"isdelrec", 112, "NumberBelowOne",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isdelrec(fd, 0); });
         }},
        {"isdelrec", 112, "NumberAboveTheHighest",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isdelrec(fd, 4); });
         }},
        {"isdelrec", 112, "DeletedAlready", gone<byNumber>},
        {"isdelrec", 112, "NotLocked", unlocked<byNumber>},
        {"isdelrec", 121, "LogIsFull", logFull<byNumber>},
        {"isdelrec", 131, "NoNodeNumberLeft", noNode<byNumber>},
        {"isdelcurr", 107, "LockedByAnotherHandle", locked<current>},
        {"isdelcurr", 107, "LockedByAnotherProcess", lockedElsewhere<current>},
        {"isdelcurr", 111, "IndexWithoutTheRecord", missing<current>},
        {"isdelcurr", 112, "NoCurrentRecord",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return current(fd); });
         }},
        {"isdelcurr", 112, "StartedAtTheBeginning",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isstart(fd, nullptr, 0, nullptr, ISFIRST));
             t.fails(fd, [fd] { return current(fd); });
         }},
        {"isdelcurr", 112, "DeletedAlready", gone<current>},
        {"isdelcurr", 112, "NotLocked", unlocked<current>},
        {"isdelcurr", 121, "LogIsFull", logFull<current>},
        {"isdelcurr", 131, "NoNodeNumberLeft", noNode<current>},
        {"issetunique", 121, "LogIsFull",
         [](Bench &t) {
             const int fd = t.usual();
             t.startLog();
             t.fillLog();
             t.fails(fd, [fd] { return issetunique(fd, 9); });
             EXPECT_EQ(numberAt(contents(t.path("file.idx")), 45, 4), 9U);
         }},
        {"isuniqueid", 121, "LogIsFull",
         [](Bench &t) {
             const int fd = t.usual();
             t.startLog();
             t.fillLog();
             t.fails(fd, [fd] { return isuniqueid(fd, &id); });
             EXPECT_EQ(numberAt(contents(t.path("file.idx")), 45, 4), 2U);
         }},
    };
}

}  // namespace

Family deleteFamily() {
    Family family;
    family.calls = {
        {.name = "isdelete", .needs = Needs::kWrite, .run = byKey, .lockless = 0x52},
        {.name = "isdelrec", .needs = Needs::kWrite, .run = byNumber, .lockless = 0x52},
        {.name = "isdelcurr", .needs = Needs::kWrite, .run = current, .lockless = 0x52},
        {.name = "issetunique",
         .needs = Needs::kWrite,
         .run = [](int fd) -> long { return issetunique(fd, 1); },
         .lockless = 0x51},
        {.name = "isuniqueid",
         .needs = Needs::kWrite,
         .run = [](int fd) -> long { return isuniqueid(fd, &id); },
         .lockless = 0x51},
    };
    family.nulls = {
        {"isdelete", "record", 102,
         [](int fd) -> long {
             return isdelete(fd, nullptr);
         }},
        {"isuniqueid", "id", 102,
         [](int fd) -> long {
             return isuniqueid(fd, nullptr);
         }},
    };
    family.errors = byIsdelete();
    appendRows(&family.errors, byTheOthers());
    return family;
}

}  // namespace api
