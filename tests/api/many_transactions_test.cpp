// Several transactions of one process, told apart by its own numbers.
#include "logs.h"

namespace api {
namespace {

short current = 0;
short identity() { return current; }

class ManyTransactions : public LogTest {
  protected:
    void SetUp() override {
        current = 0;
        EXPECT_EQ(isTxnInit(identity), 1);
        startLog();
    }
    // The steps of one of them.
    static void as(int number, const std::function<void()> &steps) {
        current = static_cast<short>(number);
        steps();
        current = 0;
    }
};

TEST_F(ManyTransactions, EachHasItsOwnChanges) {
    const int a = buildTrans("a"), b = buildTrans("b");
    as(1, [&] {
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(a, row(1)));
    });
    as(2, [&] {
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(b, row(2)));
        EXPECT_OK(iswrite(a, row(22)));
    });
    as(1, [&] { EXPECT_OK(iswrite(b, row(11))); });
    as(2, [] { EXPECT_OK(iscommit()); });
    as(1, [] { EXPECT_OK(isrollback()); });
    EXPECT_EQ(idsOf(a), (Ids{22}));
    EXPECT_EQ(idsOf(b), (Ids{2}));
    as(1, [] { EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit()); });
    as(2, [] { EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit()); });
}

TEST_F(ManyTransactions, SomebodyElsesTransactionIsNone) {
    const int fd = buildTrans();
    as(1, [] { EXPECT_OK(isbegin()); });
    as(2, [&] {
        EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
        EXPECT_FAILS(ISERR_NOTRANSACTION, isrollback());
        EXPECT_OK(iswrite(fd, row(2)));
        EXPECT_EQ(logOf(log()).back().previousLength, 0U);
    });
    as(1, [] { EXPECT_OK(isrollback()); });
    EXPECT_EQ(idsOf(fd), (Ids{2}));
}

TEST_F(ManyTransactions, BeginTwiceIsStillOneOfEach) {
    for (const int number : {1, 2, 1, 2})
        as(number, [] { EXPECT_OK(isbegin()); });
    EXPECT_EQ(types(), "BW BW");
    for (const int number : {1, 2})
        as(number, [] { EXPECT_OK(iscommit()); });
}

TEST_F(ManyTransactions, RecordsCarryTheNumber) {
    const int fd = buildTrans();
    as(7, [&] {
        EXPECT_OK(iswrite(fd, row(1)));  // no transaction yet
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(2)));
        EXPECT_OK(iscommit());
        EXPECT_OK(iswrite(fd, row(3)));
    });
    as(-2, [&] {
        EXPECT_OK(isbegin());
        EXPECT_OK(iscommit());
    });
    std::vector<unsigned long> users;
    for (const LogRecord &record : logOf(log()))
        users.push_back(record.user);
    ASSERT_EQ(types(), "BU FO IN BW IN CW IN BW CW");
    EXPECT_EQ(users, (std::vector<unsigned long>{0, 0, 0, 7, 7, 7, 0, 0xfffe, 0xfffe}));
}

TEST_F(ManyTransactions, ChainsAreKeptApart) {
    const int a = buildTrans("a"), b = buildTrans("b");
    for (const int number : {1, 2})
        as(number, [] { EXPECT_OK(isbegin()); });
    for (int step = 0; step < 3; ++step)
        for (const int number : {1, 2})
            as(number, [&] { EXPECT_OK(iswrite(number == 1 ? a : b, row(step))); });
    for (const int number : {2, 1})
        as(number, [] { EXPECT_OK(iscommit()); });
    unsigned long last[3] = {0, 0, 0};
    for (const LogRecord &record : logOf(log())) {
        if (record.user == 0) continue;
        if (record.type != "BW") EXPECT_EQ(record.previous, last[record.user]);
        last[record.user] = record.offset;
    }
}

