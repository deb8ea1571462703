// Recovery of histories in which handles, files and transactions ended in an odd order.
#include "recovery.h"

#include <unistd.h>

namespace api {
namespace {

short current = 0;
short identity() { return current; }

class RecoverHistory : public RecoveryTest {
  protected:
    int openNamed(const std::string &name, int mode = ISINOUT) { return isopen(path(name).c_str(), mode); }
};

TEST_F(RecoverHistory, RecoveryRollsBackWhatCleanupTookFromTheRollback) {
    keepFiles();
    const int a = buildTrans("a");
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(a, row(1)));
    EXPECT_OK(iscleanup());
    EXPECT_FAILS(ISERR_LOGREAD, isrollback());
    const int again = openTrans("a");
    EXPECT_OK(iswrite(again, row(2)));
    EXPECT_EQ(idsOf(again), (Ids{1, 2}));
    // The closing is part of the transaction, so recovery opens the file for the rollback.
    EXPECT_OK(recover());
    EXPECT_EQ(idsOf(openNamed("a")), (Ids{2}));
}

TEST_F(RecoverHistory, AnotherFileHadTheDescriptorAtTheRollback) {
    keepFiles();
    const int a = buildTrans("a");
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(a, row(1)));
    EXPECT_OK(iscleanup());
    const int b = buildNamed(path("b"));
    EXPECT_EQ(b, a);
    EXPECT_OK(iswrite(b, row(10)));
    EXPECT_EQ(isrollback(), -1);
    EXPECT_OK(iswrite(b, row(11)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(openNamed("a")), (Ids{1}));
    EXPECT_EQ(idsOf(openNamed("b")), (Ids{10, 11}));
}

TEST_F(RecoverHistory, AnotherCallerClosedTheFileOfATransaction) {
    keepFiles();
    isTxnInit(identity);
    const int a = buildTrans("a");
    current = 1;
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(a, row(1)));
    current = 2;
    EXPECT_OK(isclose(a));
    const int b = buildNamed(path("b"));
    EXPECT_EQ(b, a);
    EXPECT_OK(iswrite(b, row(10)));
    current = 1;
    EXPECT_EQ(isrollback(), -1);
    current = 0;
    EXPECT_OK(iswrite(b, row(11)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(openNamed("a")), (Ids{1}));
    EXPECT_EQ(idsOf(openNamed("b")), (Ids{10, 11}));
}

TEST_F(RecoverHistory, AnotherFileOfTheTransactionHadTheDescriptor) {
    keepFiles();
    isTxnInit(identity);
    const int a = buildTrans("a");
    const int first = buildTrans("b");
    EXPECT_OK(iswrite(first, row(10)));
    EXPECT_OK(isclose(first));
    current = 1;
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(a, row(1)));
    current = 2;
    EXPECT_OK(isclose(a));
    current = 1;
    const int b = openTrans("b");
    EXPECT_EQ(b, a);
    EXPECT_OK(isclose(b));
    EXPECT_EQ(isrollback(), -1);
    current = 0;
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(openNamed("a")), (Ids{1}));
    EXPECT_EQ(idsOf(openNamed("b")), (Ids{10}));
}

TEST_F(RecoverHistory, TransactionsOfOneProcessInterleaved) {
    keepFiles();
    isTxnInit(identity);
    const int a = buildTrans("a"), b = buildVarTrans("b");
    for (const int round : {0, 1, 2}) {
        // The handles are opened anew, for what was undone through them is not logged on.
        EXPECT_OK(isclose(a));
        EXPECT_OK(isclose(b));
        EXPECT_EQ(openTrans("a"), a);
        EXPECT_EQ(openTrans("b", ISVARLEN), b);
        for (const int number : {1, 2, 3}) {
            current = static_cast<short>(number);
            EXPECT_OK(isbegin());
            EXPECT_OK(iswrite(a, row(round * 10 + number)));
        }
        for (const int number : {3, 1, 2}) {
            current = static_cast<short>(number);
            EXPECT_OK(send(iswrite, b, rec(round * 10 + number, static_cast<std::size_t>(number * 700))));
            EXPECT_OK(isrewrite(a, row(round * 10 + number, "x")));
        }
        for (const int number : {2, 3, 1}) {
            current = static_cast<short>(number);
            EXPECT_OK((round + number) % 3 == 0 ? isrollback() : iscommit());
        }
        current = 0;
    }
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(openNamed("a")), (Ids{1, 2, 11, 13, 22, 23}));
}

TEST_F(RecoverHistory, NumbersGivenToOthersMeanwhile) {
    keepFiles();
    const int fd = buildTrans(), other = open();
    putIds(other, {10, 20, 30});
    EXPECT_OK(isbegin());
    EXPECT_OK(isrewrite(fd, row(20, "new")));
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(iswrite(fd, row(40)));
    EXPECT_OK(isdelete(fd, row(40)));
    EXPECT_OK(iswrite(other, row(50)));
    EXPECT_EQ(isrecnum, 2);
    EXPECT_OK(isrollback());
    EXPECT_EQ(idsOf(other), (Ids{10, 20, 30, 50}));
    EXPECT_OK(isdelete(other, row(50)));
    EXPECT_OK(iswrite(other, row(60)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(open()), (Ids{10, 20, 30, 60}));
}

TEST_F(RecoverHistory, FileErasedUnderAnotherSpellingAndBuiltAgain) {
    keepFiles();
    int fd = buildTrans("a");
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isrollback());
    EXPECT_OK(isclose(fd));  // not logged
    EXPECT_OK(iserase((directory() + "/./a").c_str()));
    fd = buildNamed(path("a"));
    EXPECT_OK(iswrite(fd, row(2)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(openNamed("a")), (Ids{2}));
}

TEST_F(RecoverHistory, TransactionLeftOpenByOneProcessAndTheNextOneBegins) {
    EXPECT_OK(isclose(build()));
    keepFiles();
    // The child ends inside its transaction.
    EXPECT_EQ(inChild([this] {
                  const int fd = openTrans();
                  if (isbegin() != 0 || iswrite(fd, row(1)) != 0) _exit(1);
                  _exit(0);
              }),
              0);
    const int fd = openTrans();
    EXPECT_OK(isbegin());
    EXPECT_OK(iswrite(fd, row(2)));
    EXPECT_OK(isrollback());
    EXPECT_OK(isclose(fd));
    EXPECT_OK(iswrite(open(), row(3)));
    expectSameAfterRecovery();
    EXPECT_EQ(idsOf(open()), (Ids{1, 3}));
}

}  // namespace
}  // namespace api
