// Adding records.
#include "table.h"

#include <cerrno>

namespace api {

namespace {

using Write = int (*)(int fd, char *record);

// A call that adds record 4.
template <Write call> long add4(int fd) { return call(fd, row(4, "name4")); }
template <Write call> long addAgain(int fd) { return call(fd, row(3)); }

template <Write call> void duplicate(Bench &t) {
    const int fd = t.usual();
    t.fails(fd, [fd] { return addAgain<call>(fd); });
}

template <Write call> void keysAlone(Bench &t) {
    const int fd = t.build(ISINOUT, idKey(), 0);
    t.fails(fd, [fd] { return add4<call>(fd); });
}

template <Write call> void noNumber(Bench &t) {
    const int fd = t.usual();
    EXPECT_OK(issetlastrec(fd, kHighestNumber));
    t.dontCheck();
    t.fails(fd, [fd] { return add4<call>(fd); });
}

template <Write call> void tooLong(Bench &t) {
    const int fd = t.buildVar();
    t.fails(fd, {.reclen = kVarMax + 1}, [fd] { return sendAs(kVarMax + 1, call, fd, rec(1, kVarMax - kRowLen)); });
}

template <Write call, int mode = 0> void lockedByAll(Bench &t) {
    EXPECT_OK(isclose(t.usual()));
    const Neighbour other([&t] { return islock(t.again()) == 0; });
    t.startLog();
    const int fd = t.usual(ISINOUT | mode);
    t.fails(fd, [fd] { return add4<call>(fd); });
}

template <Write call, int mode = 0> void noLockLeft(Bench &t) {
    t.startLog();
    const int fd = t.withAllLocks(ISINOUT | mode);
    t.fails(fd, [fd] { return add4<call>(fd); });
    t.dontCheck();
}

template <Write call> void logFull(Bench &t) {
    const int fd = t.usual();
    t.startLog();
    t.fillLog();
    t.fails(fd, [fd] { return add4<call>(fd); });
}

void keyNumber(Bench &t, long number) {
    const int fd = t.build(ISINOUT, idKey(), 0);
    const auto call = [fd, number] {
        isrecnum = number;
        return iswrite(fd, row(4));
    };
    t.fails(fd, {.recnum = number}, call);
}

Errors byIswrite() {
    return {
        {"iswrite", 100, "FirstIndexHasTheKey", duplicate<iswrite>},
        {"iswrite", 102, "NumberBelowNone",
         [](Bench &t) {
             keyNumber(t, -1);
         }},
        {"iswrite", 107, "AnotherProcessLocksAll", lockedByAll<iswrite, ISTRANS>},
        {"iswrite", 121, "DoesNotFitALogRecord",
         [](Bench &t) {
             t.startLog();
             const int fd = t.build(ISINOUT, idKey(), 65508);
             t.fails(fd, [fd] { return iswrite(fd, std::string(65508, ' ').data()); });
         }},
        {"iswrite", 121, "LogIsFull", logFull<iswrite>},
        {"iswrite", 127, "KeysAloneWithoutIndex",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, noKey(), 0);
             t.fails(fd, [fd] { return iswrite(fd, row(4)); });
         }},
        {"iswrite", 131, "NoNumberLeft", noNumber<iswrite>},
        {"iswrite", 132, "LongerThanTheMaximum", tooLong<iswrite>},
        {"iswrite", 134, "NoRoomForTheTransactionsLock", noLockLeft<iswrite, ISTRANS>},
        {"iswrite", ENOENT, "NoDirectoryForTheTrail",
         [](Bench &t) {
             const int fd = t.usual();
             t.startAudit(fd, t.path("none/trail"));
             t.fails(fd, {.io = 0x23}, [fd] { return iswrite(fd, row(4)); });
         }},
        {"iswrite", ENOSPC, "TrailIsFull",
         [](Bench &t) {
             const int fd = t.usual();
             t.startAudit(fd, "/dev/full");
             t.fails(fd, {.io = 0x53}, [fd] { return iswrite(fd, row(4)); });
         }},
    };
}

Errors byIswrlock() {
    return {
        {"iswrlock", 100, "FirstIndexHasTheKey", duplicate<iswrlock>},
        {"iswrlock", 102, "FileWithoutRecords", keysAlone<iswrlock>},
        {"iswrlock", 107, "AnotherProcessLocksAll", lockedByAll<iswrlock>},
        {"iswrlock", 121, "LogIsFull", logFull<iswrlock>},
        {"iswrlock", 131, "NoNumberLeft", noNumber<iswrlock>},
        {"iswrlock", 132, "LongerThanTheMaximum", tooLong<iswrlock>},
        {"iswrlock", 134, "NoRoomForTheLock", noLockLeft<iswrlock>},
    };
}

Errors byIswrcurr() {
    return {
        {"iswrcurr", 100, "FirstIndexHasTheKey", duplicate<iswrcurr>},
        {"iswrcurr", 102, "FileWithoutRecords", keysAlone<iswrcurr>},
        {"iswrcurr", 107, "AnotherProcessLocksAll", lockedByAll<iswrcurr, ISTRANS>},
        {"iswrcurr", 134, "NoRoomForTheTransactionsLock", noLockLeft<iswrcurr, ISTRANS>},
        {"iswrcurr", 111, "LeftOutOfTheIndex",
         [](Bench &t) {
             const int fd = t.build(ISINOUT | ISMASK);
             EXPECT_EQ(issetmask(fd, 1), 0);
             t.fails(fd, {.recnum = 1}, [fd] { return iswrcurr(fd, row(4)); });
             EXPECT_EQ(recordCount(fd), 1);
         }},
        {"iswrcurr", 121, "LogIsFull", logFull<iswrcurr>},
        {"iswrcurr", 131, "NoNumberLeft", noNumber<iswrcurr>},
        {"iswrcurr", 132, "LongerThanTheMaximum", tooLong<iswrcurr>},
    };
}

}  // namespace

Family writeFamily() {
    Family family;
    family.calls = {
        {.name = "iswrite", .needs = Needs::kWrite, .run = add4<iswrite>, .recnum = 4, .lockless = 0x52},
        {.name = "iswrlock", .needs = Needs::kWrite, .run = add4<iswrlock>, .recnum = 4, .lockless = 0x52},
        {.name = "iswrcurr", .needs = Needs::kWrite, .run = add4<iswrcurr>, .recnum = 4, .lockless = 0x52},
    };
    family.nulls = {
        {"iswrite", "record", 102,
         [](int fd) -> long {
             return iswrite(fd, nullptr);
         }},
        {"iswrlock", "record", 102,
         [](int fd) -> long {
             return iswrlock(fd, nullptr);
         }},
        {"iswrcurr", "record", 102,
         [](int fd) -> long {
             return iswrcurr(fd, nullptr);
         }},
    };
    family.errors = byIswrite();
    appendRows(&family.errors, byIswrlock());
    appendRows(&family.errors, byIswrcurr());
    return family;
}

}  // namespace api
