// The open transactions of the process and the handles parked in them.

#include "base/isglobal.h"
#include "txn/islog.h"
#include "txn/islogtab.h"
#include "unit/scratch_file.h"

namespace {

using unit::charKey;
using unit::ScratchFile;

short identity = 0;
short tellIdentity() { return identity; }

class TxnTable : public testing::Test {
  protected:
    void SetUp() override {
        isTxnInit(tellIdentity);
        removeAll();
    }
    void TearDown() override {
        removeAll();
        isTxnInit(nullptr);
    }
    static void removeAll() {
        for (short id = 0; id < 30; ++id) {
            identity = id;
            while (Txn *txn = txnwork())
                isTxnRemove(txn);
        }
        identity = 0;
    }
    static Txn *of(short id) {
        identity = id;
        return txnwork();
    }
};

TEST_F(TxnTable, FindsEachCallersTransaction) {
    EXPECT_EQ(txnwork(), nullptr);
    Txn *const one = isTxnAdd(1), *const two = isTxnAdd(2);
    EXPECT_EQ(of(1), one);
    EXPECT_EQ(of(2), two);
    EXPECT_EQ(of(3), nullptr);
    isTxnRemove(one);
    EXPECT_EQ(of(1), nullptr);
    EXPECT_EQ(of(2), two);
}

TEST_F(TxnTable, GrowsByTenSlotsAndFillsThemFromTheTop) {
    for (short id = 1; id <= 10; ++id)
        isTxnAdd(id);
    EXPECT_EQ(isProcess.txncount, 10);
    EXPECT_EQ(isProcess.txnlist[9], of(1));
    EXPECT_EQ(isProcess.txnlist[0], of(10));
    isTxnAdd(11);
    EXPECT_EQ(isProcess.txncount, 20);
    EXPECT_EQ(isProcess.txnlist[19], of(11));
    EXPECT_EQ(isProcess.txnlist[18], nullptr);
    EXPECT_EQ(of(5)->id, 5);
}

TEST_F(TxnTable, KeepsNothingWhenTheLastTransactionHasGone) {
    isTxnRemove(isTxnAdd(4));
    EXPECT_EQ(isProcess.txncount, 0);
    EXPECT_EQ(isProcess.txnlist, nullptr);
}

TEST_F(TxnTable, GivesAParkedHandleBackByNameAndMode) {
    ScratchFile file(8, charKey(4), ISINOUT | ISTRANS);
    IsamFile *const h = file.handle();
    Txn *const txn = isTxnAdd(1);
    putvfile(txn, h);
    EXPECT_NE(h->state & ISSTATE_PARKED, 0);
    EXPECT_EQ(getvfile(txn, "another", h->mode), nullptr);
    EXPECT_EQ(getvfile(txn, h->name, h->mode ^ ISTRANS), nullptr);
    EXPECT_EQ(getvfile(txn, h->name, h->mode | ISVARLEN | ISCOMPRESS | ISVARAUTO), h);
    EXPECT_EQ(h->state & ISSTATE_PARKED, 0);
    EXPECT_EQ(getvfile(txn, h->name, h->mode), nullptr);
}

TEST_F(TxnTable, ParksMoreThanTenHandlesTheFirstOneAtTheTop) {
    ScratchFile file(8, charKey(4));
    Txn *const txn = isTxnAdd(1);
    std::vector<IsamFile> handles(11, *file.handle());
    for (IsamFile &h : handles)
        putvfile(txn, &h);
    ASSERT_EQ(txn->parkedSlots, 20);
    EXPECT_EQ(txn->parked[9], &handles[0]);
    EXPECT_EQ(txn->parked[0], &handles[9]);
    EXPECT_EQ(txn->parked[19], &handles[10]);
}

TEST_F(TxnTable, AHandleThatIsClosedForRealLeavesTheTable) {
    ScratchFile file(8, charKey(4), ISINOUT | ISTRANS);
    Txn *const txn = isTxnAdd(1);
    identity = 1;
    ASSERT_EQ(isclose(file.fd()), 0);
    ASSERT_EQ(isAdmHandle(file.fd()), file.handle());
    EXPECT_EQ(isAdmItoD(file.fd()), nullptr);
    EXPECT_EQ(isclose(file.fd()), -1);
    EXPECT_EQ(iserrno, 101);
    ASSERT_EQ(iscleanup(), 0);
    for (int i = 0; i < txn->parkedSlots; ++i)
        EXPECT_EQ(txn->parked[i], nullptr);
}

TEST_F(TxnTable, ALogRecordFromBeforeTheOpeningIsNotTheHandles) {
    testing_support::TempDir dir;
    ASSERT_EQ(islogopen(dir.file("log").c_str()), 0);
    {
        ScratchFile earlier(8, charKey(4));
        ASSERT_GT(earlier.write("a"), 0);
        ScratchFile later(8, charKey(4));
        EXPECT_FALSE(isLGknows(earlier.handle(), 0));  // its build
        EXPECT_TRUE(isLGknows(earlier.handle(), earlier.handle()->logStart));
        EXPECT_FALSE(isLGknows(later.handle(), 0));
        EXPECT_TRUE(isLGknows(later.handle(), later.handle()->logStart));
        ScratchFile unlogged(8, charKey(4), ISINOUT | ISNOLOG);
        EXPECT_FALSE(isLGknows(unlogged.handle(), 0xffffffff));
    }
    ASSERT_EQ(islogclose(), 0);
}

}  // namespace