TEST_F(ManyTransactions, MoreThanTenAtATime) {
    constexpr int kCount = 25;
    const int fd = buildTrans();
    const int other = open();
    for (int number = 1; number <= kCount; ++number)
        as(number, [&] {
            EXPECT_OK(isbegin());
            EXPECT_OK(iswrite(fd, row(number)));
        });
    for (int number = 1; number <= kCount; ++number)
        as(number, [&] { EXPECT_OK(iswrite(fd, row(100 + number))); });
    Ids expected;
    for (int number = 1; number <= kCount; ++number)
        as(number, [&] { EXPECT_OK(number % 3 == 0 ? isrollback() : iscommit()); });
    for (const int base_id : {0, 100})
        for (int number = 1; number <= kCount; ++number)
            // The handle is not logged any more once something was undone through it, but all was written before that.
            if (number % 3 != 0) expected.push_back(base_id + number);
    EXPECT_EQ(idsOf(other), expected);
    for (int number = 1; number <= kCount; ++number)
        as(number, [] { EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit()); });
    // The places are used again.
    for (int number = 1; number <= kCount; ++number)
        as(number, [] { EXPECT_OK(isbegin()); });
    for (int number = kCount; number >= 1; --number)
        as(number, [] { EXPECT_OK(iscommit()); });
}

TEST_F(ManyTransactions, FilesWaitForTheTransactionThatClosedThem) {
    const int a = buildTrans("a"), b = buildTrans("b");
    const int before = openDescriptors();
    as(1, [&] {
        EXPECT_OK(isbegin());
        EXPECT_OK(isclose(a));
    });
    as(2, [&] {
        EXPECT_OK(isbegin());
        EXPECT_OK(isclose(b));
        // What another transaction has closed is not taken back here.
        const int mine = openTrans("a");
        EXPECT_NE(mine, a);
        EXPECT_OK(isclose(mine));
        EXPECT_EQ(openTrans("b"), b);
        EXPECT_OK(iscommit());
    });
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_OK(isclose(b));
    EXPECT_EQ(openDescriptors(), before - 2);
    as(1, [&] {
        EXPECT_EQ(openTrans("a"), a);
        EXPECT_OK(isclose(a));
        EXPECT_OK(iscommit());
    });
    EXPECT_EQ(openDescriptors(), before - 4);
}

TEST_F(ManyTransactions, CallersWithoutTransactionCloseAtOnce) {
    const int a = buildTrans("a");
    const int before = openDescriptors();
    as(1, [] { EXPECT_OK(isbegin()); });
    as(2, [&] { EXPECT_OK(isclose(a)); });
    EXPECT_EQ(openDescriptors(), before - 2);
    as(1, [] { EXPECT_OK(iscommit()); });
}

TEST_F(ManyTransactions, WithoutTheFunctionThereIsOneAgain) {
    const int fd = buildTrans();
    as(5, [&] {
        EXPECT_OK(isbegin());
        EXPECT_EQ(isTxnInit(nullptr), 1);
        EXPECT_FAILS(ISERR_NOTRANSACTION, iscommit());
        EXPECT_OK(isbegin());
        EXPECT_OK(iswrite(fd, row(1)));
        EXPECT_OK(isrollback());
        EXPECT_EQ(isTxnInit(identity), 1);
        EXPECT_OK(iscommit());
    });
    EXPECT_EQ(idsOf(fd), (Ids{}));
}

TEST_F(ManyTransactions, NumberZeroIsANumberLikeAnyOther) {
    const int fd = buildTrans();
    EXPECT_OK(isbegin());
    as(1, [] { EXPECT_OK(isbegin()); });
    EXPECT_OK(iswrite(fd, row(1)));
    EXPECT_OK(isrollback());
    as(1, [] { EXPECT_OK(iscommit()); });
    EXPECT_EQ(idsOf(fd), (Ids{}));
    EXPECT_EQ(types(), "BU FO BW BW IN RW CW");
}

}  // namespace
}  // namespace api
