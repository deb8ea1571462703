// Recovery from logs made by hand: what each kind of record does, and which ones cannot be followed.
#include "recovery.h"

#include <cerrno>

namespace api {
namespace {

class RecoverStep : public RecoveryTest {
  protected:
    std::string name() const { return base(); }
    // A file of ids 10, 20, 30, closed.
    void three() {
        const int fd = build();
        putIds(fd, {10, 20, 30});
        EXPECT_OK(isclose(fd));
    }
    static std::string bytesOf(const Row &record) { return std::string(record.bytes, kRowLen); }
    LogWriter opened(int fd = 5) { return LogWriter().add("FO", fileBody(fd, name())); }
    // Recovery fails with a code, and no file has changed.
    void expectStop(int code, const LogWriter &made) {
        const Image before = imageOf(base());
        EXPECT_FAILS(code, recoverFrom(made));
        EXPECT_TRUE(imageOf(base()) == before);
    }
};

TEST_F(RecoverStep, RecordsAreAddedReplacedAndRemoved) {
    three();
    EXPECT_OK(recoverFrom(opened()
                              .add("IN", recordBody(5, 4, bytesOf(row(40))))
                              .add("UP", updateBody(5, 2, bytesOf(row(20)), bytesOf(row(25, "new"))))
                              .add("DE", recordBody(5, 1, bytesOf(row(10))))
                              .add("FC", fileBody(5, name()))));
    EXPECT_EQ(idsOf(open()), (Ids{25, 30, 40}));
}

TEST_F(RecoverStep, ImagesOfVariableLength) {
    const int fd = buildVar();
    EXPECT_OK(send(iswrite, fd, rec(10, 2000)));
    EXPECT_OK(send(iswrite, fd, rec(20, 5)));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(recoverFrom(LogWriter()
                              .add("FO", fileBody(0, name(), true))
                              .add("IN", recordBody(0, 3, rec(30, 1500)))
                              .add("UP", updateBody(0, 2, rec(20, 5), rec(20, 3000)))
                              .add("DE", recordBody(0, 1, rec(10, 2000)))
                              .add("IN", recordBody(0, 1, rec(5)))));
    EXPECT_EQ(allOf(openVar()), (Records{rec(5), rec(20, 3000), rec(30, 1500)}));
}

TEST_F(RecoverStep, FilesAreBuilt) {
    const KeyDesc key = keyDesc(ISDUPS | ISDUPCOMP, {{4, 10, CHARTYPE | ISDESC}, {0, 4, LONGTYPE}});
    EXPECT_OK(
        recoverFrom(LogWriter()
                        .add("BU", buildBody(ISINOUT | ISLOCKMANUAL | ISTRANS, 32, 32, key, path("fixed")))
                        .add("BU", buildBody(ISINOUT | ISVARLEN | ISCOMPRESS | ISLOCKMANUAL, 32, 900, key, path("var")))
                        .add("BU", buildBody(ISOUTPUT | ISMASK | ISLOCKAUTO, 32, 32, noKey(), path("mask")))
                        .add("BU", buildBody(ISINPUT | ISLOCKEXCL, 0, 0, key, path("keys")))));
    DictInfo info{};
    KeyDesc found{};
    const int fixed = isopen(path("fixed").c_str(), ISINPUT), varlen = isopen(path("var").c_str(), ISINPUT);
    EXPECT_OK(isindexinfo(fixed, &found, 1));
    EXPECT_TRUE(testing_support::sameKeyDesc(found, key));
    EXPECT_OK(isisaminfo(varlen, &info));
    EXPECT_EQ(info.keyCount, 0x8001);
    EXPECT_EQ(info.recordLength, 900);
    EXPECT_EQ(isreclen, 32);
    int mode = 0;
    EXPECT_OK(isgetmode(varlen, &mode));
    EXPECT_EQ(mode & (ISVARLEN | ISCOMPRESS), ISVARLEN | ISCOMPRESS);
    EXPECT_OK(isgetmode(isopen(path("mask").c_str(), ISINPUT), &mode));
    EXPECT_NE(mode & ISMASK, 0);
    EXPECT_FALSE(exists(path("keys.dat")));
    EXPECT_TRUE(exists(path("keys.idx")));
}

TEST_F(RecoverStep, BuildOverAFileStops) {
    three();
    expectStop(EEXIST, LogWriter().add("BU", buildBody(ISINOUT | ISLOCKMANUAL, kRowLen, kRowLen, idKey(), name())));
}

TEST_F(RecoverStep, IndexesComeAndGo) {
    three();
    const std::string group = int2(5) + keyBody(groupKey()), byName = int2(5) + keyBody(nameKey(ISNODUPS));
    EXPECT_OK(recoverFrom(opened().add("CI", group).add("CI", byName).add("DI", group)));
    const int fd = open();
    EXPECT_EQ(indexCount(fd), 2);
    EXPECT_EQ(idsBy(fd, nameKey()), (Ids{10, 20, 30}));
    EXPECT_OK(isclose(fd));
    expectStop(ISERR_INDEXEXISTS, opened().add("CI", byName));
    expectStop(ISERR_KEYDESC, opened().add("DI", group));
}

TEST_F(RecoverStep, UniqueIdsAreSetAndTaken) {
    three();
    // The id that was handed out does not matter.
    EXPECT_OK(
        recoverFrom(opened().add("SU", uniqueBody(5, 70000)).add("UN", uniqueBody(5, 1)).add("UN", uniqueBody(5, 2))));
    long id = 0;
    EXPECT_OK(isuniqueid(open(), &id));
    EXPECT_EQ(id, 70002);
}

TEST_F(RecoverStep, FilesAreRenamedAndErased) {
    three();
    dontCheck();
    EXPECT_OK(isclose(buildNamed(path("gone"))));
    dontCheck();
    EXPECT_OK(recoverFrom(LogWriter().add("RE", renameBody(name(), path("new"))).add("ER", nul(path("gone")))));
    EXPECT_FALSE(exists(path("file.idx")));
    EXPECT_FALSE(exists(path("gone.idx")));
    EXPECT_FALSE(exists(path("gone.dat")));
    EXPECT_EQ(idsOf(isopen(path("new").c_str(), ISINPUT)), (Ids{10, 20, 30}));
}

TEST_F(RecoverStep, MissingFilesStopIt) {
    three();
    for (const LogWriter &made :
         {LogWriter().add("FO", fileBody(5, path("none"))), LogWriter().add("ER", nul(path("none"))),
          LogWriter().add("RE", renameBody(path("none"), path("other")))}) {
        LogWriter log = made;
        expectStop(ENOENT, log.add("ER", nul(name())));
    }
}

TEST_F(RecoverStep, FileOfAnotherKindThanLoggedStopsIt) {
    three();
    expectStop(ISERR_ARGUMENT, LogWriter().add("FO", fileBody(5, name(), true)));
}

TEST_F(RecoverStep, WholeFileCallsCloseWhatStillStands) {
    three();
    dontCheck();
    // The writer died, or its close was not logged.
    EXPECT_OK(recoverFrom(opened(5)
                              .add("FO", fileBody(6, name()))
                              .add("IN", recordBody(6, 4, bytesOf(row(40))))
                              .add("RE", renameBody(name(), path("new")))
                              .add("FO", fileBody(5, path("new")))
                              .add("IN", recordBody(5, 5, bytesOf(row(50))))));
    EXPECT_EQ(idsOf(isopen(path("new").c_str(), ISINPUT)), (Ids{10, 20, 30, 40, 50}));
    EXPECT_OK(iscleanup());
    EXPECT_OK(recoverFrom(LogWriter().add("FO", fileBody(5, path("new"))).add("ER", nul(path("new")))));
    EXPECT_FALSE(exists(path("new.idx")));
}

TEST_F(RecoverStep, IndexChangesCloseTheOtherHandles) {
    three();
    EXPECT_OK(recoverFrom(opened(5)
                              .add("FO", fileBody(6, name()))
                              .by(kWriter + 1)
                              .add("FO", fileBody(5, name()))
                              .add("CI", int2(5) + keyBody(nameKey()))
                              .add("IN", recordBody(5, 4, bytesOf(row(5))))
                              .add("DI", int2(5) + keyBody(idKey()))));
    EXPECT_EQ(idsOf(open()), (Ids{5, 10, 20, 30}));
}

TEST_F(RecoverStep, DescriptorOpenedAnewIsTheNewFile) {
    three();
    EXPECT_OK(isclose(buildNamed(path("other"))));
    EXPECT_OK(recoverFrom(opened(5)
                              .add("FO", fileBody(5, path("other")))
                              .add("IN", recordBody(5, 1, bytesOf(row(1))))
                              .add("FC", fileBody(5, path("other")))));
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30}));
    EXPECT_EQ(idsOf(isopen(path("other").c_str(), ISINPUT)), (Ids{1}));
}

