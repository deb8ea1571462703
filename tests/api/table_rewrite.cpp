// Replacing records.
#include "table.h"

namespace api {

namespace {

// What is replaced in the usual file, and what moves there.
using Rewrite = long (*)(int fd, Row record);

long byKey(int fd, Row record) { return isrewrite(fd, record); }
long byNumber(int fd, Row record) { return isrewrec(fd, 2, record); }
long current(int fd, Row record) { return isrewcurr(fd, record); }
long andNext(int fd, Row record) { return isrewnxt(fd, record); }

// isrewnxt has moved on from record 2 before it fails.
constexpr After afterwards(bool moves, int reclen = kPrimed.reclen) {
    return {.recnum = moves ? 3 : kPrimed.recnum, .reclen = reclen, .moves = moves};
}

Row second() { return row(2, "new", 2); }
// The index by group becomes unique; record 1 has another group then.
int uniqueGroups(Bench &t) {
    const int fd = t.usual();
    add(fd, groupKey(ISNODUPS));
    return fd;
}

template <Rewrite call, bool moves = false> void duplicate(Bench &t) {
    const int fd = uniqueGroups(t);
    t.fails(fd, afterwards(moves), [fd] { return call(fd, row(2, "new", 1)); });
}

template <Rewrite call, bool moves = false> void locked(Bench &t) {
    const int fd = t.usual();
    t.hold(t.again(), 2);
    t.fails(fd, afterwards(moves), [fd] { return call(fd, second()); });
}

template <Rewrite call, bool moves = false> void lockedElsewhere(Bench &t) {
    EXPECT_OK(isclose(t.usual()));
    const Neighbour other([&t] { return readId(t.again(), ISEQUAL | ISLOCK, row(2)) == 2; });
    const int fd = t.usual();
    t.fails(fd, afterwards(moves), [fd] { return call(fd, second()); });
}

template <Rewrite call, bool moves = false> void unlocked(Bench &t) {
    const int fd = t.usual();
    EXPECT_OK(islockcheck(fd, 1));
    t.fails(fd, afterwards(moves), [fd] { return call(fd, second()); });
}

template <Rewrite call, bool moves = false> void gone(Bench &t) {
    const int fd = t.usual();
    EXPECT_OK(isdelrec(fd, 2));
    t.fails(fd, afterwards(moves), [fd] { return call(fd, second()); });
}

template <Rewrite call> void keysAlone(Bench &t) {
    const int fd = t.build(ISINOUT, idKey(), 0);
    t.fails(fd, [fd] { return call(fd, second()); });
}

template <Rewrite call, bool moves = false> void logFull(Bench &t) {
    const int fd = t.usual();
    t.startLog();
    t.fillLog();
    t.fails(fd, afterwards(moves), [fd] { return call(fd, second()); });
}

using Send = int (*)(int, char *);
int sendNumber(int fd, char *record) { return isrewrec(fd, 2, record); }

int variable(Bench &t) {
    const int fd = t.buildVar();
    for (const long id : {1, 2, 3})
        EXPECT_OK(send(iswrite, fd, rec(id)));
    EXPECT_OK(isgoto(fd, 2));
    return fd;
}

template <Send call, bool moves = false> void tooLong(Bench &t) {
    const int fd = variable(t);
    t.fails(fd, afterwards(moves, kVarMax + 1),
            [fd] { return sendAs(kVarMax + 1, call, fd, rec(2, kVarMax - kRowLen)); });
}

// The tail would take a node of its own.
template <Send call, bool moves = false> void noNode(Bench &t) {
    const int fd = variable(t);
    t.patchHeader(kLastNodeAt, kHighestNumber);
    t.dontCheck();
    t.fails(fd, afterwards(moves, kRowLen + 100), [fd] { return send(call, fd, rec(2, 100)); });
}

// Record 2 is not in the second index, as isaddindex goes by another bit of the mask than the other calls.
template <Rewrite call, bool moves = false> void missing(Bench &t) {
    const int fd = t.build(ISINOUT | ISMASK);
    for (const long id : {1, 2, 3}) {
        EXPECT_EQ(issetmask(fd, id == 2 ? 1 : 0), 0);
        put(fd, row(id));
    }
    add(fd, nameKey());
    t.dontCheck();
    EXPECT_OK(isindex(fd, 0, 0));
    EXPECT_OK(isgoto(fd, 2));
    t.fails(fd, afterwards(moves), [fd] { return call(fd, second()); });
}

// The record at the position is not locked, and there is no room for one lock more.
int withoutRoom(Bench &t) {
    t.startLog();
    const int fd = t.withAllLocks(ISINOUT | ISTRANS);
    t.dontCheck();
    EXPECT_OK(isgoto(fd, position(fd) + 1));
    return fd;
}

// The handle stands on the last of the keys 1 and 2, which have the same numbers.
template <Rewrite call> void keyNumber(Bench &t) {
    const int fd = t.build(ISINOUT, idKey(), 0);
    for (const long id : {1, 2}) {
        isrecnum = id;
        EXPECT_OK(iswrite(fd, row(id)));
    }
    EXPECT_EQ(readId(fd, ISLAST), 2);
    t.fails(fd, {.recnum = -1}, [fd] {
        isrecnum = -1;
        return call(fd, row(5));
    });
}

Errors byIsrewrite() {
    return {
        {"isrewrite", 100, "AnotherIndexHasTheKey", duplicate<byKey>},
        {"isrewrite", 102, "FileWithoutRecords", keysAlone<byKey>},
        {"isrewrite", 107, "LockedByAnotherHandle", locked<byKey>},
        {"isrewrite", 107, "LockedByAnotherProcess", lockedElsewhere<byKey>},
        {"isrewrite", 111, "NoSuchKey", gone<byKey>},
        {"isrewrite", 112, "NotLocked", unlocked<byKey>},
        {"isrewrite", 121, "LogIsFull", logFull<byKey>},
        {"isrewrite", 121, "DoesNotFitALogRecord",
         [](Bench &t) {
             constexpr int kLength = 32753;
             const int fd = t.build(ISINOUT, idKey(), kLength);
             std::string record(kLength, ' ');
             EXPECT_OK(iswrite(fd, record.data()));
             t.startLog();
             t.fails(fd, [fd, &record] { return isrewrite(fd, record.data()); });
         }},
        {"isrewrite", 127, "NoIndex",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, noKey());
             t.fails(fd, [fd] { return byKey(fd, second()); });
         }},
        {"isrewrite", 127, "FirstIndexHasDuplicates",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(ISDUPS));
             put(fd, second());
             t.fails(fd, [fd] { return byKey(fd, second()); });
         }},
        {"isrewrite", 131, "NoNodeNumberLeft", noNode<isrewrite>},
        {"isrewrite", 134, "NoRoomForTheTransactionsLock",
         [](Bench &t) {
             const int fd = withoutRoom(t);
             const long number = position(fd);
             add(fd, idKey());
             t.fails(fd, [=] { return byKey(fd, row(number)); });
         }},
        {"isrewrite", 132, "LongerThanTheMaximum", tooLong<isrewrite>},
    };
}

