// Reading records.
#include "table.h"

#include <cerrno>
#include <sys/wait.h>
#include <unistd.h>

namespace api {

namespace {

Row scratch;

long readIn(int fd, int mode, Row record = row(-1)) { return isread(fd, record, mode); }

// The record has been read and the position is on it.
constexpr After kRead1 = {.recnum = 1, .reclen = kRowLen, .moves = true};
// A filter has looked at record 2, from which the read began, or at record 1.
constexpr After kSeen2 = {.recnum = 2, .reclen = kRowLen};

int nothing(int, char *, int) { return 0; }
int disgusted(int, char *, int) {
    iserrno = 4711;
    return 0;
}
int closing(int fd, char *, int) {
    EXPECT_OK(isclose(fd));
    return 1;
}

// Holds one record and waits for another as soon as the other process has told that it holds that one.
int waitFor(Bench &t, int tell, int hear, long keep, long want) {
    const int fd = t.usual();
    t.hold(fd, keep);
    char sign = 'x';
    EXPECT_EQ(write(tell, &sign, 1), 1);
    EXPECT_EQ(read(hear, &sign, 1), 1);
    prime();
    const int result = readIn(fd, ISEQUAL | ISLOCK | ISWAIT, row(want));
    if (result == 0) return 0;
    EXPECT_EQ(result, -1);
    EXPECT_EQ(globals(), (Globals{EDEADLK, 0x62, want, kPrimed.reclen}));
    EXPECT_OK(isrelease(fd));
    return testing::Test::HasFailure() ? 1 : EDEADLK;
}

// The system refuses the one that comes second, whoever that is.
void deadlock(Bench &t) {
    EXPECT_OK(isclose(t.usual()));
    int mine[2], others[2];
    ASSERT_EQ(pipe(mine), 0);
    ASSERT_EQ(pipe(others), 0);
    const pid_t other = fork();
    if (other == 0) _exit(waitFor(t, others[1], mine[0], 1, 2));
    const int here = waitFor(t, mine[1], others[0], 2, 1);
    if (here == 0) EXPECT_OK(iscleanup());
    int status = 0;
    EXPECT_EQ(waitpid(other, &status, 0), other);
    EXPECT_TRUE(WIFEXITED(status));
    EXPECT_EQ(here + WEXITSTATUS(status), EDEADLK);
    for (const int end : {mine[0], mine[1], others[0], others[1]})
        close(end);
    t.note();
}

Errors atAnEnd() {
    return {
        {"isread", 110, "FirstOfNone",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return readIn(fd, ISFIRST); });
         }},
        {"isread", 110, "LastOfNone",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return readIn(fd, ISLAST); });
         }},
        {"isread", 110, "NextAtTheEnd",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_EQ(readId(fd, ISLAST), 3);
             t.fails(fd, [fd] { return readIn(fd, ISNEXT); });
         }},
        {"isread", 110, "PreviousAtTheBeginning",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_EQ(readId(fd, ISFIRST), 1);
             t.fails(fd, [fd] { return readIn(fd, ISPREV); });
         }},
        {"isread", 110, "NextByNumberAtTheEnd",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isindex(fd, 0, 0));
             EXPECT_EQ(readId(fd, ISLAST), 3);
             t.fails(fd, [fd] { return readIn(fd, ISNEXT); });
         }},
        {"isread", 111, "NoEqualKey",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return readIn(fd, ISEQUAL, row(9)); });
         }},
        {"isread", 111, "NoGreaterKey",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return readIn(fd, ISGREAT, row(3)); });
         }},
        {"isread", 111, "NoKeyAsGreat",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return readIn(fd, ISGTEQ, row(4)); });
         }},
        {"isread", 111, "NoRecordOfThatNumber",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isindex(fd, 0, 1));
             t.fails(fd, [fd] { return readIn(fd, ISEQUAL); });
         }},
        {"isread", 112, "NoCurrentRecord",
         [](Bench &t) {
             const int fd = t.build();
             t.fails(fd, [fd] { return readIn(fd, ISCURR); });
         }},
        {"isread", 112, "NumberOfNoneAsItIs",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return readIn(fd, 9); });
         }},
    };
}

Errors ofLocks() {
    return {
        {"isread", 102, "LockInAFileWithoutRecords",
         [](Bench &t) {
             const int fd = t.build(ISINOUT, idKey(), 0);
             t.fails(fd, [fd] { return readIn(fd, ISFIRST | ISLOCK); });
         }},
        {"isread", 107, "LockedByAnotherHandle",
         [](Bench &t) {
             const int fd = t.usual();
             t.hold(t.again(), 1);
             t.fails(fd, kRead1, [fd] { return readIn(fd, ISFIRST | ISLOCK); });
         }},
        {"isread", 107, "LockedByAnotherProcess",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             const Neighbour other([&t] { return readId(t.again(), ISFIRST | ISLOCK) == 1; });
             const int fd = t.usual();
             t.fails(fd, kRead1, [fd] { return readIn(fd, ISFIRST | ISLOCK); });
         }},
        {"isread", 134, "NoRoomForTheLock",
         [](Bench &t) {
             const int fd = t.withAllLocks();
             const long next = position(fd) + 1;
             t.fails(fd, {.recnum = next, .moves = true}, [fd] { return readIn(fd, ISNEXT | ISLOCK); });
             t.dontCheck();
         }},
        {"isread", EDEADLK, "BothWaitForTheOther", deadlock},
    };
}