TEST_F(RecoverStep, EachProcessHasItsOwnDescriptors) {
    three();
    EXPECT_OK(isclose(buildNamed(path("other"))));
    LogWriter made;
    made.by(1).add("FO", fileBody(0, name())).by(2).add("FO", fileBody(0, path("other")));
    made.by(1).add("IN", recordBody(0, 4, bytesOf(row(1)))).by(2).add("IN", recordBody(0, 1, bytesOf(row(2))));
    made.by(1).add("FC", fileBody(0, name())).by(2).add("IN", recordBody(0, 2, bytesOf(row(22))));
    EXPECT_OK(recoverFrom(made));
    EXPECT_EQ(idsOf(open()), (Ids{1, 10, 20, 30}));
    EXPECT_EQ(idsOf(isopen(path("other").c_str(), ISINPUT)), (Ids{2, 22}));
}

TEST_F(RecoverStep, DescriptorThatWasNotOpenedStopsIt) {
    three();
    const std::string image = bytesOf(row(40));
    const struct {
        const char *type;
        std::string body;
    } cases[] = {
        {"IN", recordBody(7, 4, image)},      {"DE", recordBody(7, 1, image)},   {"UP", updateBody(7, 1, image, image)},
        {"FC", fileBody(7, name())},          {"SU", uniqueBody(7, 5)},          {"UN", uniqueBody(7, 5)},
        {"CI", int2(7) + keyBody(nameKey())}, {"DI", int2(7) + keyBody(idKey())}};
    for (const auto &c : cases) {
        SCOPED_TRACE(c.type);
        // With nothing open, beside another file, after its close, and by another process.
        expectStop(ISERR_LOGREAD, LogWriter().add(c.type, c.body));
        expectStop(ISERR_LOGREAD, opened().add(c.type, c.body));
        expectStop(ISERR_LOGREAD, opened(7).add("FC", fileBody(7, name())).add(c.type, c.body));
        expectStop(ISERR_LOGREAD, opened(7).by(kWriter + 1).add(c.type, c.body));
    }
}

