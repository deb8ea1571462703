// What maintenance tools call. These return 1 or 0, and leave the reason in the handle alone.
#include "table.h"

#include "isam_maint.h"

#include <cerrno>

namespace api {

namespace {

constexpr int kSystemError = 4711;

// As the other calls return.
long settled(int result) { return result == 1 ? 0 : result == 0 ? -1 : -2; }
long rebuiltList(int fd, int list) { return settled(isRebuildFree(isAdmItoD(fd), list)); }
long rebuiltIndex(int fd, int index) { return settled(isRebuildIdx(isAdmItoD(fd), index)); }

TableCall look(const char *name, long (*run)(int fd), long good, long bad) {
    return {.name = name,
            .needs = Needs::kHandle,
            .run = run,
            .sets = Sets::kNothing,
            .good = good,
            .bad = bad,
            .badError = kPrimed.error};
}

TableCall rebuild(const char *name, long (*run)(int fd)) {
    return {.name = name,
            .needs = Needs::kWrite,
            .run = run,
            .sets = Sets::kOwn,
            .badError = kPrimed.error,
            .lockless = 0x51};
}

// The globals stay; the code is the handle's own.
void failsInside(Bench &t, int fd, int code, const std::function<long()> &call) {
    const long before = position(fd);
    prime();
    EXPECT_EQ(call(), -1);
    EXPECT_EQ(globals(), kPrimed);
    EXPECT_EQ(isErrno(isAdmItoD(fd)), code);
    EXPECT_EQ(isErrio(isAdmItoD(fd)), 0);
    EXPECT_EQ(position(fd), before);
    t.note();
}

Errors byRebuilds() {
    return {
        {"isRebuildFree", 102, "AnotherList",
         [](Bench &t) {
             const int fd = t.usual();
             failsInside(t, fd, 102, [fd] { return rebuiltList(fd, ISFREE_INDEX); });
         }},
        {"isRebuildFree", 102, "FileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             failsInside(t, fd, 102, [fd] { return rebuiltList(fd, ISFREE_DATA); });
         }},
        {"isRebuildFree", 105, "DamagedListOfNodes",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isdelrec(fd, 1));
             t.patchHeader(kFreeNodesAt, 1);
             t.dontCheck();
             failsInside(t, fd, 105, [fd] { return rebuiltList(fd, ISFREE_DATA); });
         }},
        {"isRebuildFree", 131, "NoNodeNumberLeft",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isprecious(fd, 1));
             EXPECT_OK(isdelrec(fd, 1));
             // Not precious any more, without a list.
             patchFile(t.path("file.idx"), 1024 - 6, int2(0));
             t.patchHeader(kLastNodeAt, kHighestNumber);
             t.dontCheck();
             failsInside(t, fd, 131, [fd] { return rebuiltList(fd, ISFREE_DATA); });
         }},
        {"isRebuildIdx", 131, "NoNodeNumberLeft",
         [](Bench &t) {
             const int fd = t.build();
             t.fillSlots(300);
             t.patchHeader(kLastNodeAt, kHighestNumber);
             t.dontCheck();
             failsInside(t, fd, 131, [fd] { return rebuiltIndex(fd, 1); });
         }},
        {"isRebuildIdx", 100, "TwoRecordsShareAKey",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             patchFile(t.path("file.dat"), kRowLen + 1, std::string(row(1).bytes, 4));
             const int fd = t.again();
             t.dontCheck();
             failsInside(t, fd, 100, [fd] { return rebuiltIndex(fd, 1); });
         }},
        {"isRebuildIdx", 102, "NumberOfNone",
         [](Bench &t) {
             const int fd = t.usual();
             failsInside(t, fd, 102, [fd] { return rebuiltIndex(fd, 0); });
         }},
        {"isRebuildIdx", 102, "NumberAboveTheLast",
         [](Bench &t) {
             const int fd = t.usual();
             failsInside(t, fd, 102, [fd] { return rebuiltIndex(fd, 3); });
         }},
        {"isRebuildIdx", 102, "FileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             failsInside(t, fd, 102, [fd] { return rebuiltIndex(fd, 1); });
         }},
        {"isRebuildIdx", 105, "DamagedListOfNodes",
         [](Bench &t) {
             const int fd = t.usual();
             t.patchHeader(kFreeNodesAt, 1);
             t.dontCheck();
             failsInside(t, fd, 105, [fd] { return rebuiltIndex(fd, 1); });
         }},
    };
}

}  // namespace

Family rebuildFamily() {
    Family family;
    family.calls = {
        look(
            "isAdmItoD", [](int fd) -> long { return isAdmItoD(fd) != nullptr ? 0 : -1; }, 0, -1),
        look(
            "isErrno",
            [](int fd) -> long {
                errno = kSystemError;
                return isErrno(isAdmItoD(fd));
            },
            0, kSystemError),
        look(
            "isErrio", [](int fd) -> long { return isErrio(isAdmItoD(fd)); }, 0, 0),
        look(
            "isRecnum", [](int fd) { return isRecnum(isAdmItoD(fd)); }, 2, -1),
        look(
            "isReclen", [](int fd) -> long { return isReclen(isAdmItoD(fd)); }, 0, -1),
        rebuild("isRebuildFree", [](int fd) { return rebuiltList(fd, ISFREE_DATA); }),
        rebuild("isRebuildIdx", [](int fd) { return rebuiltIndex(fd, 1); }),
    };
    family.errors = byRebuilds();
    return family;
}

}  // namespace api