Errors ofFilters() {
    return {
        {"isread", 111, "FilterRejectsTheCurrentRecord",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_EQ(isfilter(fd, nothing), 0);
             t.fails(fd, kSeen2, [fd] { return readIn(fd, ISCURR); });
         }},
        {"isread", 110, "FilterRejectsAll",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isgoto(fd, 3));
             EXPECT_EQ(isfilter(fd, nothing), 0);
             t.fails(fd, {.recnum = 3, .reclen = kRowLen}, [fd] { return readIn(fd, ISFIRST); });
         }},
        {"isread", 4711, "FilterLeavesAnError",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_EQ(isfilter(fd, disgusted), 0);
             t.fails(fd, kRead1, [fd] { return readIn(fd, ISFIRST); });
         }},
        {"isread", 101, "FilterClosesTheFile",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_EQ(isfilter(fd, closing), 0);
             t.fails(fd, {.recnum = 1, .reclen = kRowLen}, [fd] { return readIn(fd, ISFIRST); });
         }},
    };
}

Errors ofDamage() {
    return {
        {"isread", 105, "DamagedTree",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             patchFile(t.path("file.idx"), 2 * 1024, "\xff\xff");
             const int fd = t.again();
             t.fails(fd, [fd] { return readIn(fd, ISFIRST); });
         }},
        {"isread", EIO, "SlotOfTheRecordIsCutOff",
         [](Bench &t) {
             const int fd = t.usual();
             cutFile(t.path("file.dat"), 5);
             t.dontCheck();
             t.fails(fd, {.io = 0x42, .recnum = 1, .moves = true}, [fd] { return readIn(fd, ISFIRST); });
         }},
        {"isread", 112, "EntryOfASlotThatIsNone",
         [](Bench &t) {
             EXPECT_OK(isclose(t.usual()));
             t.dontCheck();
             // The first entry of the first leaf: its record number.
             patchFile(t.path("file.idx"), 2 * 1024 + 2 + 4, long4(9));
             const int fd = t.again();
             t.fails(fd, {.recnum = 9}, [fd] { return readIn(fd, ISNEXT); });
         }},
        {"isread", EIO, "DataFileEndsBeforeTheRecord",
         [](Bench &t) {
             const int fd = t.usual();
             long number = 0;
             EXPECT_OK(islastrec(fd, &number));
             EXPECT_OK(isindex(fd, 0, 0));
             t.dontCheck();
             t.fails(fd, {.io = 0x42}, [fd] { return readIn(fd, ISLAST); });
         }},
        {"isdata", 102, "NumberBelowOne",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isdata(fd, scratch, 0); });
         }},
        {"isdata", 102, "NumberAboveTheHighest",
         [](Bench &t) {
             const int fd = t.usual();
             t.fails(fd, [fd] { return isdata(fd, scratch, 4); });
         }},
        {"isdata", 111, "Deleted",
         [](Bench &t) {
             const int fd = t.usual();
             EXPECT_OK(isdelrec(fd, 1));
             t.fails(fd, [fd] { return isdata(fd, scratch, 1); });
         }},
    };
}

}  // namespace

Family readFamily() {
    Family family;
    family.calls = {
        {.name = "isread",
         .needs = Needs::kRead,
         .run = [](int fd) -> long { return isread(fd, scratch, ISFIRST); },
         .recnum = 1,
         .reclen = kRowLen},
        {.name = "isdata",
         .needs = Needs::kRead,
         .run = [](int fd) -> long { return isdata(fd, scratch, 1); },
         .reclen = kRowLen},
        {.name = "isfilter",
         .needs = Needs::kHandle,
         .run = [](int fd) -> long { return isfilter(fd, nullptr); },
         .sets = Sets::kNothing},
    };
    family.nulls = {
        {"isread", "record", 102,
         [](int fd) -> long {
             return isread(fd, nullptr, ISFIRST);
         }},
        {"isread", "key", 102,
         [](int fd) -> long {
             return isread(fd, nullptr, ISEQUAL);
         }},
        {"isdata", "record", 102,
         [](int fd) -> long {
             return isdata(fd, nullptr, 1);
         }},
    };
    family.errors = atAnEnd();
    appendRows(&family.errors, ofLocks());
    appendRows(&family.errors, ofFilters());
    appendRows(&family.errors, ofDamage());
    return family;
}

}  // namespace api