Errors byIsrewrec() {
    return {
        {"isrewrec", 100, "AnotherIndexHasTheKey", duplicate<byNumber>},
        {"isrewrec", 102, "FileWithoutRecords", keysAlone<byNumber>},
        {"isrewrec", 107, "LockedByAnotherHandle", locked<byNumber>},
        {"isrewrec", 107, "LockedByAnotherProcess", lockedElsewhere<byNumber>},
        {"isrewrec", 111, "IndexWithoutTheRecord", missing<byNumber>},
        {"isrewrec", 131, "NoNodeNumberLeft", noNode<sendNumber>},
        {"isrewrec", 112, "NumberBelowOne",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isrewrec(fd, 0, second()); });
         }},
        {"isrewrec", 112, "NumberAboveTheHighest",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isrewrec(fd, 4, second()); });
         }},
        {"isrewrec", 112, "Deleted", gone<byNumber>},
        {"isrewrec", 112, "NotLocked", unlocked<byNumber>},
        {"isrewrec", 121, "LogIsFull", logFull<byNumber>},
        {"isrewrec", 132, "LongerThanTheMaximum", tooLong<sendNumber>},
        {"isrewrec", 134, "NoRoomForTheTransactionsLock",
         [](Bench &t) {
             const int fd = withoutRoom(t);
             const long number = position(fd);
             t.fails(fd, [=] { return isrewrec(fd, number, second()); });
         }},
    };
}