TEST_F(RecoverStep, ChangeThatFailsStopsIt) {
    three();
    const std::string image = bytesOf(row(40)), taken = bytesOf(row(20));
    expectStop(ISERR_DUPLICATE, opened().add("IN", recordBody(5, 4, taken)).add("DE", recordBody(5, 1, image)));
    expectStop(ISERR_NOCURRENT, opened().add("DE", recordBody(5, 9, image)).add("DE", recordBody(5, 1, image)));
    expectStop(ISERR_NOCURRENT, opened().add("UP", updateBody(5, 9, image, image)).add("DE", recordBody(5, 1, image)));
    expectStop(ISERR_DUPLICATE, opened().add("UP", updateBody(5, 1, image, taken)).add("DE", recordBody(5, 1, image)));
}

TEST_F(RecoverStep, WhatWasDoneBeforeTheStopStays) {
    three();
    EXPECT_FAILS(
        ISERR_NOCURRENT,
        recoverFrom(
            opened().add("IN", recordBody(5, 4, bytesOf(row(40)))).add("DE", recordBody(5, 9, bytesOf(row(1))))));
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30, 40}));
}

TEST_F(RecoverStep, TransactionMarksAndUnknownRecordsAreSkipped) {
    three();
    EXPECT_OK(recoverFrom(opened()
                              .chain("BW")
                              .add("XX", "anything")
                              .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                              .chain("CW")
                              .add(std::string("\0\xff", 2))
                              .chain("BW")
                              .chain("IN", recordBody(5, 5, bytesOf(row(50))))));
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30, 40, 50}));
}

TEST_F(RecoverStep, HandlesOfTheApplicationAreNotTouched) {
    three();
    const int mine = buildNamed(path("mine"));
    putIds(mine, {1});
    EXPECT_OK(recoverFrom(opened(0).add("IN", recordBody(0, 4, bytesOf(row(40)))).add("FC", fileBody(0, name()))));
    EXPECT_EQ(idsOf(mine), (Ids{1}));
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30, 40}));
}

TEST_F(RecoverStep, EndOfATransactionIsStillReportedAfterwards) {
    three();
    EXPECT_OK(recoverFrom(opened(0).add("IN", recordBody(0, 4, bytesOf(row(40))))));
    open();
    startLog();
    EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
    EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
}

}  // namespace
}  // namespace api
