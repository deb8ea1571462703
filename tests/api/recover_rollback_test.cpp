// Recovery undoes transactions that ended in a rollback: the chain of the end mark is followed backwards.
#include "recovery.h"

namespace api {
namespace {

class RecoverRollback : public RecoveryTest {
  protected:
    void SetUp() override {
        const int fd = build();
        putIds(fd, {10, 20, 30});
        EXPECT_OK(isclose(fd));
        before = imageOf(base());
    }
    std::string name() const { return base(); }
    static std::string bytesOf(const Row &record) { return std::string(record.bytes, kRowLen); }
    static std::string original(long id) { return bytesOf(row(id, "n" + std::to_string(id), static_cast<int>(id))); }
    LogWriter opened() { return LogWriter().add("FO", fileBody(5, name())); }
    Records records() {
        const int fd = open();
        const Records found = allOf(fd);
        EXPECT_OK(isclose(fd));
        return found;
    }
    Image before;
};

TEST_F(RecoverRollback, EveryKindOfChange) {
    EXPECT_OK(recoverFrom(opened()
                              .chain("BW")
                              .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                              .chain("UP", updateBody(5, 2, original(20), bytesOf(row(25, "new"))))
                              .chain("DE", recordBody(5, 1, original(10)))
                              .chain("RW")));
    EXPECT_EQ(records(), (Records{original(10), original(20), original(30)}));
}

TEST_F(RecoverRollback, ProcessesAndTransactionsInterleaved) {
    LogWriter made;
    made.by(1).add("FO", fileBody(0, name())).by(2).add("FO", fileBody(0, name()));
    // Two chains, linked by hand.
    made.by(1).add("BW");
    std::size_t first = made.lastOffset();
    made.by(2).add("BW");
    std::size_t second = made.lastOffset();
    made.by(1).linked("IN", first, 20, recordBody(0, 4, bytesOf(row(40))));
    first = made.lastOffset();
    made.by(2).linked("IN", second, 20, recordBody(0, 5, bytesOf(row(50))));
    second = made.lastOffset();
    made.by(1).linked("UP", first, 60, updateBody(0, 1, original(10), bytesOf(row(15))));
    first = made.lastOffset();
    made.by(2).linked("CW", second, 60);
    made.by(1).linked("RW", first, 94);
    EXPECT_OK(recoverFrom(made));
    EXPECT_EQ(records(), (Records{original(10), original(20), original(30), bytesOf(row(50))}));
}

TEST_F(RecoverRollback, FilesClosedAtItsEndAreReopenedForIt) {
    EXPECT_OK(recoverFrom(opened()
                              .chain("BW")
                              .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                              .chain("FC", fileBody(5, name()))
                              .chain("RW")
                              .add("FO", fileBody(5, name()))
                              .add("IN", recordBody(5, 4, bytesOf(row(50))))));
    EXPECT_EQ(records(), (Records{original(10), original(20), original(30), bytesOf(row(50))}));
}

TEST_F(RecoverRollback, FilesOpenedInside) {
    EXPECT_OK(recoverFrom(LogWriter()
                              .chain("BW")
                              .chain("FO", fileBody(5, name()))
                              .chain("DE", recordBody(5, 3, original(30)))
                              .chain("RW")));
    EXPECT_EQ(records(), (Records{original(10), original(20), original(30)}));
}

TEST_F(RecoverRollback, OpenedAndClosedInsideAndAgainLater) {
    EXPECT_OK(recoverFrom(LogWriter()
                              .chain("BW")
                              .chain("FO", fileBody(5, name()))
                              .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                              .chain("FC", fileBody(5, name()))
                              .chain("RW")
                              .chain("BW")
                              .chain("FO", fileBody(5, name()))
                              .chain("IN", recordBody(5, 4, bytesOf(row(50))))
                              .chain("FC", fileBody(5, name()))
                              .chain("CW")));
    EXPECT_EQ(records(), (Records{original(10), original(20), original(30), bytesOf(row(50))}));
}

TEST_F(RecoverRollback, WhatHasNoUndoIsPassedOver) {
    EXPECT_OK(recoverFrom(opened()
                              .chain("BW")
                              .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                              .chain("SU", uniqueBody(5, 70))
                              .chain("UN", uniqueBody(5, 70))
                              .chain("CI", int2(5) + keyBody(nameKey()))
                              .chain("DI", int2(5) + keyBody(nameKey()))
                              .chain("BU", buildBody(ISINOUT, 8, 8, idKey(), path("built")))
                              .chain("RE", renameBody(path("built"), path("renamed")))
                              .chain("ER", nul(path("renamed")))
                              .chain("RW")));
    EXPECT_EQ(records(), (Records{original(10), original(20), original(30)}));
    long id = 0;
    EXPECT_OK(isuniqueid(open(), &id));
    EXPECT_EQ(id, 71);
    EXPECT_FALSE(exists(path("built.idx")) || exists(path("renamed.idx")));
}

TEST_F(RecoverRollback, EmptyOneIsNothing) {
    EXPECT_OK(recoverFrom(LogWriter().chain("BW").chain("RW")));
    EXPECT_OK(recoverFrom(opened().chain("BW").chain("RW")));
    EXPECT_TRUE(imageOf(base()) == before);
}

TEST_F(RecoverRollback, ImagesOfVariableLength) {
    const int fd = buildVarNamed(path("var"));
    EXPECT_OK(send(iswrite, fd, rec(1, 2000)));
    EXPECT_OK(send(iswrite, fd, rec(2)));
    EXPECT_OK(isclose(fd));
    EXPECT_OK(recoverFrom(LogWriter()
                              .add("FO", fileBody(3, path("var"), true))
                              .chain("BW")
                              .chain("UP", updateBody(3, 1, rec(1, 2000), rec(1, 10)))
                              .chain("UP", updateBody(3, 2, rec(2), rec(2, 4000)))
                              .chain("DE", recordBody(3, 2, rec(2, 4000)))
                              .chain("IN", recordBody(3, 2, rec(3, 995)))
                              .chain("RW")));
    EXPECT_EQ(allOf(isopen(path("var").c_str(), ISINPUT | ISVARLEN)), (Records{rec(1, 2000), rec(2)}));
}

TEST_F(RecoverRollback, ChangeThatCouldNotBeUndoneThenIsNotUndoneNow) {
    // The key of the record removed in the transaction is taken by then: the rollback had failed there.
    EXPECT_OK(recoverFrom(opened()
                              .chain("BW")
                              .chain("IN", recordBody(5, 4, bytesOf(row(40))))
                              .chain("DE", recordBody(5, 1, original(10)))
                              .add("IN", recordBody(5, 1, bytesOf(row(10, "mine"))))
                              .chain("UP", updateBody(5, 2, original(20), bytesOf(row(25))))
                              .chain("RW")
                              .add("DE", recordBody(5, 3, original(30)))));
    EXPECT_EQ(records(), (Records{bytesOf(row(10, "mine")), original(20), bytesOf(row(40))}));
}

// Links that lead nowhere: the walk ends, with an error.
class RecoverChain : public RecoverRollback {
  protected:
    void expectDamage(const LogWriter &made) {
        EXPECT_EQ(recoverFrom(made), -1);
        EXPECT_TRUE(iserrno == ISERR_LOGREAD || iserrno == ISERR_BADLOG) << iserrno;
        EXPECT_TRUE(imageOf(base()) == before);
    }
};

TEST_F(RecoverChain, LinkToItselfOrForward) {
    const std::size_t start = opened().bytes().size();
    expectDamage(opened().linked("RW", start, 20));
    expectDamage(opened().linked("RW", start + 20, 20).add("BW"));
    expectDamage(opened().linked("RW", start + 20, 20).linked("RW", start, 20));
}

TEST_F(RecoverChain, LinkBehindTheEnd) {
    expectDamage(opened().linked("RW", 100000, 20));
    expectDamage(opened().linked("RW", 0xffffffffUL, 20));
    expectDamage(opened().linked("RW", 0x7fffffffUL, 20));
}

TEST_F(RecoverChain, LinkIntoTheMiddleOfARecord) {
    LogWriter made = opened().chain("BW");
    expectDamage(made.linked("RW", made.lastOffset() + 1, 20));
    made = opened().add("XX", std::string(40, '\0'));
    expectDamage(made.linked("RW", made.lastOffset() + 20, 20));
}

TEST_F(RecoverChain, LinkToARecordOfNoKnownType) {
    LogWriter made = opened().add("XX", "anything");
    expectDamage(made.linked("RW", made.lastOffset(), 28));
}

TEST_F(RecoverChain, ChainThatDoesNotEndInABeginEndsAllTheSame) {
    // The opening is not chained: its link says 0, where it stands itself.
    for (const unsigned long length : {0, 20}) {
        recoverFrom(opened().linked("RW", 0, length));
        EXPECT_TRUE(imageOf(base()) == before);
    }
}

TEST_F(RecoverChain, ChainThatRunsInACircle) {
    LogWriter made = opened();
    const std::size_t start = made.bytes().size();
    made.linked("XX", 0, 0);
    made.linked("UN", start + 20, 26, uniqueBody(5, 1));
    EXPECT_EQ(recoverFrom(made.linked("RW", start + 20, 26)), -1);
    EXPECT_TRUE(iserrno == ISERR_LOGREAD || iserrno == ISERR_BADLOG) << iserrno;
}

}  // namespace
}  // namespace api