Errors byIsrewcurr() {
    return {
        {"isrewcurr", 100, "AnotherIndexHasTheKey", duplicate<current>},
        {"isrewcurr", 102, "NumberBelowNone", keyNumber<current>},
        {"isrewcurr", 107, "LockedByAnotherHandle", locked<current>},
        {"isrewcurr", 107, "LockedByAnotherProcess", lockedElsewhere<current>},
        {"isrewcurr", 111, "IndexWithoutTheRecord", missing<current>},
        {"isrewcurr", 131, "NoNodeNumberLeft", noNode<isrewcurr>},
        {"isrewcurr", 134, "NoRoomForTheTransactionsLock",
         [](Bench &t) {
             const int fd = withoutRoom(t);
             t.fails(fd, [fd] { return current(fd, second()); });
         }},
        {"isrewcurr", 112, "NoCurrentRecord",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return current(fd, second()); });
         }},
        {"isrewcurr", 112, "Gone", gone<current>},
        {"isrewcurr", 112, "NoCurrentKey", keysAlone<current>},
        {"isrewcurr", 112, "NotLocked", unlocked<current>},
        {"isrewcurr", 121, "LogIsFull", logFull<current>},
        {"isrewcurr", 132, "LongerThanTheMaximum", tooLong<isrewcurr>},
    };
}

Errors byIsrewnxt() {
    return {
        {"isrewnxt", 100, "AnotherIndexHasTheKey", duplicate<andNext, true>},
        {"isrewnxt", 102, "NumberBelowNoneAtTheEnd", keyNumber<andNext>},
        {"isrewnxt", 107, "LockedByAnotherHandle", locked<andNext, true>},
        {"isrewnxt", 107, "LockedByAnotherProcess", lockedElsewhere<andNext, true>},
        {"isrewnxt", 110, "NoNextRecord",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isgoto(fd, 3));
             t.fails(fd, {.recnum = 3}, [fd] { return andNext(fd, row(3, "new")); });
             EXPECT_EQ(take(fd, ISCURR), rec(row(3, "new")));
         }},
        {"isrewnxt", 111, "IndexWithoutTheRecord", missing<andNext, true>},
        {"isrewnxt", 131, "NoNodeNumberLeft", noNode<isrewnxt, true>},
        {"isrewnxt", 134, "NoRoomForTheTransactionsLock",
         [](Bench &t) {
             const int fd = withoutRoom(t);
             t.fails(fd, {.recnum = position(fd) + 1, .moves = true}, [fd] { return andNext(fd, second()); });
         }},
        {"isrewnxt", 112, "Gone", gone<andNext, true>},
        {"isrewnxt", 112, "NotLocked", unlocked<andNext, true>},
        {"isrewnxt", 121, "LogIsFull", logFull<andNext, true>},
        {"isrewnxt", 132, "LongerThanTheMaximum", tooLong<isrewnxt, true>},
    };
}

}  // namespace

Family rewriteFamily() {
    Family family;
    family.calls = {
        {.name = "isrewrite",
         .needs = Needs::kWrite,
         .run = [](int fd) { return byKey(fd, second()); },
         .recnum = 2,
         .lockless = 0x51},
        {.name = "isrewrec",
         .needs = Needs::kWrite,
         .run = [](int fd) { return byNumber(fd, second()); },
         .recnum = 2,
         .lockless = 0x51},
        {.name = "isrewcurr",
         .needs = Needs::kWrite,
         .run = [](int fd) { return current(fd, second()); },
         .recnum = 2,
         .lockless = 0x51},
        {.name = "isrewnxt",
         .needs = Needs::kBoth,
         .run = [](int fd) { return andNext(fd, second()); },
         .recnum = 2,
         .lockless = 0x51,
         .steps = 3},
    };
    family.nulls = {
        {"isrewrite", "record", 102,
         [](int fd) -> long {
             return isrewrite(fd, nullptr);
         }},
        {"isrewrec", "record", 102,
         [](int fd) -> long {
             return isrewrec(fd, 1, nullptr);
         }},
        {"isrewcurr", "record", 102,
         [](int fd) -> long {
             return isrewcurr(fd, nullptr);
         }},
        {"isrewnxt", "record", 102,
         [](int fd) -> long {
             return isrewnxt(fd, nullptr);
         }},
    };
    family.errors = byIsrewrite();
    appendRows(&family.errors, byIsrewrec());
    appendRows(&family.errors, byIsrewcurr());
    appendRows(&family.errors, byIsrewnxt());
    return family;
}

}  // namespace api
