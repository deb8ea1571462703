// The log, transactions and recovery.
#include "table.h"

#include <cerrno>

namespace api {

namespace {

short zero() { return 0; }

long logging() { return islogopen(beside().log.c_str()); }
long begun() {
    EXPECT_EQ(logging(), 0);
    return isbegin();
}

// A record added in a transaction; its log record is the last one.
int inserted(Bench &t) {
    t.startLog();
    const int fd = t.buildTrans();
    EXPECT_OK(isbegin());
    put(fd, row(1));
    return fd;
}

// Record 1 deleted in a transaction.
int deleted(Bench &t) {
    t.startLog();
    const int fd = t.buildTrans();
    put(fd, row(1));
    EXPECT_OK(isbegin());
    EXPECT_OK(isdelete(fd, row(1)));
    return fd;
}

// Record 2 is not in the second index, as isaddindex goes by another bit of the mask than the other calls. With a log
// it is added in a transaction.
int halfIndexed(Bench &t, bool logged) {
    const int fd = t.build(ISINOUT | ISMASK | ISTRANS);
    put(fd, row(1));
    if (logged) EXPECT_OK(isbegin());
    EXPECT_EQ(issetmask(fd, 1), 0);
    put(fd, row(2));
    add(fd, nameKey());
    t.dontCheck();
    return fd;
}

// What recovery opens, builds or erases says in iserrio what the system refused.
constexpr After kOpening = {.io = 0};

// A log in which file 5 has been opened, and what follows.
void recoverAfter(Bench &t, const LogWriter &made, const After &after = kPlain) {
    made.save(t.log());
    t.startLog();
    t.fails(-1, after, [] { return isrecover(); });
}

LogWriter opening(Bench &t) {
    EXPECT_OK(isclose(t.usual()));
    return LogWriter().add("FO", fileBody(5, t.base()));
}

std::string image(long id) { return {row(id).bytes, kRowLen}; }

Errors byIscommit() {
    return {
        {"iscommit", 121, "LogIsFull",
         [](Bench &t) {
             inserted(t);
             t.fillLog();
             t.fails(-1, kPlain, [] { return iscommit(); });
         }},
        {"iscommit", 121, "LogIsClosed",
         [](Bench &t) {
             inserted(t);
             EXPECT_OK(islogclose());
             t.fails(-1, kPlain, [] { return iscommit(); });
         }},
        {"iscommit", 122, "NoTransaction",
         [](Bench &t) {
             t.startLog();
             t.fails(-1, kPlain, [] { return iscommit(); });
         }},
    };
}

Errors byIsrollback() {
    return {
        {"isrollback", 100, "KeyOfADeletedRecordIsTaken",
         [](Bench &t) {
             deleted(t);
             EXPECT_OK(iswrite(t.again(), row(1)));
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 107, "AddedRecordIsLocked",
         [](Bench &t) {
             EXPECT_OK(isrelrec(inserted(t), 1));
             t.hold(t.again(), 1);
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 105, "DamagedFreeList",
         [](Bench &t) {
             deleted(t);
             t.patchHeader(kFreeRecordsAt, 1);
             t.patchHeader(kChangesAt, 99);
             t.dontCheck();
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 111, "IndexWithoutTheAddedRecord",
         [](Bench &t) {
             t.startLog();
             halfIndexed(t, true);
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 112, "AddedRecordIsGone",
         [](Bench &t) {
             EXPECT_OK(isrelrec(inserted(t), 1));
             EXPECT_OK(isdelrec(t.again(), 1));
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 131, "NoNodeNumberLeft",
         [](Bench &t) {
             inserted(t);
             t.patchHeader(kLastNodeAt, kHighestNumber);
             t.dontCheck();
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 118, "LogIsClosed",
         [](Bench &t) {
             inserted(t);
             EXPECT_OK(islogclose());
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 118, "LogIsCutOff",
         [](Bench &t) {
             inserted(t);
             cutFile(t.log(), logOf(t.log()).back().offset + 5);
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 118, "FilesAreClosedAlready",
         [](Bench &t) {
             inserted(t);
             EXPECT_OK(iscleanup());
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 119, "RecordOfNoKnownKind",
         [](Bench &t) {
             inserted(t);
             patchFile(t.log(), logOf(t.log()).back().offset + 2, "??");
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 121, "LogIsFull",
         [](Bench &t) {
             inserted(t);
             t.fillLog();
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
        {"isrollback", 122, "NoTransaction",
         [](Bench &t) {
             t.startLog();
             t.fails(-1, kPlain, [] { return isrollback(); });
         }},
    };
}

Errors byIsrecover() {
    return {
        {"isrecover", 100, "KeyIsTaken",
         [](Bench &t) {
             recoverAfter(t, opening(t).add("IN", recordBody(5, 4, image(3))));
         }},
        {"isrecover", 102, "KeysAloneWithMasks",
         [](Bench &t) {
             recoverAfter(t, LogWriter().add("BU", buildBody(ISINOUT | ISMASK, 0, 0, idKey(), t.base())), kOpening);
         }},
        {"isrecover", 103, "BadKey",
         [](Bench &t) {
             recoverAfter(t, opening(t).add("CI", int2(5) + keyBody(keyDesc(0, {{0, 6, LONGTYPE}}))));
         }},
        {"isrecover", 105, "DamagedHeader",
         [](Bench &t) {
             const LogWriter made = opening(t);
             patchFile(t.path("file.idx"), 6, int2(0));
             t.dontCheck();
             recoverAfter(t, made, kOpening);
         }},
        {"isrecover", 107, "RecordIsLocked",
         [](Bench &t) {
             const LogWriter made = opening(t).add("DE", recordBody(5, 1, image(1)));
             t.hold(t.again(), 1);
             recoverAfter(t, made);
         }},
        {"isrecover", 108, "IndexExists",
         [](Bench &t) {
             recoverAfter(t, opening(t).add("CI", int2(5) + keyBody(nameKey())));
         }},
        {"isrecover", 109, "IndexOfNoParts",
         [](Bench &t) {
             recoverAfter(t, opening(t).add("CI", int2(5) + keyBody(noKey())));
         }},
        {"isrecover", 111, "IndexWithoutTheRecord",
         [](Bench &t) {
             EXPECT_OK(isclose(halfIndexed(t, false)));
             recoverAfter(t, LogWriter().add("FO", fileBody(5, t.base())).add("DE", recordBody(5, 2, image(2))));
         }},
        {"isrecover", 112, "NoSuchRecord",
         [](Bench &t) {
             recoverAfter(t, opening(t).add("DE", recordBody(5, 9, image(9))));
         }},
        {"isrecover", 113, "FileInUse",
         [](Bench &t) {
             t.usual();
             recoverAfter(t, LogWriter().add("ER", nul(t.base())), kOpening);
         }},
        {"isrecover", 114, "NameTooLong",
         [](Bench &t) {
             recoverAfter(t, LogWriter().add("FO", fileBody(5, std::string(252, 'n'))), kOpening);
         }},
        {"isrecover", 131, "NoNumberLeft",
         [](Bench &t) {
             const LogWriter made = opening(t).add("IN", recordBody(5, 4, image(4)));
             t.patchHeader(kLastRecordAt, kHighestNumber);
             t.dontCheck();
             recoverAfter(t, made);
         }},
        {"isrecover", 132, "LongerThanTheMaximum",
         [](Bench &t) {
             EXPECT_OK(isclose(t.buildVar()));
             LogWriter made;
             made.add("FO", fileBody(5, t.base(), true)).add("IN", recordBody(5, 1, rec(1, kVarMax)));
             recoverAfter(t, made);
         }},
        {"isrecover", ENOENT, "FileIsMissing",
         [](Bench &t) {
             recoverAfter(t, LogWriter().add("FO", fileBody(5, t.base())), {.io = 0x11});
         }},
        {"isrecover", 118, "RecordIsCutOff",
         [](Bench &t) {
             const std::string record = LogWriter().add("DE", recordBody(5, 1, image(1))).bytes();
             recoverAfter(t, opening(t).raw(record.substr(0, record.size() - 1)));
         }},
        {"isrecover", 118, "FileWasNotOpened",
         [](Bench &t) {
             recoverAfter(t, opening(t).add("DE", recordBody(6, 1, image(1))));
         }},
        {"isrecover", 119, "LengthsDiffer",
         [](Bench &t) {
             std::string record = LogWriter().add("DE", recordBody(5, 1, image(1))).bytes();
             record.back() = '!';
             recoverAfter(t, opening(t).raw(record));
         }},
        {"isrecover", 128, "NoLog",
         [](Bench &t) {
             t.fails(-1, kPlain, [] { return isrecover(); });
         }},
    };
}

Errors byTheOthers() {
    return {
        {"islogopen", 120, "NoSuchDirectory",
         [](Bench &t) {
             t.fails(-1, kPlain, [&t] { return islogopen(t.path("none/log").c_str()); });
         }},
        {"islogopen", 120, "NameTooLong",
         [](Bench &t) {
             t.fails(-1, kPlain, [] { return islogopen(std::string(300, 'n').c_str()); });
         }},
        {"isbegin", 121, "LogIsFull",
         [](Bench &t) {
             t.startLog();
             t.fillLog();
             t.fails(-1, kPlain, [] { return isbegin(); });
         }},
        {"isbegin", 128, "NoLog",
         [](Bench &t) {
             t.fails(-1, kPlain, [] { return isbegin(); });
         }},
    };
}

}  // namespace

Family transactionFamily() {
    Family family;
    family.calls = {
        {.name = "islogopen", .run = [](int) { return logging(); }, .sets = Sets::kError},
        {.name = "islogclose", .run = [](int) -> long { return islogclose(); }, .sets = Sets::kError},
        {.name = "isbegin", .run = [](int) { return begun(); }, .sets = Sets::kError},
        {.name = "iscommit",
         .run = [](int) -> long {
             EXPECT_EQ(begun(), 0);
             prime();
             return iscommit();
         },
         .sets = Sets::kError},
        {.name = "isrollback",
         .run = [](int) -> long {
             EXPECT_EQ(begun(), 0);
             prime();
             return isrollback();
         },
         .sets = Sets::kError},
        {.name = "isrecover",
         .run = [](int) -> long {
             EXPECT_EQ(logging(), 0);
             prime();
             return isrecover();
         },
         .sets = Sets::kError},
        {.name = "isTxnInit", .run = [](int) -> long { return isTxnInit(zero); }, .sets = Sets::kNothing, .good = 1},
    };
    family.nulls = {{"islogopen", "path", 102, [](int) -> long { return islogopen(nullptr); }, false}};
    family.errors = byTheOthers();
    appendRows(&family.errors, byIscommit());
    appendRows(&family.errors, byIsrollback());
    appendRows(&family.errors, byIsrecover());
    return family;
}

}  // namespace api
