// Rolling back changes of variable-length records.
#include "logs.h"

#include <random>

namespace api {
namespace {

class RollbackVar : public LogTest, public testing::WithParamInterface<int> {
  protected:
    int fd = -1;
    void SetUp() override {
        startLog();
        fd = buildVarTrans("file", GetParam());
        before = {rec(10), rec(20, 1), rec(30, 994), rec(40, 2500), rec(row(50), std::string(3000, ' '))};
        for (const std::string &record : before)
            EXPECT_OK(send(iswrite, fd, record));
        EXPECT_OK(isbegin());
    }
    void expectAsBefore() {
        EXPECT_OK(isrollback());
        EXPECT_EQ(allBy(fd, noKey()), before);
        EXPECT_EQ(allBy(fd, idKey()), before);
    }
    Records before;
};

TEST_P(RollbackVar, AddedRecordsGoWithTheirTails) {
    long id = 100;
    for (const std::size_t tail : {0, 1, 993, 994, 995, 1988, 4968})
        EXPECT_OK(send(iswrite, fd, rec(++id, tail)));
    expectAsBefore();
}

TEST_P(RollbackVar, RemovedRecordsComeBackWhole) {
    for (const long number : {3, 1, 5, 2, 4})
        EXPECT_OK(isdelrec(fd, number));
    expectAsBefore();
}

TEST_P(RollbackVar, ReplacedRecordsGetTheirOldLengths) {
    EXPECT_OK(sendTo(fd, 1, rec(11, 4968)));
    EXPECT_OK(sendTo(fd, 2, rec(20)));
    EXPECT_OK(send(isrewrite, fd, rec(30, 995)));
    EXPECT_OK(send(isrewrite, fd, rec(40, 2501)));
    EXPECT_OK(send(isrewrite, fd, rec(50, 3)));
    EXPECT_OK(sendAs(4, isrewrite, fd, rec(50)));
    expectAsBefore();
}

TEST_P(RollbackVar, LengthGivenBelowTheMinimum) {
    EXPECT_OK(sendAs(0, iswrite, fd, rec(60)));
    EXPECT_OK(sendAs(-1, isrewrite, fd, rec(row(10, "x"))));
    EXPECT_OK(sendAs(5, isrewrite, fd, rec(row(40, "x"))));
    expectAsBefore();
}

TEST_P(RollbackVar, EveryStepBackAndForth) {
    for (int step = 0; step < 30; ++step)
        EXPECT_OK(send(isrewrite, fd, rec(20, static_cast<std::size_t>(step * 160))));
    EXPECT_OK(isdelete(fd, row(20)));
    EXPECT_OK(send(iswrite, fd, rec(row(20), std::string(777, '0'))));
    expectAsBefore();
}

TEST_P(RollbackVar, RandomChangesAreUndone) {
    std::mt19937 random(11);
    for (int step = 0; step < 400; ++step) {
        const long id = 10 * (1 + static_cast<long>(random() % 30));
        // Never 64 letters more than a multiple of 63: those would not survive compression.
        const std::size_t size = random() % 70 * 70;
        const std::string record = random() % 2 == 0 ? rec(row(id), std::string(size, '0')) : rec(id, size);
        if (send(isrewrite, fd, record) == 0 && random() % 3 != 0) continue;
        if (isdelete(fd, row(id)) != 0) ASSERT_OK(send(iswrite, fd, record));
    }
    expectAsBefore();
}

TEST_P(RollbackVar, LengthOfTheCallerStays) {
    EXPECT_OK(send(iswrite, fd, rec(60, 77)));
    EXPECT_OK(isdelete(fd, row(40)));
    isreclen = 1234;
    EXPECT_OK(isrollback());
    EXPECT_OK(send(iswrite, fd, rec(70, 5)));
    EXPECT_EQ(take(fd, ISEQUAL, row(70)), rec(70, 5));
}

INSTANTIATE_TEST_SUITE_P(PlainAndCompressed, RollbackVar, testing::Values(0, ISCOMPRESS));

class RollbackVarFiles : public LogTest {};

TEST_F(RollbackVarFiles, FixedAndVariableFilesTogether) {
    startLog();
    const int fixed = buildTrans("fixed");
    const int plain = buildVarTrans("plain");
    const int compressed = buildVarTrans("compressed", ISCOMPRESS);
    const int all[] = {fixed, plain, compressed};
    for (const int fd : all)
        for (long id = 1; id <= 5; ++id)
            EXPECT_OK(send(iswrite, fd, rec(id, fd == fixed ? 0 : static_cast<std::size_t>(id * 400))));
    std::vector<Records> before;
    for (const int fd : all)
        before.push_back(allOf(fd));
    EXPECT_OK(isbegin());
    for (long id = 1; id <= 5; ++id)
        for (const int fd : all) {
            const std::size_t tail = fd == fixed ? 0 : static_cast<std::size_t>(4000 - id * 400);
            EXPECT_OK(send(isrewrite, fd, rec(row(id, "new"), tail)));
            EXPECT_OK(send(iswrite, fd, rec(id + 10, tail)));
            if (id % 2 == 0) EXPECT_OK(isdelete(fd, row(id)));
        }
    EXPECT_OK(isrollback());
    for (std::size_t i = 0; i < 3; ++i)
        EXPECT_EQ(allOf(all[i]), before[i]) << i;
}

TEST_F(RollbackVarFiles, SeveralHandlesOfOneFile) {
    startLog();
    const int one = buildVarTrans();
    const int two = openTrans("file", ISVARLEN);
    EXPECT_OK(send(iswrite, one, rec(1, 1500)));
    EXPECT_OK(send(iswrite, one, rec(2, 50)));
    EXPECT_OK(isrelease(one));
    EXPECT_OK(isbegin());
    EXPECT_OK(send(isrewrite, one, rec(1, 20)));
    EXPECT_OK(send(isrewrite, two, rec(2, 3000)));
    EXPECT_OK(isdelete(one, row(1)));
    EXPECT_OK(send(iswrite, two, rec(3, 600)));
    EXPECT_EQ(isrecnum, 1);
    EXPECT_OK(send(isrewrite, two, rec(3, 601)));
    EXPECT_OK(isrollback());
    EXPECT_EQ(allOf(one), (Records{rec(1, 1500), rec(2, 50)}));
    EXPECT_EQ(allOf(two), (Records{rec(1, 1500), rec(2, 50)}));
}

}  // namespace
}  // namespace api
